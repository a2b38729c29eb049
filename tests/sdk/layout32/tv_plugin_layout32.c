/* Compile-only proof that the plug-in records have their fixed 32-bit layout; built with -m32 as C
 * and as C++. The export prototypes are parsed too, as a plug-in of each kind would see them. */
#define TV_DECODER_PLUGIN
#define TV_ENCODER_PLUGIN
#define TV_DSP_PLUGIN
#include "sdk/tv_plugin.h"

#ifndef __cplusplus
#define static_assert _Static_assert
#endif

static_assert(sizeof(void*) == 4, "a 32-bit build");
#define TV_SIZE(type, size32, size64) static_assert(sizeof(type) == (size32), #type " size");
#define TV_FIELD(type, field, offset32, offset64) \
  static_assert(offsetof(type, field) == (offset32), #type "." #field);
#include "tests/sdk/support/tv_plugin_layout.def"
