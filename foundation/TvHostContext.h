/* The three text channels a run hands to every log call and every plug-in. */
#ifndef TV_HOST_CONTEXT_H
#define TV_HOST_CONTEXT_H

/* One definition, in the plug-in boundary's header: plug-ins keep the record they are given. */
#include "sdk/tv_plugin.h"

#endif
