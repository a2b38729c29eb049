// clTvDecoder: the binding of a decoder plug-in library and its instance.
#pragma once
#include "plugins/clTvPluginBinding.h"

class clTvDecoder : public clTvPluginBinding {
 public:
  clTvDecoder();
  ~clTvDecoder() override = default;

  // End, free the library, clear the texts, then Load(path). The extension this load is made
  // for and the path are stored only when the load succeeds.
  bool Reload(const char16_t* path, const char16_t* extension);
  // End, free the library, clear every pointer and both texts: back to empty.
  void Unload();

  const XString& Extension() const { return extension; }
  const XString& Path() const { return path; }

  int32_t Open(TvOpenInfo* info) { return Call(open, info); }
  int32_t Close(TvConversionInfo* info) { return Call(close, info); }
  int32_t DecodeBlock(TvAudioBlock* block) { return Call(decodeBlock, block); }
  int32_t SetPosition(uint32_t first, uint32_t second) { return Call(setPosition, first, second); }
  int32_t DeleteATag(uint32_t first, uint32_t second) { return Call(deleteATag, first, second); }

 private:
  // Open, Close, DecodeBlock, SetPosition and DeleteATag.
  void BindOwnExports() override;

  XString extension;
  XString path;
  TvDecoderOpenFn open = nullptr;
  TvDecoderCloseFn close = nullptr;
  TvDecoderDecodeBlockFn decodeBlock = nullptr;
  TvDecoderSetPositionFn setPosition = nullptr;
  TvDecoderDeleteATagFn deleteATag = nullptr;
};
