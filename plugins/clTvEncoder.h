// clTvEncoder: the binding of an encoder plug-in library and its instance.
#pragma once
#include "plugins/clTvPluginBinding.h"

class clTvEncoder : public clTvPluginBinding {
 public:
  clTvEncoder();
  ~clTvEncoder() override = default;

  int32_t ShowConfigBit(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    return Call(showConfigBit, a, b, c, d);
  }
  int32_t RemoveConfigBit(uint32_t a) { return Call(removeConfigBit, a); }
  int32_t BeginConversion(TvConversionInfo* info) { return Call(beginConversion, info); }
  // writeTags is set to 0 before the call; the encoder sets it to ask for tag writing.
  int32_t EndConversion(TvConversionInfo* info, int32_t* writeTags);
  int32_t EncodeBlock(TvAudioBlock* block) { return Call(encodeBlock, block); }

 private:
  // The five ENC_ exports beyond the shared four.
  void BindOwnExports() override;

  TvEncoderShowConfigBitFn showConfigBit = nullptr;
  TvEncoderRemoveConfigBitFn removeConfigBit = nullptr;
  TvEncoderBeginConversionFn beginConversion = nullptr;
  TvEncoderEndConversionFn endConversion = nullptr;
  TvEncoderEncodeBlockFn encodeBlock = nullptr;
};
