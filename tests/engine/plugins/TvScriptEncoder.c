/* An encoder for engine tests: writes the bytes it gets to the output, logs its calls, and fails
   or stops the run where TVTEST_... variables say. */
#define TV_ENCODER_PLUGIN
#include "sdk/tv_named.h"
#include "sdk/tv_plugin.h"
#include "tests/engine/plugins/TvScriptCommon.h"

typedef struct Encoder {
  TvHostContext context;
  FILE* output;
  long blocks;
  char quitName[256];
} Encoder;

TV_PLUGIN_EXPORT TvInstance ENC_Create(TvHostContext* context) {
  if (ScriptNumber("TVTEST_ENCODER_CREATE", 1) == 0) return 0;
  Encoder* e = calloc(1, sizeof(Encoder));
  e->context = *context;
  return e;
}

TV_PLUGIN_EXPORT int32_t ENC_Destroy(TvInstance instance) {
  Encoder* e = instance;
  ScriptLog("ENC_Destroy%s", "", 0);
  if (e->output) fclose(e->output);
  free(e);
  return 1;
}

TV_PLUGIN_EXPORT int32_t ENC_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  char name[128];
  ScriptNarrow(key, name, sizeof name);
  ScriptLog("ENC_Get %s %ld", name, 0);
  if (strcmp(name, "SendRawUnCompressed") == 0) return (int32_t)ScriptNumber("TVTEST_RAW", 0);
  if (strcmp(name, "NeedHQAudio") == 0) return (int32_t)ScriptNumber("TVTEST_HQ", 0);
  return 0;
}

TV_PLUGIN_EXPORT int32_t ENC_Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  Encoder* e = instance;
  char name[128], text[256];
  ScriptNarrow(key, name, sizeof name);
  ScriptNarrow(value->text1, text, sizeof text);
  if (strcmp(name, "EventQuit") == 0) snprintf(e->quitName, sizeof e->quitName, "%s", text);
  char line[400];
  snprintf(line, sizeof line, "ENC_Set %s=%s", name, text);
  ScriptLog("%s %ld", line, value->value);
  return 1;
}

TV_PLUGIN_EXPORT int32_t ENC_ShowConfigBit(TvInstance i, uint32_t a, uint32_t b, uint32_t c,
                                           uint32_t d) {
  return 0;
}
TV_PLUGIN_EXPORT int32_t ENC_RemoveConfigBit(TvInstance i, uint32_t a) { return 0; }

/* The "_encoder" item of the extra block: its key in UTF-16LE, then its value. */
static const char16_t* FindEncoderItem(const TvConversionInfo* info) {
  static const char16_t kKey[] = u"_encoder";
  const unsigned char* bytes = info->extraInfo;
  for (uint32_t at = 0; bytes && at + sizeof kKey <= info->extraInfoSize; at += 2)
    if (memcmp(bytes + at, kKey, sizeof kKey) == 0)
      return (const char16_t*)(bytes + at + sizeof kKey);
  return NULL;
}
static int ExtraHasEncoderName(const TvConversionInfo* info) {
  return FindEncoderItem(info) != NULL;
}
static const char* ScriptEncoderName(const TvConversionInfo* info) {
  static char name[128];
  ScriptNarrow(FindEncoderItem(info), name, sizeof name);
  return name;
}

TV_PLUGIN_EXPORT int32_t ENC_BeginConversion(TvInstance instance, TvConversionInfo* info) {
  Encoder* e = instance;
  char source[512], output[512];
  ScriptNarrow(info->sourceFile, source, sizeof source);
  ScriptNarrow(info->outputFile, output, sizeof output);
  ScriptLog("ENC_BeginConversion %s", output, 0);
  ScriptLog("Source %s", source, 0);
  if (info->format) {
    char format[128];
    snprintf(format, sizeof format, "Format %u %u %u %u %u", info->format->Format.wFormatTag,
             info->format->Format.nChannels, info->format->Format.nSamplesPerSec,
             info->format->Format.wBitsPerSample, info->format->Format.nBlockAlign);
    ScriptLog("%s%.0ld", format, 0);
  }
  if (ExtraHasEncoderName(info)) ScriptLog("ExtraInfo _encoder=%s", ScriptEncoderName(info), 0);
  if (ScriptNumber("TVTEST_ENCODER_CREATES", 1)) e->output = fopen(output, "wb");
  if (ScriptNumber("TVTEST_ENCODER_BEGIN", 1) == 0) {
    ScriptReport(e->context.errorHandle, "Test encoder cannot begin.\r\n");
    return 0;
  }
  return 1;
}

/* Sets the run's quit event, as a host would. */
static void RaiseQuit(Encoder* e) {
  tv_event* quit = tv_event_create(e->quitName, NULL);
  if (quit) tv_event_set(quit);
  if (quit) tv_event_close(quit);
}

TV_PLUGIN_EXPORT int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  Encoder* e = instance;
  e->blocks++;
  char line[128];
  snprintf(line, sizeof line, "ENC_EncodeBlock %u at %llu end %u", block->byteCount,
           (unsigned long long)block->msPosition, block->endOfStream);
  ScriptLog("%s%.0ld", line, 0);
  if (e->blocks == ScriptNumber("TVTEST_ENCODE_FAIL_AT", 0)) return 0;
  if (e->blocks == ScriptNumber("TVTEST_QUIT_AT", 0)) RaiseQuit(e);
  if (e->output && block->byteCount && ScriptNumber("TVTEST_ENCODER_WRITES", 1))
    fwrite(block->data, 1, block->byteCount, e->output);
  return 1;
}

/* Hands back, as the record's extra block, the bytes of the file TVTEST_RETURN_BLOCK names. */
static void ReturnBlock(TvConversionInfo* info) {
  static unsigned char block[4096];
  const char* path = getenv("TVTEST_RETURN_BLOCK");
  FILE* file = path ? fopen(path, "rb") : NULL;
  if (!file) return;
  info->extraInfoSize = (uint32_t)fread(block, 1, sizeof block, file);
  info->extraInfo = block;
  fclose(file);
}

TV_PLUGIN_EXPORT int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo* info,
                                           int32_t* writeTags) {
  Encoder* e = instance;
  char output[512];
  ScriptNarrow(info->outputFile, output, sizeof output);
  ScriptLog("ENC_EndConversion %s", output, 0);
  if (e->output) fclose(e->output);
  e->output = NULL;
  *writeTags = (int32_t)ScriptNumber("TVTEST_WRITE_TAGS", 0);
  ReturnBlock(info);
  return (int32_t)ScriptNumber("TVTEST_ENCODER_END", 1);
}
