// The plug-in records' layout on this 64-bit build, as C++ and C see it, down to the bytes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "sdk/tv_plugin.h"

extern "C" size_t TvPluginLayoutFromC(size_t* out, size_t room);
extern "C" const char16_t* TvPluginKeyFromC(int index);

namespace {

static_assert(sizeof(void*) == 8, "this test pins the 64-bit layout; layout32 pins the 32-bit one");

// Every field behind a pointer or a handle moves by the extra pointer bytes in front of it.
static_assert(sizeof(TvOpenInfo) == 120);
static_assert(offsetof(TvOpenInfo, interfaceLevel) == 8 && offsetof(TvOpenInfo, format) == 12);
static_assert(offsetof(TvOpenInfo, bitRate) == 52 && offsetof(TvOpenInfo, msLength) == 56);
static_assert(offsetof(TvOpenInfo, byteLength) == 64 && offsetof(TvOpenInfo, reserved1) == 72);
static_assert(offsetof(TvOpenInfo, idTags) == 80 && offsetof(TvOpenInfo, idTagsSize) == 88);
static_assert(offsetof(TvOpenInfo, properties) == 92 &&
              offsetof(TvOpenInfo, propertiesSize) == 100);
static_assert(offsetof(TvOpenInfo, reserved2) == 104);
static_assert(sizeof(TvAudioBlock) == 112);
static_assert(offsetof(TvAudioBlock, byteCount) == 8 && offsetof(TvAudioBlock, format) == 12);
static_assert(offsetof(TvAudioBlock, bitRate) == 52 && offsetof(TvAudioBlock, msDuration) == 56);
static_assert(offsetof(TvAudioBlock, reserved1) == 64 && offsetof(TvAudioBlock, msPosition) == 80);
static_assert(offsetof(TvAudioBlock, endOfStream) == 88 && offsetof(TvAudioBlock, reserved2) == 92);
static_assert(offsetof(TvAudioBlock, statusText) == 100 &&
              offsetof(TvAudioBlock, reserved3) == 108);
static_assert(sizeof(TvConversionInfo) == 56);
static_assert(offsetof(TvConversionInfo, outputFile) == 8 &&
              offsetof(TvConversionInfo, encoderSettings) == 16);
static_assert(offsetof(TvConversionInfo, format) == 24 && offsetof(TvConversionInfo, idTags) == 32);
static_assert(offsetof(TvConversionInfo, idTagsSize) == 40 &&
              offsetof(TvConversionInfo, extraInfo) == 44);
static_assert(offsetof(TvConversionInfo, extraInfoSize) == 52);
static_assert(sizeof(TvAfterConversionInfo) == 60 && offsetof(TvAfterConversionInfo, failed) == 56);
static_assert(sizeof(TvPluginValue) == 56);
static_assert(offsetof(TvPluginValue, value2) == 8 && offsetof(TvPluginValue, reserved) == 12);
static_assert(offsetof(TvPluginValue, text1) == 24 && offsetof(TvPluginValue, text2) == 32);
static_assert(offsetof(TvPluginValue, text3) == 40 && offsetof(TvPluginValue, data) == 48);
static_assert(sizeof(TvHostContext) == 24 && offsetof(TvHostContext, infoHandle) == 8);
static_assert(offsetof(TvHostContext, logHandle) == 16);

std::vector<size_t> LayoutFromCpp() {
  return {sizeof(TvWaveFormatEx),
          sizeof(TvWaveFormatExtensible),
          offsetof(TvWaveFormatExtensible, wValidBitsPerSample),
          offsetof(TvWaveFormatExtensible, dwChannelMask),
          offsetof(TvWaveFormatExtensible, SubFormat),
          sizeof(TvOpenInfo),
          offsetof(TvOpenInfo, interfaceLevel),
          offsetof(TvOpenInfo, format),
          offsetof(TvOpenInfo, bitRate),
          offsetof(TvOpenInfo, msLength),
          offsetof(TvOpenInfo, byteLength),
          offsetof(TvOpenInfo, idTags),
          offsetof(TvOpenInfo, idTagsSize),
          offsetof(TvOpenInfo, properties),
          offsetof(TvOpenInfo, propertiesSize),
          offsetof(TvOpenInfo, reserved2),
          sizeof(TvAudioBlock),
          offsetof(TvAudioBlock, byteCount),
          offsetof(TvAudioBlock, format),
          offsetof(TvAudioBlock, bitRate),
          offsetof(TvAudioBlock, msDuration),
          offsetof(TvAudioBlock, msPosition),
          offsetof(TvAudioBlock, endOfStream),
          offsetof(TvAudioBlock, statusText),
          sizeof(TvConversionInfo),
          offsetof(TvConversionInfo, format),
          offsetof(TvConversionInfo, idTagsSize),
          offsetof(TvConversionInfo, extraInfo),
          offsetof(TvConversionInfo, extraInfoSize),
          sizeof(TvAfterConversionInfo),
          offsetof(TvAfterConversionInfo, failed),
          sizeof(TvPluginValue),
          offsetof(TvPluginValue, text1),
          offsetof(TvPluginValue, text2),
          offsetof(TvPluginValue, text3),
          offsetof(TvPluginValue, data),
          sizeof(TvHostContext),
          offsetof(TvHostContext, logHandle)};
}

template <typename T>
T ReadAt(const void* record, size_t offset) {
  T value;
  std::memcpy(&value, static_cast<const unsigned char*>(record) + offset, sizeof value);
  return value;
}

TEST(TvPluginLayoutTest, CAndCppLayTheRecordsOutAlike) {
  std::vector<size_t> cpp = LayoutFromCpp();
  std::vector<size_t> c(cpp.size() + 1, 0);
  ASSERT_EQ(cpp.size(), TvPluginLayoutFromC(c.data(), c.size()));
  c.resize(cpp.size());
  EXPECT_EQ(cpp, c);
}

TEST(TvPluginLayoutTest, FieldsLandAtTheirBytesInLittleEndianOrder) {
  TvOpenInfo open = {};
  open.format.Format.nSamplesPerSec = 44100;
  open.msLength = 0x0102030405060708ull;
  open.propertiesSize = 0xA1B2C3D4u;
  EXPECT_EQ(44100u, ReadAt<uint32_t>(&open, 12 + 4));
  EXPECT_EQ(0x08, ReadAt<uint8_t>(&open, 56));
  EXPECT_EQ(0x01, ReadAt<uint8_t>(&open, 63));
  EXPECT_EQ(0xA1B2C3D4u, ReadAt<uint32_t>(&open, 100));

  TvAudioBlock block = {};
  block.endOfStream = 1;
  block.msPosition = 1234;
  EXPECT_EQ(1u, ReadAt<uint32_t>(&block, 88));
  EXPECT_EQ(1234u, ReadAt<uint64_t>(&block, 80));

  TvPluginValue value = {};
  int payload = 0;
  value.data = &payload;
  EXPECT_EQ(static_cast<void*>(&payload), ReadAt<void*>(&value, 48));
}

TEST(TvPluginLayoutTest, TotalsLieAtTheirDistanceBehindTheFormatPointer) {
  // A callee given only TvConversionInfo.format finds the totals 44 and 52 bytes behind it.
  TvOpenInfo open = {};
  open.msLength = 3600000;
  open.byteLength = 635040000;
  TvConversionInfo conversion = {};
  conversion.format = &open.format;
  const unsigned char* base = reinterpret_cast<const unsigned char*>(conversion.format);
  EXPECT_EQ(3600000u, ReadAt<uint64_t>(base, TV_FORMAT_TO_MS_LENGTH));
  EXPECT_EQ(635040000u, ReadAt<uint64_t>(base, TV_FORMAT_TO_BYTE_LENGTH));
}

TEST(TvPluginLayoutTest, FailedFlagFollowsTheConversionRecordDirectly) {
  TvAfterConversionInfo after = {};
  after.failed = 1;
  EXPECT_EQ(1u, ReadAt<uint32_t>(&after, sizeof(TvConversionInfo)));
}

TEST(TvPluginLayoutTest, SubFormatGuidHasItsMixedEndianBytes) {
  const unsigned char pcm[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
  TvGuid guid = TV_SUBFORMAT_GUID(TV_FORMAT_PCM);
  EXPECT_EQ(0, std::memcmp(pcm, &guid, 16));
  TvGuid mpeg = TV_SUBFORMAT_GUID(TV_FORMAT_MPEG);
  EXPECT_EQ(0x50, ReadAt<uint8_t>(&mpeg, 0));
  EXPECT_EQ(0, std::memcmp(pcm + 1, reinterpret_cast<unsigned char*>(&mpeg) + 1, 15));
}

TEST(TvPluginLayoutTest, KeysReadTheSameFromCAndCpp) {
  const char16_t* keys[] = {TV_KEY_DECODES,
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
  int count = static_cast<int>(std::size(keys));
  for (int i = 0; i < count; ++i) {
    ASSERT_NE(nullptr, TvPluginKeyFromC(i)) << i;
    EXPECT_EQ(std::u16string(keys[i]), std::u16string(TvPluginKeyFromC(i))) << i;
  }
  EXPECT_EQ(nullptr, TvPluginKeyFromC(count));
  EXPECT_EQ(std::u16string(u"Decode As"), TV_KEY_DECODE_AS);
  EXPECT_EQ(std::u16string(u"SendRawUnCompressed"), TV_KEY_SEND_RAW_UNCOMPRESSED);
}

}  // namespace
