/* A second process for the named-object tests, using only the sdk's C API. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "sdk/tv_named.h"

/* Commands:
     event-set NAME            create or open, set, close
     event-wait NAME MS        create or open, wait; exit 0 when set, 3 on time-out
     event-hold NAME           create or open, then sleep until killed
     mutex-hold NAME           lock, then sleep until killed
     mutex-try NAME MS         try to lock; exit 0 when got, 3 on time-out
     counter-write NAME VALUE  write the counter
     counter-read NAME         print the counter
     counter-hold NAME VALUE   write the counter, then sleep until killed
   Each prints "existed=0|1" first, and "ready" once it holds what it was asked for. */

static void report(int existed) {
  printf("existed=%d\n", existed);
  fflush(stdout);
}

static void ready(void) {
  printf("ready\n");
  fflush(stdout);
}

static int event_command(const char* command, const char* name, const char* arg) {
  int existed = 0;
  tv_event* event = tv_event_create(name, &existed);
  if (!event) return 2;
  report(existed);
  int code = 0;
  if (strcmp(command, "event-set") == 0) {
    code = tv_event_set(event) == 1 ? 0 : 2;
  } else if (strcmp(command, "event-wait") == 0) {
    ready();
    int outcome = tv_event_wait(event, (uint32_t)strtoul(arg, NULL, 10));
    code = outcome == 1 ? 0 : outcome == 0 ? 3 : 2;
  } else {
    ready();
    for (;;) pause();
  }
  tv_event_close(event);
  return code;
}

static int mutex_command(const char* command, const char* name, const char* arg) {
  int existed = 0;
  tv_mutex* mutex = tv_mutex_create(name, &existed);
  if (!mutex) return 2;
  report(existed);
  int code = 0;
  if (strcmp(command, "mutex-hold") == 0) {
    if (tv_mutex_lock(mutex, TV_INFINITE) != 1) return 2;
    ready();
    for (;;) pause();
  } else {
    int outcome = tv_mutex_lock(mutex, (uint32_t)strtoul(arg, NULL, 10));
    code = outcome == 1 ? 0 : outcome == 0 ? 3 : 2;
    if (outcome == 1) tv_mutex_unlock(mutex);
  }
  tv_mutex_close(mutex);
  return code;
}

static int counter_command(const char* command, const char* name, const char* arg) {
  int existed = 0;
  tv_counter* counter = tv_counter_create(name, &existed);
  if (!counter) return 2;
  report(existed);
  int ok;
  if (strcmp(command, "counter-write") == 0 || strcmp(command, "counter-hold") == 0) {
    ok = tv_counter_write(counter, strtoull(arg, NULL, 10));
    if (ok && strcmp(command, "counter-hold") == 0) {
      ready();
      for (;;) pause();
    }
  } else {
    uint64_t value = 0;
    ok = tv_counter_read(counter, &value);
    printf("value=%llu\n", (unsigned long long)value);
  }
  tv_counter_close(counter);
  return ok ? 0 : 2;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: %s COMMAND NAME [ARG]\n", argv[0]);
    return 2;
  }
  const char* command = argv[1];
  const char* arg = argc > 3 ? argv[3] : "0";
  if (strncmp(command, "event-", 6) == 0) return event_command(command, argv[2], arg);
  if (strncmp(command, "mutex-", 6) == 0) return mutex_command(command, argv[2], arg);
  if (strncmp(command, "counter-", 8) == 0) return counter_command(command, argv[2], arg);
  fprintf(stderr, "unknown command %s\n", command);
  return 2;
}
