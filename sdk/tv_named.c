/* The C API of named events, mutexes, blocks and the encoded-bytes counter. */
#define _GNU_SOURCE
#include "sdk/tv_named.h"

#include <endian.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "sdk/tv_named_store.h"

struct tv_event {
  tvn_handle h;
};
struct tv_mutex {
  tvn_handle h;
};
struct tv_block {
  tvn_handle h;
};
struct tv_counter {
  tv_mutex* mutex;
  tv_block* block;
};

/* How often a wait on two events looks at the second one. */
#define WAIT_EITHER_SLICE_MS 2u

static void* open_handle(size_t bytes, int kind, const char* name, uint32_t size, int* existed) {
  tvn_handle* handle = malloc(bytes);
  if (!handle) return NULL;
  if (tvn_open(handle, kind, name, size, existed) != 0) {
    int saved = errno;
    free(handle);
    errno = saved;
    return NULL;
  }
  return handle;
}

static int bad_handle(void) {
  errno = EINVAL;
  return -1;
}

tv_event* tv_event_create(const char* name, int* existed) {
  return open_handle(sizeof(tv_event), TVN_EVENT, name, 0, existed);
}

tv_event* tv_event_duplicate(const tv_event* event) {
  if (!event) {
    errno = EINVAL;
    return NULL;
  }
  tv_event* copy = malloc(sizeof *copy);
  if (!copy) return NULL;
  if (tvn_duplicate(&copy->h, &event->h) != 0) {
    int saved = errno;
    free(copy);
    errno = saved;
    return NULL;
  }
  return copy;
}

static int set_state(tv_event* event, uint32_t state) {
  if (!event) return bad_handle();
  tvn_head* head = event->h.head;
  int rc = tvn_lock(head, TV_INFINITE);
  if (rc != 0) {
    errno = rc;
    return -1;
  }
  __atomic_store_n(&head->state, state, __ATOMIC_RELEASE);
  if (state) pthread_cond_broadcast(&head->cond);
  pthread_mutex_unlock(&head->mutex);
  return 1;
}

int tv_event_set(tv_event* event) { return set_state(event, 1); }

int tv_event_reset(tv_event* event) { return set_state(event, 0); }

int tv_event_is_set(tv_event* event) {
  if (!event) return bad_handle();
  return __atomic_load_n(&event->h.head->state, __ATOMIC_ACQUIRE) ? 1 : 0;
}

static int wait_condition(tvn_head* head, uint32_t milliseconds, const struct timespec* at) {
  int rc = milliseconds == TV_INFINITE ? pthread_cond_wait(&head->cond, &head->mutex)
                                       : pthread_cond_timedwait(&head->cond, &head->mutex, at);
  if (rc == EOWNERDEAD) rc = pthread_mutex_consistent(&head->mutex);
  return rc;
}

int tv_event_wait(tv_event* event, uint32_t milliseconds) {
  if (!event) return bad_handle();
  if (tv_event_is_set(event)) return 1;
  if (milliseconds == 0) {
    errno = ETIMEDOUT;
    return 0;
  }
  tvn_head* head = event->h.head;
  struct timespec at;
  tvn_deadline(&at, milliseconds);
  int rc = tvn_lock(head, TV_INFINITE);
  if (rc != 0) {
    errno = rc;
    return -1;
  }
  while (!head->state && rc == 0) rc = wait_condition(head, milliseconds, &at);
  int signalled = head->state != 0;
  pthread_mutex_unlock(&head->mutex);
  if (signalled) return 1;
  errno = rc == ETIMEDOUT ? ETIMEDOUT : rc;
  return rc == ETIMEDOUT ? 0 : -1;
}

