/* A DSP effect for engine tests, installed under several names. Its parameters steer it:
   comma-separated "live", "rg" (keeps replay gain tags), "mul=N" and "add=N" (each audio byte
   becomes byte * N + add: order shows in the result), "cut=N" (a non-live pass keeps N bytes),
   "rate=N" (a pass rewrites the format's rate), "quit" (a non-live pass sets the quit event),
   "fail" (every pass fails). TVTEST_DSP_CREATE_FAIL="<name>:<n>" fails that name's n-th create.
   Calls are logged with the library's name. */
#define _GNU_SOURCE
#define TV_DSP_PLUGIN
#include "sdk/tv_named.h"
#include "sdk/tv_plugin.h"
#include "tests/engine/plugins/TvScriptCommon.h"

#include <dlfcn.h>

typedef struct Effect {
  char params[256];
} Effect;

static long creates;

/* The library's file stem, which is the effect's name in the chain. */
static const char* EffectName(void) {
  static char name[128];
  Dl_info info;
  if (!name[0] && dladdr((void*)&EffectName, &info) && info.dli_fname) {
    const char* slash = strrchr(info.dli_fname, '/');
    snprintf(name, sizeof name, "%s", slash ? slash + 1 : info.dli_fname);
    char* dot = strrchr(name, '.');
    if (dot) *dot = 0;
  }
  return name;
}

/* The number behind "key=" in the parameters, 1 for a bare "key", fallback when absent. */
static long Param(const char* params, const char* key, long fallback) {
  size_t length = strlen(key);
  for (const char* p = params; p && *p; p = strchr(p, ',') ? strchr(p, ',') + 1 : NULL) {
    if (strncmp(p, key, length) != 0) continue;
    if (p[length] == '=') return strtol(p + length + 1, NULL, 10);
    if (p[length] == ',' || p[length] == 0) return 1;
  }
  return fallback;
}

static void Log(const char* call, const char* detail) {
  char line[512];
  snprintf(line, sizeof line, "%s %s %s", call, EffectName(), detail);
  ScriptLog("%s%.0ld", line, 0);
}

static void Transform(const char* params, unsigned char* data, size_t size) {
  long mul = Param(params, "mul", 1), add = Param(params, "add", 0);
  for (size_t i = 0; i < size; i++) data[i] = (unsigned char)(data[i] * mul + add);
}

static void SetRate(const char* params, TvWaveFormatExtensible* format) {
  long rate = Param(params, "rate", 0);
  if (!format || rate <= 0) return;
  format->Format.nSamplesPerSec = (uint32_t)rate;
  format->Format.nAvgBytesPerSec = (uint32_t)rate * format->Format.nBlockAlign;
}

static int CreateFails(void) {
  const char* rule = getenv("TVTEST_DSP_CREATE_FAIL");
  const char* colon = rule ? strrchr(rule, ':') : NULL;
  if (!colon || strncmp(rule, EffectName(), (size_t)(colon - rule)) != 0 ||
      strlen(EffectName()) != (size_t)(colon - rule))
    return 0;
  return creates == strtol(colon + 1, NULL, 10);
}

TV_PLUGIN_EXPORT TvInstance DSP_Create(TvHostContext* context) {
  creates++;
  Log("DSP_Create", CreateFails() ? "-> 0" : "-> 1");
  return CreateFails() ? NULL : calloc(1, sizeof(Effect));
}

TV_PLUGIN_EXPORT int32_t DSP_Destroy(TvInstance instance) {
  Log("DSP_Destroy", "");
  free(instance);
  return 1;
}

TV_PLUGIN_EXPORT int32_t DSP_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  char name[64], params[256];
  ScriptNarrow(key, name, sizeof name);
  ScriptNarrow(value ? value->text1 : NULL, params, sizeof params);
  Log("DSP_Get", name);
  if (strcmp(name, "IsLive") == 0) return Param(params, "live", 0) != 0;
  if (strcmp(name, "SendOverReplayGainTags") == 0) return Param(params, "rg", 0) != 0;
  return 0;
}

