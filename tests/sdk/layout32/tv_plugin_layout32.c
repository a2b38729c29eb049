/* Compile-only proof that the plug-in records have their fixed 32-bit layout; built with -m32 as C
 * and as C++. */
/* The export prototypes are parsed too, as a plug-in of each kind would see them. */
#define TV_DECODER_PLUGIN
#define TV_ENCODER_PLUGIN
#define TV_DSP_PLUGIN
#include "sdk/tv_plugin.h"

#ifdef __cplusplus
#define AT(type, field, offset) static_assert(offsetof(type, field) == (offset), #type "." #field)
#define SIZE(type, size) static_assert(sizeof(type) == (size), #type " size")
#else
#define AT(type, field, offset) _Static_assert(offsetof(type, field) == (offset), #type "." #field)
#define SIZE(type, size) _Static_assert(sizeof(type) == (size), #type " size")
#endif

SIZE(void*, 4);

SIZE(TvWaveFormatEx, 18);
AT(TvWaveFormatEx, wFormatTag, 0);
AT(TvWaveFormatEx, nChannels, 2);
AT(TvWaveFormatEx, nSamplesPerSec, 4);
AT(TvWaveFormatEx, nAvgBytesPerSec, 8);
AT(TvWaveFormatEx, nBlockAlign, 12);
AT(TvWaveFormatEx, wBitsPerSample, 14);
AT(TvWaveFormatEx, cbSize, 16);

SIZE(TvWaveFormatExtensible, 40);
AT(TvWaveFormatExtensible, Format, 0);
AT(TvWaveFormatExtensible, wValidBitsPerSample, 18);
AT(TvWaveFormatExtensible, dwChannelMask, 20);
AT(TvWaveFormatExtensible, SubFormat, 24);

SIZE(TvOpenInfo, 108);
AT(TvOpenInfo, fileName, 0);
AT(TvOpenInfo, interfaceLevel, 4);
AT(TvOpenInfo, format, 8);
AT(TvOpenInfo, bitRate, 48);
AT(TvOpenInfo, msLength, 52);
AT(TvOpenInfo, byteLength, 60);
AT(TvOpenInfo, reserved1, 68);
AT(TvOpenInfo, idTags, 76);
AT(TvOpenInfo, idTagsSize, 80);
AT(TvOpenInfo, properties, 84);
AT(TvOpenInfo, propertiesSize, 88);
AT(TvOpenInfo, reserved2, 92);

SIZE(TvAudioBlock, 104);
AT(TvAudioBlock, data, 0);
AT(TvAudioBlock, byteCount, 4);
AT(TvAudioBlock, format, 8);
AT(TvAudioBlock, bitRate, 48);
AT(TvAudioBlock, msDuration, 52);
AT(TvAudioBlock, reserved1, 60);
AT(TvAudioBlock, msPosition, 76);
AT(TvAudioBlock, endOfStream, 84);
AT(TvAudioBlock, reserved2, 88);
AT(TvAudioBlock, statusText, 96);
AT(TvAudioBlock, reserved3, 100);

SIZE(TvConversionInfo, 32);
AT(TvConversionInfo, sourceFile, 0);
AT(TvConversionInfo, outputFile, 4);
AT(TvConversionInfo, encoderSettings, 8);
AT(TvConversionInfo, format, 12);
AT(TvConversionInfo, idTags, 16);
AT(TvConversionInfo, idTagsSize, 20);
AT(TvConversionInfo, extraInfo, 24);
AT(TvConversionInfo, extraInfoSize, 28);

SIZE(TvAfterConversionInfo, 36);
AT(TvAfterConversionInfo, info, 0);
AT(TvAfterConversionInfo, failed, 32);

SIZE(TvPluginValue, 40);
AT(TvPluginValue, index, 0);
AT(TvPluginValue, value, 4);
AT(TvPluginValue, value2, 8);
AT(TvPluginValue, reserved, 12);
AT(TvPluginValue, text1, 24);
AT(TvPluginValue, text2, 28);
AT(TvPluginValue, text3, 32);
AT(TvPluginValue, data, 36);

SIZE(TvHostContext, 12);
AT(TvHostContext, errorHandle, 0);
AT(TvHostContext, infoHandle, 4);
AT(TvHostContext, logHandle, 8);
