// clTvPluginBinding: binding, instance life and the shared calls of every plug-in kind.
#include "plugins/clTvPluginBinding.h"

clTvPluginBinding::~clTvPluginBinding() { End(); }

bool clTvPluginBinding::Load(const char16_t* libraryPath) {
  if (!BeginLoad(libraryPath)) return IsComplete();
  Bind(create, names.create);
  Bind(destroy, names.destroy);
  Bind(get, names.get);
  Bind(set, names.set);
  BindOwnExports();
  return IsComplete();
}

bool clTvPluginBinding::Reload(const char16_t* libraryPath) {
  Unload();
  return Load(libraryPath);
}

void clTvPluginBinding::Unload() {
  End();
  FreeModule();
  Load(nullptr);
}

bool clTvPluginBinding::Make(TvHostContext* context) {
  End();
  if (create != nullptr) instance = create(context);
  return instance != nullptr;
}

void clTvPluginBinding::End() {
  if (instance != nullptr && destroy != nullptr) destroy(instance);
  instance = nullptr;
}

int32_t clTvPluginBinding::Get(const char16_t* key, TvPluginValue* value) {
  return Call(get, key, value);
}

int32_t clTvPluginBinding::Set(const char16_t* key, TvPluginValue* value) {
  return Call(set, key, value);
}

int32_t clTvPluginBinding::GetWithText(const char16_t* key, const char16_t* text) {
  TvPluginValue value{};
  value.text1 = text;
  return Get(key, &value);
}

int32_t clTvPluginBinding::SetKey(const char16_t* key) {
  TvPluginValue value{};
  return Set(key, &value);
}

int32_t clTvPluginBinding::SetText(const char16_t* key, const char16_t* text) {
  TvPluginValue value{};
  value.text1 = text;
  return Set(key, &value);
}

int32_t clTvPluginBinding::SetNumber(const char16_t* key, int32_t number) {
  TvPluginValue value{};
  value.value = number;
  return Set(key, &value);
}
