// clTvDSP: binding, instance life and forwarding calls of a DSP effect plug-in.
#include "plugins/clTvDSP.h"

clTvDSP::clTvDSP() { Load(nullptr); }

clTvDSP::~clTvDSP() { Unload(); }

bool clTvDSP::Load(const char16_t* libraryPath) {
  if (!BeginLoad(libraryPath)) return IsComplete();
  Bind(create, TV_DSP_CREATE);
  Bind(destroy, TV_DSP_DESTROY);
  Bind(get, TV_DSP_GET);
  Bind(set, TV_DSP_SET);
  Bind(showConfigBit, TV_DSP_SHOW_CONFIG_BIT);
  Bind(removeConfigBit, TV_DSP_REMOVE_CONFIG_BIT);
  Bind(beginConversion, TV_DSP_BEGIN_CONVERSION);
  Bind(endConversion, TV_DSP_END_CONVERSION);
  Bind(passAudioBlock, TV_DSP_PASS_AUDIO_BLOCK);
  Bind(passNonLive, TV_DSP_PASS_NON_LIVE);
  Bind(afterConversion, TV_DSP_AFTER_CONVERSION);
  return IsComplete();
}

bool clTvDSP::Reload(const char16_t* libraryPath) {
  Unload();
  return Load(libraryPath);
}

void clTvDSP::Unload() {
  End();
  FreeModule();
  Load(nullptr);
}

bool clTvDSP::Make(TvHostContext* context) {
  End();
  if (create != nullptr) instance = create(context);
  return instance != nullptr;
}

void clTvDSP::End() {
  if (instance != nullptr && destroy != nullptr) destroy(instance);
  instance = nullptr;
}

int32_t clTvDSP::Get(const char16_t* key, TvPluginValue* value) {
  return instance && get ? get(instance, key, value) : 0;
}

int32_t clTvDSP::Set(const char16_t* key, TvPluginValue* value) {
  return instance && set ? set(instance, key, value) : 0;
}

int32_t clTvDSP::ShowConfigBit(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return instance && showConfigBit ? showConfigBit(instance, a, b, c, d) : 0;
}

int32_t clTvDSP::RemoveConfigBit(uint32_t a) {
  return instance && removeConfigBit ? removeConfigBit(instance, a) : 0;
}

int32_t clTvDSP::BeginConversion(TvConversionInfo* info, const char16_t* parameters) {
  return instance && beginConversion ? beginConversion(instance, info, parameters) : 0;
}

int32_t clTvDSP::EndConversion(TvConversionInfo* info) {
  return instance && endConversion ? endConversion(instance, info) : 0;
}

int32_t clTvDSP::PassAudioBlock(TvAudioBlock* block) {
  return instance && passAudioBlock ? passAudioBlock(instance, block) : 0;
}

int32_t clTvDSP::PassNonLive(const char16_t* rawFile, TvWaveFormatExtensible* format,
                             const char16_t* parameters, const char16_t* quitEventName) {
  return instance && passNonLive ? passNonLive(instance, rawFile, format, parameters, quitEventName)
                                 : 0;
}

int32_t clTvDSP::AfterConversion(TvAfterConversionInfo* info) {
  if (info == nullptr) return 0;
  return instance && afterConversion ? afterConversion(instance, &info->info) : 0;
}

int32_t clTvDSP::GetWithText(const char16_t* key, const char16_t* text) {
  TvPluginValue value{};
  value.text1 = text;
  return Get(key, &value);
}

int32_t clTvDSP::SetText(const char16_t* key, const char16_t* text) {
  TvPluginValue value{};
  value.text1 = text;
  return Set(key, &value);
}

int32_t clTvDSP::SetNumber(const char16_t* key, int32_t number) {
  TvPluginValue value{};
  value.value = number;
  return Set(key, &value);
}
