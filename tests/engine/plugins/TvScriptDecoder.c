/* A decoder for engine tests whose blocks follow a script in TVTEST_BLOCKS.
   Tokens, comma-separated: a byte count (data), "e" (nothing yet), a count with "E" (last block
   with data), "E" alone (empty last block), "F" (DecodeBlock fails), "N" (nothing, for ever),
   "Q" (sets the run's quit event, as a host would, and gives nothing). */
#define TV_DECODER_PLUGIN
#include "sdk/tv_named.h"
#include "sdk/tv_plugin.h"
#include "tests/engine/plugins/TvScriptCommon.h"

typedef struct Decoder {
  TvHostContext context;
  const char* next;
  unsigned char* data;
  unsigned long long position;
  TvWaveFormatEx format;
  long tagFailures; /* Set "IDTags" answers made so far that failed */
  char quitName[256];
} Decoder;

TV_PLUGIN_EXPORT TvInstance Create(TvHostContext* context) {
  if (ScriptNumber("TVTEST_DECODER_CREATE", 1) == 0) return 0;
  Decoder* d = calloc(1, sizeof(Decoder));
  d->context = *context;
  return d;
}

TV_PLUGIN_EXPORT int32_t Destroy(TvInstance instance) {
  Decoder* d = instance;
  ScriptLog("Destroy%s", "", 0);
  free(d->data);
  free(d);
  return 1;
}

TV_PLUGIN_EXPORT int32_t Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  static const char16_t* const kExtensions[] = {u".tvt", u".wav"};
  char name[64];
  ScriptNarrow(key, name, sizeof name);
  if (strcmp(name, "Decodes") == 0 && value->index >= 0 && value->index < 2) {
    value->text1 = kExtensions[value->index];
    value->text2 = u"Test Audio";
    return 1;
  }
  return 0;
}

TV_PLUGIN_EXPORT int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  char name[128], text[256];
  ScriptNarrow(key, name, sizeof name);
  ScriptNarrow(value->text1, text, sizeof text);
  char line[400];
  snprintf(line, sizeof line, "Set %s=%s", name, text);
  ScriptLog("%s %ld", line, value->value);
  Decoder* d = instance;
  if (strcmp(name, "EventQuit") == 0) snprintf(d->quitName, sizeof d->quitName, "%s", text);
  if (strcmp(name, "IDTags") != 0) return 1;
  /* TVTEST_TAG_FAILS: how many tries fail; TVTEST_TAG_BLOCK: where the block is kept. */
  if (d->tagFailures < ScriptNumber("TVTEST_TAG_FAILS", 0)) {
    d->tagFailures++;
    return 0;
  }
  const char* path = getenv("TVTEST_TAG_BLOCK");
  FILE* file = path ? fopen(path, "wb") : NULL;
  if (file) {
    fwrite(value->data, 1, (size_t)value->value, file);
    fclose(file);
  }
  return 1;
}

TV_PLUGIN_EXPORT int32_t Open(TvInstance instance, TvOpenInfo* info) {
  Decoder* d = instance;
  char name[256];
  ScriptNarrow(info->fileName, name, sizeof name);
  ScriptLog("Open %s %ld", name, (long)info->interfaceLevel);
  if (ScriptNumber("TVTEST_DECODER_OPEN", 1) == 0) {
    if (ScriptNumber("TVTEST_QUIET", 0) == 0)
      ScriptReport(d->context.errorHandle, "Test decoder cannot open the file.\r\n");
    return 0;
  }
  d->format.wFormatTag = TV_FORMAT_PCM;
  d->format.nChannels = (uint16_t)ScriptNumber("TVTEST_CHANNELS", 2);
  d->format.nSamplesPerSec = (uint32_t)ScriptNumber("TVTEST_RATE", 1000);
  d->format.wBitsPerSample = 16;
  d->format.nBlockAlign = (uint16_t)(d->format.nChannels * 2);
  d->format.nAvgBytesPerSec = d->format.nBlockAlign * d->format.nSamplesPerSec;
  memcpy(&info->format, &d->format, sizeof d->format);
  info->msLength = (uint64_t)ScriptNumber("TVTEST_LENGTH_MS", 1000);
  d->next = getenv("TVTEST_BLOCKS");
  if (!d->next) d->next = "E";
  return 1;
}

TV_PLUGIN_EXPORT int32_t Close(TvInstance instance, TvConversionInfo* info) {
  ScriptLog("Close%s", "", 0);
  return (int32_t)ScriptNumber("TVTEST_DECODER_CLOSE", 1);
}

/* Fills one data block of count bytes; the bytes count on from the stream's start. */
static void FillData(Decoder* d, TvAudioBlock* block, long count) {
  free(d->data);
  d->data = malloc(count > 0 ? (size_t)count : 1);
  for (long i = 0; i < count; i++)
    d->data[i] = (unsigned char)(d->position + (unsigned long long)i);
  block->data = d->data;
  block->byteCount = (uint32_t)count;
  block->msPosition = d->position * 1000 / d->format.nAvgBytesPerSec;
  d->position += (unsigned long long)count;
}

TV_PLUGIN_EXPORT int32_t DecodeBlock(TvInstance instance, TvAudioBlock* block) {
  Decoder* d = instance;
  memcpy(&block->format, &d->format, sizeof d->format);
  const char* token = d->next;
  if (*token == 0 || *token == 'N') return 1;
  const char* comma = strchr(token, ',');
  d->next = comma ? comma + 1 : token + strlen(token);
  ScriptLog("DecodeBlock %.1s %ld", token, 0);
  if (*token == 'F') return 0;
  if (*token == 'e') return 1;
  if (*token == 'Q') {
    tv_event* quit = d->quitName[0] ? tv_event_create(d->quitName, NULL) : NULL;
    if (quit) tv_event_set(quit);
    if (quit) tv_event_close(quit);
    return 1;
  }
  char* end = NULL;
  const long count = strtol(token, &end, 10);
  if (end != token) FillData(d, block, count);
  if (*end == 'E') block->endOfStream = 1;
  const char* at = strchr(token, '@');
  if (at && (!comma || at < comma)) block->msPosition = (uint64_t)strtol(at + 1, NULL, 10);
  if (end == token) block->msPosition = d->position * 1000 / d->format.nAvgBytesPerSec;
  return 1;
}

TV_PLUGIN_EXPORT int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  return 0;
}
TV_PLUGIN_EXPORT int32_t DeleteATag(TvInstance instance, uint32_t first, uint32_t second) {
  return 0;
}
