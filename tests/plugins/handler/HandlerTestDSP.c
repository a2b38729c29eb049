/* Test DSP effect for the codec handler: does nothing and records its Create calls. */
#define TV_DSP_PLUGIN
#include "sdk/tv_plugin.h"

#include "tests/plugins/handler/HandlerTestRecord.h"

TvInstance DSP_Create(TvHostContext* context) {
  (void)context;
  TestRecordCall((void*)&DSP_Create, "DSP_Create");
  static int instance;
  return &instance;
}

int32_t DSP_Destroy(TvInstance instance) {
  (void)instance;
  return 1;
}

int32_t DSP_Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  (void)instance, (void)key, (void)value;
  return 0;
}

int32_t DSP_Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  (void)instance, (void)key, (void)value;
  return 0;
}

int32_t DSP_ShowConfigBit(TvInstance instance, uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  (void)instance, (void)a, (void)b, (void)c, (void)d;
  return 0;
}

int32_t DSP_RemoveConfigBit(TvInstance instance, uint32_t a) {
  (void)instance, (void)a;
  return 0;
}

int32_t DSP_BeginConversion(TvInstance instance, TvConversionInfo* info,
                            const char16_t* parameters) {
  (void)instance, (void)info, (void)parameters;
  return 1;
}

int32_t DSP_EndConversion(TvInstance instance, TvConversionInfo* info) {
  (void)instance, (void)info;
  return 1;
}

int32_t DSP_PassAudioBlock(TvInstance instance, TvAudioBlock* block) {
  (void)instance, (void)block;
  return 1;
}

int32_t DSP_PassNonLive(TvInstance instance, const char16_t* rawFile,
                        TvWaveFormatExtensible* format, const char16_t* parameters,
                        const char16_t* quitEventName) {
  (void)instance, (void)rawFile, (void)format, (void)parameters, (void)quitEventName;
  return 1;
}

int32_t DSP_AfterConversion(TvInstance instance, TvConversionInfo* info) {
  (void)instance, (void)info;
  return 1;
}
