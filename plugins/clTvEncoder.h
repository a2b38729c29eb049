// clTvEncoder: the binding of an encoder plug-in library and its instance.
#pragma once
#include "plugins/XDLL.h"
#include "sdk/tv_plugin.h"

// Every forwarding member returns 0 without a call while no instance exists or the export is
// not bound, so that a binding that failed to load is harmless to call.
class clTvEncoder : public XDLL {
 public:
  clTvEncoder();
  // End, free the library, clear every pointer.
  ~clTvEncoder() override;

  // Binds the nine ENC_ exports; all are mandatory.
  bool Load(const char16_t* path) override;
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
  int32_t ShowConfigBit(uint32_t a, uint32_t b, uint32_t c, uint32_t d);
  int32_t RemoveConfigBit(uint32_t a);
  int32_t BeginConversion(TvConversionInfo* info);
  // writeTags is set to 0 before the call; the encoder sets it to ask for tag writing.
  int32_t EndConversion(TvConversionInfo* info, int32_t* writeTags);
  int32_t EncodeBlock(TvAudioBlock* block);

  // Get of a key with text at offset 24 (NeedHQAudio, IsLossless, SendOverReplayGainTags).
  int32_t GetWithText(const char16_t* key, const char16_t* text);
  // Set of a key with text at offset 24 (EventQuit, Priority).
  int32_t SetText(const char16_t* key, const char16_t* text);
  // Set of a key with a number at offset 4 (BatchID).
  int32_t SetNumber(const char16_t* key, int32_t number);

 private:
  TvInstance instance = nullptr;
  TvEncoderCreateFn create = nullptr;
  TvEncoderDestroyFn destroy = nullptr;
  TvEncoderGetFn get = nullptr;
  TvEncoderSetFn set = nullptr;
  TvEncoderShowConfigBitFn showConfigBit = nullptr;
  TvEncoderRemoveConfigBitFn removeConfigBit = nullptr;
  TvEncoderBeginConversionFn beginConversion = nullptr;
  TvEncoderEndConversionFn endConversion = nullptr;
  TvEncoderEncodeBlockFn encodeBlock = nullptr;
};
