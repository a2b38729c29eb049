/* The plug-in records as a C compiler sees them, for the C++ layout test to compare. */
#include "sdk/tv_plugin.h"

/* Sizes and offsets in the order of the layout table. */
const size_t tvPluginLayoutFromC[] = {
#define TV_SIZE(type, size32, size64) sizeof(type),
#define TV_FIELD(type, field, offset32, offset64) offsetof(type, field),
#include "tests/sdk/support/tv_plugin_layout.def"
};
const size_t tvPluginLayoutCountFromC = sizeof tvPluginLayoutFromC / sizeof tvPluginLayoutFromC[0];
