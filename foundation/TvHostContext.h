/* The three text channels a run hands to every log call and every plug-in. */
#ifndef TV_HOST_CONTEXT_H
#define TV_HOST_CONTEXT_H
#include <stdint.h>

/* Handles are file descriptors held in pointer-sized integers; 0 and -1 mean "closed".
   Plain C so that the plug-in header can share the one definition. */
#pragma pack(push, 4)
typedef struct TvHostContext {
  intptr_t errorHandle; /* write end of the error pipe: what arrives there fails the run */
  intptr_t infoHandle;  /* write end of the information pipe */
  intptr_t logHandle;   /* the debug log file, or 0 when no log is open */
} TvHostContext;
#pragma pack(pop)

#endif
