/* The plug-in records as a C compiler lays them out, for the C++ layout test to compare. */
#include "sdk/tv_plugin.h"

#define PUT(value)                          \
  do {                                      \
    if (count < room) out[count] = (value); \
    ++count;                                \
  } while (0)

/* Sizes and offsets in the order TvPluginLayoutTest lists them; returns how many there are. */
size_t TvPluginLayoutFromC(size_t* out, size_t room) {
  size_t count = 0;
  PUT(sizeof(TvWaveFormatEx));
  PUT(sizeof(TvWaveFormatExtensible));
  PUT(offsetof(TvWaveFormatExtensible, wValidBitsPerSample));
  PUT(offsetof(TvWaveFormatExtensible, dwChannelMask));
  PUT(offsetof(TvWaveFormatExtensible, SubFormat));
  PUT(sizeof(TvOpenInfo));
  PUT(offsetof(TvOpenInfo, interfaceLevel));
  PUT(offsetof(TvOpenInfo, format));
  PUT(offsetof(TvOpenInfo, bitRate));
  PUT(offsetof(TvOpenInfo, msLength));
  PUT(offsetof(TvOpenInfo, byteLength));
  PUT(offsetof(TvOpenInfo, idTags));
  PUT(offsetof(TvOpenInfo, idTagsSize));
  PUT(offsetof(TvOpenInfo, properties));
  PUT(offsetof(TvOpenInfo, propertiesSize));
  PUT(offsetof(TvOpenInfo, reserved2));
  PUT(sizeof(TvAudioBlock));
  PUT(offsetof(TvAudioBlock, byteCount));
  PUT(offsetof(TvAudioBlock, format));
  PUT(offsetof(TvAudioBlock, bitRate));
  PUT(offsetof(TvAudioBlock, msDuration));
  PUT(offsetof(TvAudioBlock, msPosition));
  PUT(offsetof(TvAudioBlock, endOfStream));
  PUT(offsetof(TvAudioBlock, statusText));
  PUT(sizeof(TvConversionInfo));
  PUT(offsetof(TvConversionInfo, format));
  PUT(offsetof(TvConversionInfo, idTagsSize));
  PUT(offsetof(TvConversionInfo, extraInfo));
  PUT(offsetof(TvConversionInfo, extraInfoSize));
  PUT(sizeof(TvAfterConversionInfo));
  PUT(offsetof(TvAfterConversionInfo, failed));
  PUT(sizeof(TvPluginValue));
  PUT(offsetof(TvPluginValue, text1));
  PUT(offsetof(TvPluginValue, text2));
  PUT(offsetof(TvPluginValue, text3));
  PUT(offsetof(TvPluginValue, data));
  PUT(sizeof(TvHostContext));
  PUT(offsetof(TvHostContext, logHandle));
  return count;
}

/* A key as C code spells it, by position in TvPluginLayoutTest's list; null past the end. */
const char16_t* TvPluginKeyFromC(int index) {
  static const char16_t* const keys[] = {TV_KEY_DECODES,
                                         TV_KEY_STREAMING_DECODES,
                                         TV_KEY_UNLISTED,
                                         TV_KEY_EVENT_QUIT,
                                         TV_KEY_BATCH_ID,
                                         TV_KEY_PRIORITY,
                                         TV_KEY_DECODE_AS,
                                         TV_KEY_ID_TAGS,
                                         TV_KEY_SEND_RAW_UNCOMPRESSED,
                                         TV_KEY_NEED_HQ_AUDIO,
                                         TV_KEY_SEND_OVER_REPLAY_GAIN_TAGS,
                                         TV_KEY_IS_LOSSLESS,
                                         TV_KEY_REQUIRES_DSP,
                                         TV_KEY_EXTENSION,
                                         TV_KEY_IS_LIVE,
                                         TV_KEY_BATCH_END_CONVERSION,
                                         TV_KEY_COMMUNICATE,
                                         TV_KEY_COMMUNICATE_RESULT};
  if (index < 0 || index >= (int)(sizeof(keys) / sizeof(keys[0]))) return 0;
  return keys[index];
}
