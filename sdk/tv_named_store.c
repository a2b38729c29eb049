/* Shared-memory objects in /dev/shm: naming, create-or-open, user table, sweeping. */
#define _GNU_SOURCE
#include "sdk/tv_named_store.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#define TVN_NAME_MAX 255 /* a shared-memory name is one file name in /dev/shm */
#define TVN_SHM_DIR "/dev/shm"
#define TVN_SWEEP_PERIOD_MS 10000u

static const char* kind_text(int kind) {
  switch (kind) {
    case TVN_EVENT:
      return "evt";
    case TVN_MUTEX:
      return "mtx";
    default:
      return "blk";
  }
}

static uint64_t fnv1a64(const char* text) {
  uint64_t hash = 1469598103934665603ull;
  for (; *text; ++text) hash = (hash ^ (unsigned char)*text) * 1099511628211ull;
  return hash;
}

static int user_prefix(char* out, size_t out_size) {
  return snprintf(out, out_size, "tv-%u-", (unsigned)getuid());
}

void tvn_make_name(char* out, size_t out_size, int kind, const char* name) {
  char prefix[64];
  int used = user_prefix(prefix, sizeof prefix);
  used = snprintf(out, out_size, "/%s%s-", prefix, kind_text(kind));
  size_t length = strlen(name);
  size_t room = TVN_NAME_MAX + 1 - (size_t)used; /* +1: the leading "/" is not counted */
  int shorten = length > room;
  size_t keep = shorten ? room - 17 : length;
  size_t at = (size_t)used;
  for (size_t i = 0; i < keep && at + 1 < out_size; ++i)
    out[at++] = name[i] == '/' ? '\\' : name[i];
  out[at] = 0;
  if (shorten) snprintf(out + at, out_size - at, "-%016llx", (unsigned long long)fnv1a64(name));
}

static size_t page_round(size_t bytes) {
  size_t page = (size_t)sysconf(_SC_PAGESIZE);
  return (bytes + page - 1) / page * page;
}

static size_t object_size(int kind, uint32_t size) {
  if (kind != TVN_BLOCK) return page_round(sizeof(tvn_head));
  return TVN_DATA_OFFSET + page_round(size);
}

void tvn_deadline(struct timespec* at, uint32_t milliseconds) {
  clock_gettime(CLOCK_MONOTONIC, at);
  at->tv_sec += milliseconds / 1000;
  at->tv_nsec += (long)(milliseconds % 1000) * 1000000L;
  if (at->tv_nsec >= 1000000000L) {
    at->tv_sec += 1;
    at->tv_nsec -= 1000000000L;
  }
}

uint32_t tvn_remaining(const struct timespec* at) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  int64_t ms = (int64_t)(at->tv_sec - now.tv_sec) * 1000 + (at->tv_nsec - now.tv_nsec) / 1000000;
  return ms > 0 ? (uint32_t)ms : 0;
}

int tvn_lock(tvn_head* head, uint32_t milliseconds) {
  int rc;
  if (milliseconds == 0xFFFFFFFFu) {
    rc = pthread_mutex_lock(&head->mutex);
  } else if (milliseconds == 0) {
    rc = pthread_mutex_trylock(&head->mutex);
    if (rc == EBUSY) rc = ETIMEDOUT;
  } else {
    struct timespec at;
    tvn_deadline(&at, milliseconds);
    rc = pthread_mutex_clocklock(&head->mutex, CLOCK_MONOTONIC, &at);
  }
  if (rc == EOWNERDEAD) rc = pthread_mutex_consistent(&head->mutex);
  return rc;
}