TV_PLUGIN_EXPORT int32_t DSP_Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  char name[64], detail[128];
  ScriptNarrow(key, name, sizeof name);
  snprintf(detail, sizeof detail, "%s %d", name, value ? value->value : 0);
  Log("DSP_Set", detail);
  return 1;
}

TV_PLUGIN_EXPORT int32_t DSP_ShowConfigBit(TvInstance i, uint32_t a, uint32_t b, uint32_t c,
                                           uint32_t d) {
  return 0;
}
TV_PLUGIN_EXPORT int32_t DSP_RemoveConfigBit(TvInstance i, uint32_t a) { return 0; }

TV_PLUGIN_EXPORT int32_t DSP_BeginConversion(TvInstance instance, TvConversionInfo* info,
                                             const char16_t* params) {
  Effect* e = instance;
  ScriptNarrow(params, e->params, sizeof e->params);
  Log("DSP_BeginConversion", "");
  return Param(e->params, "beginfail", 0) == 0;
}

TV_PLUGIN_EXPORT int32_t DSP_EndConversion(TvInstance instance, TvConversionInfo* info) {
  Log("DSP_EndConversion", "");
  return 1;
}

TV_PLUGIN_EXPORT int32_t DSP_PassAudioBlock(TvInstance instance, TvAudioBlock* block) {
  Effect* e = instance;
  char detail[64];
  snprintf(detail, sizeof detail, "%u end %u", block->byteCount, block->endOfStream);
  Log("DSP_PassAudioBlock", detail);
  if (block->data) Transform(e->params, block->data, block->byteCount);
  if (block->endOfStream) SetRate(e->params, &block->format);
  return Param(e->params, "fail", 0) == 0;
}

static void RaiseQuit(const char16_t* quitName) {
  char name[256];
  ScriptNarrow(quitName, name, sizeof name);
  tv_event* quit = name[0] ? tv_event_create(name, NULL) : NULL;
  if (quit) tv_event_set(quit);
  if (quit) tv_event_close(quit);
}

/* The whole file through the transform, cut to "cut" bytes when asked. */
static void RewriteFile(const char* path, const char* params) {
  FILE* file = fopen(path, "rb");
  if (!file) return;
  fseek(file, 0, SEEK_END);
  long size = ftell(file);
  rewind(file);
  unsigned char* data = malloc(size > 0 ? (size_t)size : 1);
  size = (long)fread(data, 1, (size_t)size, file);
  fclose(file);
  long keep = Param(params, "cut", size);
  Transform(params, data, (size_t)size);
  file = fopen(path, "wb");
  if (file) fwrite(data, 1, (size_t)(keep < size ? keep : size), file);
  if (file) fclose(file);
  free(data);
}

TV_PLUGIN_EXPORT int32_t DSP_PassNonLive(TvInstance instance, const char16_t* rawFile,
                                         TvWaveFormatExtensible* format, const char16_t* params,
                                         const char16_t* quitName) {
  char path[512], text[256], detail[600];
  ScriptNarrow(rawFile, path, sizeof path);
  ScriptNarrow(params, text, sizeof text);
  FILE* file = fopen(path, "rb");
  long size = -1;
  if (file && fseek(file, 0, SEEK_END) == 0) size = ftell(file);
  if (file) fclose(file);
  snprintf(detail, sizeof detail, "%ld %s", size, path);
  Log("DSP_PassNonLive", detail);
  RewriteFile(path, text);
  SetRate(text, format);
  if (Param(text, "quit", 0)) RaiseQuit(quitName);
  return Param(text, "fail", 0) == 0;
}

TV_PLUGIN_EXPORT int32_t DSP_AfterConversion(TvInstance instance, TvConversionInfo* info) {
  const TvAfterConversionInfo* after = (const TvAfterConversionInfo*)info;
  char detail[64];
  snprintf(detail, sizeof detail, "failed %u", after->failed);
  Log("DSP_AfterConversion", detail);
  return 1;
}
