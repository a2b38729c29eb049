/* A second process for the named-object tests, using only the sdk's C API. It prints
   "existed=0|1", then "ready" once it holds what it was asked for. Commands: event-set,
   event-wait MS, event-hold, mutex-hold, mutex-try MS, counter-write VALUE, counter-read,
   counter-hold VALUE, each with a NAME first. Waits exit 0 when got, 3 on time-out. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "sdk/tv_named.h"

static void hold(void) {
  puts("ready");
  fflush(stdout);
  for (;;) pause();
}

static int outcome(int result) { return result == 1 ? 0 : result == 0 ? 3 : 2; }

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const char *command = argv[1], *name = argv[2], *arg = argc > 3 ? argv[3] : "0";
  int existed = 0, code = 2;
  tv_event* event = strncmp(command, "event-", 6) ? NULL : tv_event_create(name, &existed);
  tv_mutex* mutex = strncmp(command, "mutex-", 6) ? NULL : tv_mutex_create(name, &existed);
  tv_counter* counter = strncmp(command, "counter-", 8) ? NULL : tv_counter_create(name, &existed);
  if (!event && !mutex && !counter) return 2;
  printf("existed=%d\n", existed);
  fflush(stdout);
  uint32_t ms = (uint32_t)strtoul(arg, NULL, 10);
  uint64_t value = strtoull(arg, NULL, 10);
  if (strcmp(command, "event-set") == 0) {
    code = tv_event_set(event) == 1 ? 0 : 2;
  } else if (strcmp(command, "event-wait") == 0) {
    puts("ready");
    fflush(stdout);
    code = outcome(tv_event_wait(event, ms));
  } else if (strcmp(command, "mutex-try") == 0) {
    code = outcome(tv_mutex_lock(mutex, ms));
    if (code == 0) tv_mutex_unlock(mutex);
  } else if (strcmp(command, "counter-read") == 0) {
    code = tv_counter_read(counter, &value) ? 0 : 2;
    printf("value=%llu\n", (unsigned long long)value);
  } else if (counter) {
    code = tv_counter_write(counter, value) ? 0 : 2;
    if (code == 0 && strcmp(command, "counter-hold") == 0) hold();
  } else if (event || tv_mutex_lock(mutex, TV_INFINITE) == 1) {
    hold(); /* event-hold, mutex-hold */
  }
  tv_event_close(event);
  tv_mutex_close(mutex);
  tv_counter_close(counter);
  return code;
}
