/* Compile-only proof that the plug-in records have their fixed layout, with 4-byte pointers (built
 * with -m32) and with 8-byte ones, as C and as C++. The export prototypes are parsed too, as a
 * plug-in of each kind would see them. */
#define TV_DECODER_PLUGIN
#define TV_ENCODER_PLUGIN
#define TV_DSP_PLUGIN
#include "sdk/tv_plugin.h"

#ifndef __cplusplus
#define static_assert _Static_assert
#endif

#define TV_PICK(at32, at64) (sizeof(void*) == 4 ? (at32) : (at64))
static_assert(sizeof(void*) == 4 || sizeof(void*) == 8, "4- or 8-byte pointers");
#define TV_SIZE(type, size32, size64) \
  static_assert(sizeof(type) == TV_PICK(size32, size64), #type " size");
#define TV_FIELD(type, field, offset32, offset64) \
  static_assert(offsetof(type, field) == TV_PICK(offset32, offset64), #type "." #field);
#include "tests/sdk/support/tv_plugin_layout.def"
