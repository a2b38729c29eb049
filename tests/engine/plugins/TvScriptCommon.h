/* Shared parts of the engine's scripted test plug-ins: settings from the environment, a call log.
 */
#ifndef TV_SCRIPT_COMMON_H
#define TV_SCRIPT_COMMON_H
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <uchar.h>

/* A number from the environment, or fallback when the variable is not set. */
static long ScriptNumber(const char* name, long fallback) {
  const char* text = getenv(name);
  return text && *text ? strtol(text, NULL, 10) : fallback;
}

/* UTF-16 text to ASCII for the log; other units become '?'. */
static void ScriptNarrow(const char16_t* text, char* out, size_t room) {
  size_t n = 0;
  for (; text && text[n] && n + 1 < room; n++) out[n] = text[n] < 128 ? (char)text[n] : '?';
  out[n] = 0;
}

/* Appends one line to the file named by TVTEST_CALLS. */
static void ScriptLog(const char* format, const char* a, long b) {
  const char* path = getenv("TVTEST_CALLS");
  if (!path) return;
  FILE* file = fopen(path, "a");
  if (!file) return;
  fprintf(file, format, a, b);
  fputc('\n', file);
  fclose(file);
}

/* Writes UTF-16LE text to a channel handle, as plug-ins report errors. */
static void ScriptReport(intptr_t handle, const char* text);
#include <unistd.h>
static void ScriptReport(intptr_t handle, const char* text) {
  char16_t units[256];
  size_t n = 0;
  for (; text[n] && n < 255; n++) units[n] = (char16_t)(unsigned char)text[n];
  if (handle > 0) (void)!write((int)handle, units, n * 2);
}
#endif
