/* Test encoder for the codec handler: announces ".tst" and records its Create calls. */
#define TV_ENCODER_PLUGIN
#include "sdk/tv_plugin.h"

#include "tests/plugins/handler/HandlerTestRecord.h"

static int SameKey(const char16_t* a, const char16_t* b) {
  while (*a && *a == *b) ++a, ++b;
  return *a == *b;
}

TvInstance ENC_Create(TvHostContext* context) {
  (void)context;
  TestRecordCall((void*)&ENC_Create, "ENC_Create");
  static int instance;
  return &instance;
}

int32_t ENC_Destroy(TvInstance instance) {
  (void)instance;
  return 1;
}

int32_t ENC_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  (void)instance;
  if (!key || !value || !SameKey(key, TV_KEY_EXTENSION)) return 0;
  value->text1 = u".tst";
  return 1;
}

int32_t ENC_Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  (void)instance, (void)key, (void)value;
  return 0;
}

int32_t ENC_ShowConfigBit(TvInstance instance, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  (void)instance, (void)a, (void)b, (void)c, (void)d;
  return 0;
}

int32_t ENC_RemoveConfigBit(TvInstance instance, uint32_t a) {
  (void)instance, (void)a;
  return 0;
}

int32_t ENC_BeginConversion(TvInstance instance, TvConversionInfo* info) {
  (void)instance, (void)info;
  return 1;
}

int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo* info, int32_t* writeTags) {
  (void)instance, (void)info, (void)writeTags;
  return 1;
}

int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block) {
  (void)instance, (void)block;
  return 1;
}
