/* The call record of the codec handler's test plug-ins: one line per call, appended to the
   file that TV_TEST_CALL_RECORD names, "<library file name> <call>". */
#ifndef HANDLER_TEST_RECORD_H
#define HANDLER_TEST_RECORD_H

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void TestRecordCall(void* self, const char* call) {
  const char* record = getenv("TV_TEST_CALL_RECORD");
  Dl_info info;
  if (!record || !dladdr(self, &info) || !info.dli_fname) return;
  const char* name = strrchr(info.dli_fname, '/');
  FILE* file = fopen(record, "a");
  if (!file) return;
  fprintf(file, "%s %s\n", name ? name + 1 : info.dli_fname, call);
  fclose(file);
}

#endif
