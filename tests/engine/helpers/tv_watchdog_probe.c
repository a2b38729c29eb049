/* A host's view of the watchdog event from another process: reset it, wait for it to come back.
   Usage: tv_watchdog_probe <event name> <milliseconds>. Exit code 0 when it was set again. */
#include <stdio.h>
#include <stdlib.h>

#include "sdk/tv_named.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  tv_event* event = tv_event_create(argv[1], NULL);
  if (event == NULL) return 3;
  tv_event_reset(event);
  const int seen = tv_event_wait(event, (uint32_t)strtoul(argv[2], NULL, 10));
  tv_event_close(event);
  printf("%s\n", seen == 1 ? "set" : "not set");
  return seen == 1 ? 0 : 1;
}
