// clTvPluginBinding: what the decoder, encoder and DSP bindings share: instance life, Get, Set.
#pragma once
#include "plugins/XDLL.h"
#include "sdk/tv_plugin.h"

// The three plug-in kinds differ in export names and in their work calls; creating and
// destroying an instance and the Get and Set calls have the same shape in all of them. Every
// forwarding member returns 0 without a call while no instance exists or the export is not
// bound, so that a binding that failed to load is harmless to call.
class clTvPluginBinding : public XDLL {
 public:
  // The export names of the four shared calls, in the order they are bound.
  struct CommonExports {
    const char* create;
    const char* destroy;
    const char* get;
    const char* set;
  };

  // Ends the instance; XDLL frees the library.
  ~clTvPluginBinding() override;

  // Binds the four shared exports, then the kind's own; all are mandatory.
  bool Load(const char16_t* path) final;
  // End, free the library, clear every pointer, then Load(path).
  bool Reload(const char16_t* path);
  // End, free the library, clear every pointer: back to empty.
  void Unload();
  // Ends a previous instance, then creates one; whether an instance exists.
  bool Make(TvHostContext* context);
  // Destroys the instance, if any; the handle is 0 afterwards.
  void End();

  bool HasInstance() const { return instance != nullptr; }

  int32_t Get(const char16_t* key, TvPluginValue* value);
  int32_t Set(const char16_t* key, TvPluginValue* value);

  // Get of a key with text at offset 24 (NeedHQAudio, IsLive: the parameters).
  int32_t GetWithText(const char16_t* key, const char16_t* text);
  // Set of a key with a zero value record, for keys that carry nothing (DecoderSet values).
  int32_t SetKey(const char16_t* key);
  // Set of a key with text at offset 24 (EventQuit, Priority, Decode As).
  int32_t SetText(const char16_t* key, const char16_t* text);
  // Set of a key with a number at offset 4 (BatchID).
  int32_t SetNumber(const char16_t* key, int32_t number);

 protected:
  explicit clTvPluginBinding(const CommonExports& exports) : names(exports) {}
  // Binds the exports of the kind, after the four shared ones.
  virtual void BindOwnExports() = 0;
  // Calls a bound export with the instance first; 0 while either is missing.
  template <typename Fn, typename... Args>
  int32_t Call(Fn fn, Args... args) {
    return instance != nullptr && fn != nullptr ? fn(instance, args...) : 0;
  }

 private:
  CommonExports names;
  TvInstance instance = nullptr;
  TvInstance (*create)(TvHostContext*) = nullptr;
  int32_t (*destroy)(TvInstance) = nullptr;
  int32_t (*get)(TvInstance, const char16_t*, TvPluginValue*) = nullptr;
  int32_t (*set)(TvInstance, const char16_t*, TvPluginValue*) = nullptr;
};
