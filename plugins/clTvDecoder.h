// clTvDecoder: the binding of a decoder plug-in library and its instance.
#pragma once
#include "plugins/XDLL.h"
#include "sdk/tv_plugin.h"

// Every forwarding member returns 0 without a call while no instance exists or the export is
// not bound, so that a binding that failed to load is harmless to call.
class clTvDecoder : public XDLL {
 public:
  clTvDecoder();
  // End, free the library, clear every pointer and both texts.
  ~clTvDecoder() override;

  // Binds Create, Destroy, Get, Set, Open, Close, DecodeBlock, SetPosition and DeleteATag;
  // all are mandatory.
  bool Load(const char16_t* path) override;
  // End, free the library, clear the texts, then Load(path). The extension this load is made
  // for and the path are stored only when the load succeeds.
  bool Reload(const char16_t* path, const char16_t* extension);
  // End, free the library, clear every pointer and both texts: back to empty.
  void Unload();
  // Ends a previous instance, then creates one; whether an instance exists.
  bool Make(TvHostContext* context);
  // Destroys the instance, if any; the handle is 0 afterwards.
  void End();

  bool HasInstance() const { return instance != nullptr; }
  const XString& Extension() const { return extension; }
  const XString& Path() const { return path; }

  int32_t Get(const char16_t* key, TvPluginValue* value);
  int32_t Set(const char16_t* key, TvPluginValue* value);
  int32_t Open(TvOpenInfo* info);
  int32_t Close(TvConversionInfo* info);
  int32_t DecodeBlock(TvAudioBlock* block);
  int32_t SetPosition(uint32_t first, uint32_t second);
  int32_t DeleteATag(uint32_t first, uint32_t second);

  // Set of a key with a zero value record, for keys that carry nothing (DecoderSet values).
  int32_t SetKey(const char16_t* key);
  // Set of a key with text at offset 24 (EventQuit, Decode As).
  int32_t SetText(const char16_t* key, const char16_t* text);
  // Set of a key with a number at offset 4 (BatchID).
  int32_t SetNumber(const char16_t* key, int32_t number);

 private:
  XString extension;
  XString path;
  TvInstance instance = nullptr;
  TvDecoderCreateFn create = nullptr;
  TvDecoderDestroyFn destroy = nullptr;
  TvDecoderGetFn get = nullptr;
  TvDecoderSetFn set = nullptr;
  TvDecoderOpenFn open = nullptr;
  TvDecoderCloseFn close = nullptr;
  TvDecoderDecodeBlockFn decodeBlock = nullptr;
  TvDecoderSetPositionFn setPosition = nullptr;
  TvDecoderDeleteATagFn deleteATag = nullptr;
};
