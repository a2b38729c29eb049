/* Named events, mutexes and shared blocks that hosts, plug-ins and the engine share by name. */
#ifndef TV_NAMED_H
#define TV_NAMED_H

#include <stdint.h>

#if defined(TV_SDK_BUILD)
#define TV_API __attribute__((visibility("default")))
#else
#define TV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Names are UTF-8 text. A null or empty name makes an object private to the process.
   Objects are per user: two users never share a name. Each create call opens the object
   of that name when it exists and creates it otherwise; *existed (may be null) tells which.
   Functions that fail leave the reason in errno. */

#define TV_INFINITE 0xFFFFFFFFu

typedef struct tv_event tv_event;
typedef struct tv_mutex tv_mutex;
typedef struct tv_block tv_block;
typedef struct tv_counter tv_counter;

/* Manual-reset events, not set when created. */
TV_API tv_event* tv_event_create(const char* name, int* existed);
/* A second handle on the same event, to be closed on its own. */
TV_API tv_event* tv_event_duplicate(const tv_event* event);
/* Set and reset give 1, or -1 on a bad handle. */
TV_API int tv_event_set(tv_event* event);
TV_API int tv_event_reset(tv_event* event);
/* 1 when set, 0 when not, -1 on a bad handle. */
TV_API int tv_event_is_set(tv_event* event);
/* 1 when set within the time, 0 on time-out (errno ETIMEDOUT), -1 on a bad handle. */
TV_API int tv_event_wait(tv_event* event, uint32_t milliseconds);
/* 1 when the first is set, 2 when the second is, 0 on time-out, -1 on a bad handle. */
TV_API int tv_event_wait_either(tv_event* first, tv_event* second, uint32_t milliseconds);
TV_API void tv_event_close(tv_event* event);

/* Recursive mutexes, not owned when created. A holder that dies gives the mutex up:
   the next locker gets it. */
TV_API tv_mutex* tv_mutex_create(const char* name, int* existed);
/* 1 when got within the time, 0 on time-out (errno ETIMEDOUT), -1 on a bad handle. */
TV_API int tv_mutex_lock(tv_mutex* mutex, uint32_t milliseconds);
/* 1 when released, 0 when the calling thread did not hold it. */
TV_API int tv_mutex_unlock(tv_mutex* mutex);
TV_API void tv_mutex_close(tv_mutex* mutex);

/* A named block of bytes with no header of its own. A block that exists keeps its size and
   content whatever size is asked for; tv_block_size tells how many bytes can be reached.
   A size of 0 opens a block that exists and fails (EINVAL) when there is none. */
TV_API tv_block* tv_block_create(const char* name, uint32_t size, int* existed);
TV_API void* tv_block_data(tv_block* block);
TV_API uint32_t tv_block_size(const tv_block* block);
TV_API void tv_block_close(tv_block* block);

/* The engine's encoded-bytes counter, as a host passes its name with -shrbytesencoded:
   the block "NSharedData_<name>" of 8 bytes (unsigned, little-endian) under the mutex
   "SMutex_<name>". */
TV_API tv_counter* tv_counter_create(const char* name, int* existed);
/* 1 on success, 0 on failure. */
TV_API int tv_counter_read(tv_counter* counter, uint64_t* value);
TV_API int tv_counter_write(tv_counter* counter, uint64_t value);
TV_API void tv_counter_close(tv_counter* counter);

#ifdef __cplusplus
}
#endif

#endif
