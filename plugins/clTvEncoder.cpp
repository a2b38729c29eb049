// clTvEncoder: binding, instance life and forwarding calls of an encoder plug-in.
#include "plugins/clTvEncoder.h"

clTvEncoder::clTvEncoder() { Load(nullptr); }

clTvEncoder::~clTvEncoder() { Unload(); }

bool clTvEncoder::Load(const char16_t* libraryPath) {
  if (!BeginLoad(libraryPath)) return IsComplete();
  Bind(create, TV_ENCODER_CREATE);
  Bind(destroy, TV_ENCODER_DESTROY);
  Bind(get, TV_ENCODER_GET);
  Bind(set, TV_ENCODER_SET);
  Bind(showConfigBit, TV_ENCODER_SHOW_CONFIG_BIT);
  Bind(removeConfigBit, TV_ENCODER_REMOVE_CONFIG_BIT);
  Bind(beginConversion, TV_ENCODER_BEGIN_CONVERSION);
  Bind(encodeBlock, TV_ENCODER_ENCODE_BLOCK);
  Bind(endConversion, TV_ENCODER_END_CONVERSION);
  return IsComplete();
}

bool clTvEncoder::Reload(const char16_t* libraryPath) {
  Unload();
  return Load(libraryPath);
}

void clTvEncoder::Unload() {
  End();
  FreeModule();
  Load(nullptr);
}

bool clTvEncoder::Make(TvHostContext* context) {
  End();
  if (create != nullptr) instance = create(context);
  return instance != nullptr;
}

void clTvEncoder::End() {
  if (instance != nullptr && destroy != nullptr) destroy(instance);
  instance = nullptr;
}

int32_t clTvEncoder::Get(const char16_t* key, TvPluginValue* value) {
  return instance && get ? get(instance, key, value) : 0;
}

int32_t clTvEncoder::Set(const char16_t* key, TvPluginValue* value) {
  return instance && set ? set(instance, key, value) : 0;
}

int32_t clTvEncoder::ShowConfigBit(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return instance && showConfigBit ? showConfigBit(instance, a, b, c, d) : 0;
}

int32_t clTvEncoder::RemoveConfigBit(uint32_t a) {
  return instance && removeConfigBit ? removeConfigBit(instance, a) : 0;
}

int32_t clTvEncoder::BeginConversion(TvConversionInfo* info) {
  return instance && beginConversion ? beginConversion(instance, info) : 0;
}

int32_t clTvEncoder::EndConversion(TvConversionInfo* info, int32_t* writeTags) {
  int32_t unused = 0;
  if (writeTags == nullptr) writeTags = &unused;
  *writeTags = 0;
  return instance && endConversion ? endConversion(instance, info, writeTags) : 0;
}

int32_t clTvEncoder::EncodeBlock(TvAudioBlock* block) {
  return instance && encodeBlock ? encodeBlock(instance, block) : 0;
}

int32_t clTvEncoder::GetWithText(const char16_t* key, const char16_t* text) {
  TvPluginValue value{};
  value.text1 = text;
  return Get(key, &value);
}

int32_t clTvEncoder::SetText(const char16_t* key, const char16_t* text) {
  TvPluginValue value{};
  value.text1 = text;
  return Set(key, &value);
}

int32_t clTvEncoder::SetNumber(const char16_t* key, int32_t number) {
  TvPluginValue value{};
  value.value = number;
  return Set(key, &value);
}