/* Waits on the first event's condition in short slices and polls the second between them. */
int tv_event_wait_either(tv_event* first, tv_event* second, uint32_t milliseconds) {
  if (!first || !second) return bad_handle();
  struct timespec at;
  tvn_deadline(&at, milliseconds == TV_INFINITE ? 0 : milliseconds);
  for (;;) {
    if (tv_event_is_set(first)) return 1;
    if (tv_event_is_set(second)) return 2;
    uint32_t left = milliseconds == TV_INFINITE ? WAIT_EITHER_SLICE_MS : tvn_remaining(&at);
    if (left == 0) {
      errno = ETIMEDOUT;
      return 0;
    }
    int rc = tv_event_wait(first, left < WAIT_EITHER_SLICE_MS ? left : WAIT_EITHER_SLICE_MS);
    if (rc < 0) return -1;
  }
}

void tv_event_close(tv_event* event) {
  if (!event) return;
  tvn_close(&event->h);
  free(event);
}

tv_mutex* tv_mutex_create(const char* name, int* existed) {
  return open_handle(sizeof(tv_mutex), TVN_MUTEX, name, 0, existed);
}

int tv_mutex_lock(tv_mutex* mutex, uint32_t milliseconds) {
  if (!mutex) return bad_handle();
  int rc = tvn_lock(mutex->h.head, milliseconds);
  if (rc == 0) return 1;
  errno = rc;
  return rc == ETIMEDOUT ? 0 : -1;
}

int tv_mutex_unlock(tv_mutex* mutex) {
  if (!mutex) return 0;
  int rc = pthread_mutex_unlock(&mutex->h.head->mutex);
  if (rc == 0) return 1;
  errno = rc;
  return 0;
}

void tv_mutex_close(tv_mutex* mutex) {
  if (!mutex) return;
  tvn_close(&mutex->h);
  free(mutex);
}

tv_block* tv_block_create(const char* name, uint32_t size, int* existed) {
  return open_handle(sizeof(tv_block), TVN_BLOCK, name, size, existed);
}

void* tv_block_data(tv_block* block) {
  return block ? (char*)block->h.head + TVN_DATA_OFFSET : NULL;
}

uint32_t tv_block_size(const tv_block* block) {
  return block ? (uint32_t)(block->h.map_size - TVN_DATA_OFFSET) : 0;
}

void tv_block_close(tv_block* block) {
  if (!block) return;
  tvn_close(&block->h);
  free(block);
}

static char* join(const char* prefix, const char* name) {
  size_t length = strlen(prefix) + strlen(name) + 1;
  char* text = malloc(length);
  if (text) snprintf(text, length, "%s%s", prefix, name);
  return text;
}

tv_counter* tv_counter_create(const char* name, int* existed) {
  if (!name || !*name) {
    errno = EINVAL;
    return NULL;
  }
  tv_counter* counter = calloc(1, sizeof *counter);
  char* mutex_name = join("SMutex_", name);
  char* block_name = join("NSharedData_", name);
  if (counter && mutex_name && block_name) {
    counter->mutex = tv_mutex_create(mutex_name, NULL);
    if (counter->mutex) counter->block = tv_block_create(block_name, 8, existed);
  }
  int saved = errno;
  free(mutex_name);
  free(block_name);
  if (counter && !counter->block) {
    tv_counter_close(counter);
    counter = NULL;
  }
  errno = saved;
  return counter;
}

static int counter_copy(tv_counter* counter, uint64_t* in, const uint64_t* out) {
  if (!counter || tv_mutex_lock(counter->mutex, TV_INFINITE) != 1) return 0;
  void* data = tv_block_data(counter->block);
  if (in) memcpy(in, data, 8);
  if (out) memcpy(data, out, 8);
  tv_mutex_unlock(counter->mutex);
  return 1;
}

int tv_counter_read(tv_counter* counter, uint64_t* value) {
  uint64_t raw = 0;
  if (!value || !counter_copy(counter, &raw, NULL)) return 0;
  *value = le64toh(raw);
  return 1;
}

int tv_counter_write(tv_counter* counter, uint64_t value) {
  uint64_t raw = htole64(value);
  return counter_copy(counter, NULL, &raw);
}

void tv_counter_close(tv_counter* counter) {
  if (!counter) return;
  tv_block_close(counter->block);
  tv_mutex_close(counter->mutex);
  free(counter);
}
