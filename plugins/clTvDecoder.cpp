// clTvDecoder: binding, instance life and forwarding calls of a decoder plug-in.
#include "plugins/clTvDecoder.h"

clTvDecoder::clTvDecoder() { Load(nullptr); }

clTvDecoder::~clTvDecoder() { Unload(); }

bool clTvDecoder::Load(const char16_t* libraryPath) {
  if (!BeginLoad(libraryPath)) return IsComplete();
  Bind(create, TV_DECODER_CREATE);
  Bind(destroy, TV_DECODER_DESTROY);
  Bind(get, TV_DECODER_GET);
  Bind(set, TV_DECODER_SET);
  Bind(open, TV_DECODER_OPEN);
  Bind(close, TV_DECODER_CLOSE);
  Bind(decodeBlock, TV_DECODER_DECODE_BLOCK);
  Bind(setPosition, TV_DECODER_SET_POSITION);
  Bind(deleteATag, TV_DECODER_DELETE_A_TAG);
  return IsComplete();
}

bool clTvDecoder::Reload(const char16_t* libraryPath, const char16_t* forExtension) {
  Unload();
  if (!Load(libraryPath)) return false;
  extension = forExtension;
  path = libraryPath;
  return true;
}

void clTvDecoder::Unload() {
  End();
  FreeModule();
  Load(nullptr);
  extension.Clear();
  path.Clear();
}

bool clTvDecoder::Make(TvHostContext* context) {
  End();
  if (create != nullptr) instance = create(context);
  return instance != nullptr;
}

void clTvDecoder::End() {
  if (instance != nullptr && destroy != nullptr) destroy(instance);
  instance = nullptr;
}

int32_t clTvDecoder::Get(const char16_t* key, TvPluginValue* value) {
  return instance && get ? get(instance, key, value) : 0;
}

int32_t clTvDecoder::Set(const char16_t* key, TvPluginValue* value) {
  return instance && set ? set(instance, key, value) : 0;
}

int32_t clTvDecoder::Open(TvOpenInfo* info) { return instance && open ? open(instance, info) : 0; }

int32_t clTvDecoder::Close(TvConversionInfo* info) {
  return instance && close ? close(instance, info) : 0;
}

int32_t clTvDecoder::DecodeBlock(TvAudioBlock* block) {
  return instance && decodeBlock ? decodeBlock(instance, block) : 0;
}

int32_t clTvDecoder::SetPosition(uint32_t first, uint32_t second) {
  return instance && setPosition ? setPosition(instance, first, second) : 0;
}

int32_t clTvDecoder::DeleteATag(uint32_t first, uint32_t second) {
  return instance && deleteATag ? deleteATag(instance, first, second) : 0;
}

int32_t clTvDecoder::SetKey(const char16_t* key) {
  TvPluginValue value{};
  return Set(key, &value);
}

int32_t clTvDecoder::SetText(const char16_t* key, const char16_t* text) {
  TvPluginValue value{};
  value.text1 = text;
  return Set(key, &value);
}

int32_t clTvDecoder::SetNumber(const char16_t* key, int32_t number) {
  TvPluginValue value{};
  value.value = number;
  return Set(key, &value);
}
