/* A decoder that does nothing but announce one extension: the cost of finding it is the cost
   of loading a library and asking it. */
#define TV_DECODER_PLUGIN
#include "sdk/tv_plugin.h"

#include <stdlib.h>

static const char16_t extension[] = BENCH_EXTENSION;

TvInstance Create(TvHostContext* context) {
  (void)context;
  return malloc(1);
}

int32_t Destroy(TvInstance instance) {
  free(instance);
  return 1;
}

static int SameKey(const char16_t* a, const char16_t* b) {
  while (*a && *a == *b) ++a, ++b;
  return *a == *b;
}

int32_t Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  (void)instance;
  if (!key || !value || value->index != 0) return 0;
  if (!SameKey(key, TV_KEY_DECODES) && !SameKey(key, TV_KEY_STREAMING_DECODES)) return 0;
  value->text1 = extension;
  value->text2 = u"Bench Format";
  return 1;
}

int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  (void)instance, (void)key, (void)value;
  return 0;
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  (void)instance, (void)info;
  return 0;
}

int32_t Close(TvInstance instance, TvConversionInfo* info) {
  (void)instance, (void)info;
  return 1;
}

int32_t DecodeBlock(TvInstance instance, TvAudioBlock* block) {
  (void)instance;
  block->endOfStream = 1;
  return 1;
}

int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  (void)instance, (void)first, (void)second;
  return 0;
}

int32_t DeleteATag(TvInstance instance, uint32_t first, uint32_t second) {
  (void)instance, (void)first, (void)second;
  return 0;
}