/* The lock file beside the objects serialises every create, open and close of this user. */
static int take_store_lock(void) {
  char name[64];
  snprintf(name, sizeof name, "/tv-%u.lock", (unsigned)getuid());
  int fd = shm_open(name, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return -1;
  while (flock(fd, LOCK_EX) != 0) {
    if (errno != EINTR) {
      int saved = errno;
      close(fd);
      errno = saved;
      return -1;
    }
  }
  return fd;
}

static void release_store_lock(int fd) {
  int saved = errno;
  flock(fd, LOCK_UN);
  close(fd);
  errno = saved;
}

static int process_alive(int32_t pid) { return kill(pid, 0) == 0 || errno != ESRCH; }

/* Drops users whose process is gone; gives the number of users left. */
static int prune_users(tvn_head* head) {
  int left = 0;
  for (int i = 0; i < TVN_MAX_USERS; ++i) {
    tvn_user* user = &head->users[i];
    if (user->pid == 0) continue;
    if (process_alive(user->pid)) {
      ++left;
    } else {
      user->pid = 0;
      user->handles = 0;
    }
  }
  return left;
}

static int add_user(tvn_head* head) {
  int32_t self = (int32_t)getpid();
  tvn_user* free_slot = NULL;
  for (int i = 0; i < TVN_MAX_USERS; ++i) {
    tvn_user* user = &head->users[i];
    if (user->pid == self) {
      ++user->handles;
      return 0;
    }
    if (user->pid == 0 && !free_slot) free_slot = user;
  }
  if (!free_slot) {
    errno = EMFILE;
    return -1;
  }
  free_slot->pid = self;
  free_slot->handles = 1;
  return 0;
}

static void remove_user(tvn_head* head) {
  int32_t self = (int32_t)getpid();
  for (int i = 0; i < TVN_MAX_USERS; ++i) {
    tvn_user* user = &head->users[i];
    if (user->pid == self && --user->handles == 0) user->pid = 0;
  }
}

static int init_head(tvn_head* head, int kind, uint32_t size, int shared) {
  int scope = shared ? PTHREAD_PROCESS_SHARED : PTHREAD_PROCESS_PRIVATE;
  pthread_mutexattr_t mutex_attr;
  pthread_mutexattr_init(&mutex_attr);
  pthread_mutexattr_setpshared(&mutex_attr, scope);
  pthread_mutexattr_setrobust(&mutex_attr, PTHREAD_MUTEX_ROBUST);
  pthread_mutexattr_settype(&mutex_attr, PTHREAD_MUTEX_RECURSIVE);
  int rc = pthread_mutex_init(&head->mutex, &mutex_attr);
  pthread_mutexattr_destroy(&mutex_attr);
  pthread_condattr_t cond_attr;
  pthread_condattr_init(&cond_attr);
  pthread_condattr_setpshared(&cond_attr, scope);
  pthread_condattr_setclock(&cond_attr, CLOCK_MONOTONIC);
  if (rc == 0) rc = pthread_cond_init(&head->cond, &cond_attr);
  pthread_condattr_destroy(&cond_attr);
  head->kind = (uint32_t)kind;
  head->data_size = size;
  if (rc != 0) errno = rc;
  return rc == 0 ? 0 : -1;
}

static void* map_fd(int fd, size_t size) {
  void* at = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  return at == MAP_FAILED ? NULL : at;
}

/* Makes a new object; the caller holds the store lock and fd came from O_EXCL. */
static int create_object(tvn_handle* handle, int fd, int kind, uint32_t size) {
  size_t total = object_size(kind, size);
  tvn_head* head = NULL;
  if (ftruncate(fd, (off_t)total) == 0) head = map_fd(fd, total);
  if (!head || init_head(head, kind, size, 1) != 0 || add_user(head) != 0) {
    int saved = errno;
    if (head) munmap(head, total);
    shm_unlink(handle->shm_name);
    errno = saved;
    return -1;
  }
  __atomic_store_n(&head->magic, TVN_MAGIC_READY, __ATOMIC_RELEASE);
  handle->head = head;
  handle->map_size = total;
  return 0;
}

enum { ATTACH_DONE = 0, ATTACH_FAILED = -1, ATTACH_REPLACE = 1 };

/* Attaches to an existing object; a half-made or abandoned one is unlinked for
   replacement. The caller holds the store lock. */
static int attach_object(tvn_handle* handle, int fd, int kind) {
  struct stat st;
  if (fstat(fd, &st) != 0) return ATTACH_FAILED;
  if ((size_t)st.st_size < sizeof(tvn_head)) {
    shm_unlink(handle->shm_name);
    return ATTACH_REPLACE;
  }
  tvn_head* head = map_fd(fd, (size_t)st.st_size);
  if (!head) return ATTACH_FAILED;
  int outcome = ATTACH_DONE;
  if (__atomic_load_n(&head->magic, __ATOMIC_ACQUIRE) != TVN_MAGIC_READY ||
      prune_users(head) == 0) {
    shm_unlink(handle->shm_name);
    outcome = ATTACH_REPLACE;
  } else if (head->kind != (uint32_t)kind) {
    errno = EINVAL;
    outcome = ATTACH_FAILED;
  } else if (add_user(head) != 0) {
    outcome = ATTACH_FAILED;
  }
  if (outcome != ATTACH_DONE) {
    int saved = errno;
    munmap(head, (size_t)st.st_size);
    errno = saved;
    return outcome;
  }
  handle->head = head;
  handle->map_size = (size_t)st.st_size;
  return ATTACH_DONE;
}

static int open_locked(tvn_handle* handle, int kind, uint32_t size, int* existed) {
  for (int attempt = 0; attempt < 8; ++attempt) {
    int fd = shm_open(handle->shm_name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0 && kind == TVN_BLOCK && size == 0) {
      /* A block of no size can be opened but not made. */
      close(fd);
      shm_unlink(handle->shm_name);
      errno = EINVAL;
      return -1;
    }
    if (fd >= 0) {
      int rc = create_object(handle, fd, kind, size);
      close(fd);
      if (existed) *existed = 0;
      return rc;
    }
    if (errno != EEXIST) return -1;
    fd = shm_open(handle->shm_name, O_RDWR | O_CLOEXEC, 0600);
    if (fd < 0) {
      if (errno == ENOENT) continue;
      return -1;
    }
    int outcome = attach_object(handle, fd, kind);
    int saved = errno;
    close(fd);
    errno = saved;
    if (outcome == ATTACH_REPLACE) continue;
    if (outcome == ATTACH_DONE && existed) *existed = 1;
    return outcome;
  }
  errno = EAGAIN;
  return -1;
}

/* Removes one of this user's objects when it is half made or all its users are gone. */
static void sweep_one(const char* file_name) {
  char shm_name[TVN_NAME_MAX + 2];
  snprintf(shm_name, sizeof shm_name, "/%s", file_name);
  int fd = shm_open(shm_name, O_RDWR | O_CLOEXEC, 0600);
  if (fd < 0) return;
  struct stat st;
  if (fstat(fd, &st) == 0) {
    if ((size_t)st.st_size < sizeof(tvn_head)) {
      shm_unlink(shm_name);
    } else {
      tvn_head* head = map_fd(fd, (size_t)st.st_size);
      if (head) {
        if (__atomic_load_n(&head->magic, __ATOMIC_ACQUIRE) != TVN_MAGIC_READY ||
            prune_users(head) == 0)
          shm_unlink(shm_name);
        munmap(head, (size_t)st.st_size);
      }
    }
  }
  close(fd);
}

static void sweep_all(void) {
  char prefix[64];
  size_t prefix_length = (size_t)user_prefix(prefix, sizeof prefix);
  DIR* dir = opendir(TVN_SHM_DIR);
  if (!dir) return;
  for (struct dirent* entry = readdir(dir); entry; entry = readdir(dir))
    if (strncmp(entry->d_name, prefix, prefix_length) == 0) sweep_one(entry->d_name);
  closedir(dir);
}

/* A full sweep at the first open of a process and then at most every few seconds. */
static void sweep_when_due(void) {
  static uint64_t last_sweep; /* milliseconds + 1; 0 means never */
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  uint64_t ms = (uint64_t)now.tv_sec * 1000u + (uint64_t)now.tv_nsec / 1000000u + 1;
  uint64_t last = __atomic_load_n(&last_sweep, __ATOMIC_RELAXED);
  if (last != 0 && ms - last < TVN_SWEEP_PERIOD_MS) return;
  if (!__atomic_compare_exchange_n(&last_sweep, &last, ms, 0, __ATOMIC_RELAXED, __ATOMIC_RELAXED))
    return;
  int saved = errno;
  sweep_all();
  errno = saved;
}

static int open_private(tvn_handle* handle, int kind, uint32_t size, int* existed) {
  size_t total = object_size(kind, size);
  void* at = mmap(NULL, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (at == MAP_FAILED) return -1;
  tvn_head* head = at;
  if (init_head(head, kind, size, 0) != 0) {
    munmap(at, total);
    return -1;
  }
  head->users[0].handles = 1; /* the count of handles on a private object */
  head->magic = TVN_MAGIC_READY;
  handle->head = head;
  handle->map_size = total;
  handle->is_private = 1;
  if (existed) *existed = 0;
  return 0;
}

static int open_shared(tvn_handle* handle, int kind, uint32_t size, int* existed) {
  int lock = take_store_lock();
  if (lock < 0) return -1;
  sweep_when_due();
  int rc = open_locked(handle, kind, size, existed);
  release_store_lock(lock);
  return rc;
}

int tvn_open(tvn_handle* handle, int kind, const char* name, uint32_t size, int* existed) {
  memset(handle, 0, sizeof *handle);
  handle->kind = kind;
  if (!name || !*name) return open_private(handle, kind, size, existed);
  tvn_make_name(handle->shm_name, sizeof handle->shm_name, kind, name);
  return open_shared(handle, kind, size, existed);
}

int tvn_duplicate(tvn_handle* copy, const tvn_handle* original) {
  if (original->is_private) {
    __atomic_add_fetch(&original->head->users[0].handles, 1, __ATOMIC_ACQ_REL);
    *copy = *original;
    return 0;
  }
  memset(copy, 0, sizeof *copy);
  copy->kind = original->kind;
  memcpy(copy->shm_name, original->shm_name, sizeof copy->shm_name);
  return open_shared(copy, original->kind, original->head->data_size, NULL);
}

void tvn_close(tvn_handle* handle) {
  if (!handle->head) return;
  if (handle->is_private) {
    if (__atomic_sub_fetch(&handle->head->users[0].handles, 1, __ATOMIC_ACQ_REL) == 0) {
      pthread_cond_destroy(&handle->head->cond);
      pthread_mutex_destroy(&handle->head->mutex);
      munmap(handle->head, handle->map_size);
    }
  } else {
    /* The condition variable is never destroyed: a waiter killed inside a wait would
       make that hang. The last user unlinks, and the memory goes with the last mapping. */
    int lock = take_store_lock();
    remove_user(handle->head);
    if (prune_users(handle->head) == 0) shm_unlink(handle->shm_name);
    if (lock >= 0) release_store_lock(lock);
    munmap(handle->head, handle->map_size);
  }
  handle->head = NULL;
}
