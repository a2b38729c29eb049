// clTvDSP: the binding of a DSP effect plug-in library and its instance.
#pragma once
#include "plugins/clTvPluginBinding.h"

class clTvDSP : public clTvPluginBinding {
 public:
  clTvDSP();
  ~clTvDSP() override = default;

  int32_t ShowConfigBit(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    return Call(showConfigBit, a, b, c, d);
  }
  int32_t RemoveConfigBit(uint32_t a) { return Call(removeConfigBit, a); }
  int32_t BeginConversion(TvConversionInfo* info, const char16_t* parameters) {
    return Call(beginConversion, info, parameters);
  }
  int32_t EndConversion(TvConversionInfo* info) { return Call(endConversion, info); }
  int32_t PassAudioBlock(TvAudioBlock* block) { return Call(passAudioBlock, block); }
  int32_t PassNonLive(const char16_t* rawFile, TvWaveFormatExtensible* format,
                      const char16_t* parameters, const char16_t* quitEventName) {
    return Call(passNonLive, rawFile, format, parameters, quitEventName);
  }
  // info is the copy with the failed flag behind it.
  int32_t AfterConversion(TvAfterConversionInfo* info) {
    return info != nullptr ? Call(afterConversion, &info->info) : 0;
  }

 private:
  // The seven DSP_ exports beyond the shared four.
  void BindOwnExports() override;

  TvDSPShowConfigBitFn showConfigBit = nullptr;
  TvDSPRemoveConfigBitFn removeConfigBit = nullptr;
  TvDSPBeginConversionFn beginConversion = nullptr;
  TvDSPEndConversionFn endConversion = nullptr;
  TvDSPPassAudioBlockFn passAudioBlock = nullptr;
  TvDSPPassNonLiveFn passNonLive = nullptr;
  TvDSPAfterConversionFn afterConversion = nullptr;
};
