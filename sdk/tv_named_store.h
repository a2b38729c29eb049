/* Internal: the shared-memory objects behind every named event, mutex and block. */
#ifndef TV_NAMED_STORE_H
#define TV_NAMED_STORE_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#define TVN_MAGIC_READY 0x4F4E5654u /* written last: the object is complete */
#define TVN_MAX_USERS 256
#define TVN_DATA_OFFSET 4096

enum tvn_kind { TVN_EVENT = 1, TVN_MUTEX = 2, TVN_BLOCK = 3 };

/* One process that holds the object open, with its number of handles. */
typedef struct tvn_user {
  int32_t pid;
  uint32_t handles;
} tvn_user;

/* The head of each object; a block's bytes start at TVN_DATA_OFFSET. The mutex is the
   named mutex itself, or guards the event's state. */
typedef struct tvn_head {
  uint32_t magic;
  uint32_t kind;
  uint32_t data_size;
  uint32_t state;
  pthread_mutex_t mutex;
  pthread_cond_t cond;
  tvn_user users[TVN_MAX_USERS];
} tvn_head;

_Static_assert(sizeof(tvn_head) <= TVN_DATA_OFFSET, "the head fits before the data");

/* A handle: one mapping of one object (or a private head for an unnamed object). */
typedef struct tvn_handle {
  tvn_head* head;
  size_t map_size;
  int kind;
  int is_private;
  char shm_name[257]; /* "/" plus a file name of up to 255 bytes */
} tvn_handle;

/* Builds "/tv-<uid>-<kind>-<name>" with "/" in the name turned into "\", shortened with a
   hash when over the length a shared-memory name may have. */
void tvn_make_name(char* out, size_t out_size, int kind, const char* name);

/* Opens the object or creates it; size is the data size a block asks for. Returns 0 and
   fills the handle, or -1 with errno. */
int tvn_open(tvn_handle* handle, int kind, const char* name, uint32_t size, int* existed);
/* A second handle on the object of an open handle. */
int tvn_duplicate(tvn_handle* copy, const tvn_handle* original);
void tvn_close(tvn_handle* handle);

/* Locks a head's mutex; an owner that died leaves it consistent and counts as got.
   Returns 0, ETIMEDOUT or another error. */
int tvn_lock(tvn_head* head, uint32_t milliseconds);

/* Monotonic deadline helpers. */
void tvn_deadline(struct timespec* at, uint32_t milliseconds);
uint32_t tvn_remaining(const struct timespec* at);

#endif
