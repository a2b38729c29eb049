// Format images: normalisation, byte-range intake, extensible conversions, time and size maths,
// wave headers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "foundation/XFile.h"
#include "plugins/XWaveFormat.h"

namespace {

TvWaveFormatExtensible Wide(uint16_t subTag, uint16_t channels, uint32_t rate, uint16_t bits) {
  TvWaveFormatExtensible wide = {};
  wide.Format = {TV_FORMAT_EXTENSIBLE, channels, rate, 0, 0, bits, TV_FORMAT_EXTENSIBLE_EXTRA};
  wide.wValidBitsPerSample = bits;
  wide.dwChannelMask = 3;
  wide.SubFormat = TV_SUBFORMAT_GUID(subTag);
  return wide;
}

XWaveFormat Pcm(uint16_t channels, uint32_t rate, uint16_t bits) {
  XWaveFormat format;
  format.SetPCM(channels, rate, bits);
  return format;
}

TEST(XWaveFormatTest, EmptyFormatHasUnitDivisors) {
  XWaveFormat format;
  EXPECT_EQ(0, format.Format()->wFormatTag);
  EXPECT_EQ(1u, format.Format()->nAvgBytesPerSec);
  EXPECT_EQ(1, format.Format()->nBlockAlign);
  EXPECT_EQ(18u, format.Length());
  EXPECT_EQ(1000u, format.BytesToMs(1));
}

TEST(XWaveFormatTest, PcmDerivesBlockAlignAndByteRate) {
  XWaveFormat stereo = Pcm(2, 44100, 16);
  EXPECT_EQ(4, stereo.Format()->nBlockAlign);
  EXPECT_EQ(176400u, stereo.Format()->nAvgBytesPerSec);
  // Integer division: 20 bits in 3 channels are 60 bits, 7 whole bytes.
  XWaveFormat odd = Pcm(3, 1000, 20);
  EXPECT_EQ(7, odd.Format()->nBlockAlign);
  EXPECT_EQ(7000u, odd.Format()->nAvgBytesPerSec);
  XWaveFormat none = Pcm(0, 44100, 16);
  EXPECT_EQ(1, none.Format()->nBlockAlign);
  EXPECT_EQ(1u, none.Format()->nAvgBytesPerSec);
}

TEST(XWaveFormatTest, OtherTagsKeepTheirDerivedFieldsButNeverZero) {
  TvWaveFormatEx adpcm = {TV_FORMAT_ADPCM, 2, 44100, 22311, 2048, 4, 0};
  XWaveFormat kept(&adpcm);
  EXPECT_EQ(22311u, kept.Format()->nAvgBytesPerSec);
  EXPECT_EQ(2048, kept.Format()->nBlockAlign);
  TvWaveFormatEx zero = {0x55, 2, 44100, 0, 0, 0, 0};
  XWaveFormat fixed(&zero);
  EXPECT_EQ(1u, fixed.Format()->nAvgBytesPerSec);
  EXPECT_EQ(1, fixed.Format()->nBlockAlign);
}

TEST(XWaveFormatTest, ExtensibleImageIsCopiedWholeAndNormalisedBySubFormat) {
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_IEEE_FLOAT, 2, 48000, 32);
  XWaveFormat format(&wide.Format);
  ASSERT_TRUE(format.IsExtensible());
  EXPECT_EQ(40u, format.Length());
  EXPECT_EQ(TV_FORMAT_IEEE_FLOAT, format.EffectiveTag());
  EXPECT_EQ(8, format.Format()->nBlockAlign);
  EXPECT_EQ(384000u, format.Format()->nAvgBytesPerSec);
  EXPECT_NE(static_cast<const void*>(&wide), format.Format());
  EXPECT_EQ(
      0, std::memcmp(&wide.SubFormat, reinterpret_cast<const uint8_t*>(format.Format()) + 24, 16));
}

TEST(XWaveFormatTest, ShortExtensibleIsPlainWithExtraBytesAndItsGuidUnread) {
  // cbSize 21 keeps 39 bytes; the PCM GUID that would follow is never looked at.
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  wide.Format.cbSize = 21;
  wide.Format.nAvgBytesPerSec = 5;
  wide.Format.nBlockAlign = 3;
  XWaveFormat format(&wide.Format);
  EXPECT_FALSE(format.IsExtensible());
  EXPECT_EQ(39u, format.Length());
  EXPECT_EQ(TV_FORMAT_EXTENSIBLE, format.EffectiveTag());
  TvGuid pcm = TV_SUBFORMAT_GUID(TV_FORMAT_PCM);
  EXPECT_FALSE(format.HasSubFormat(pcm));
  EXPECT_EQ(5u, format.Format()->nAvgBytesPerSec);  // no recompute for a raw 0xFFFE
  EXPECT_EQ(0, std::memcmp(&wide, format.Format(), 39));
}

TEST(XWaveFormatTest, SettingFromItsOwnImageChangesNothing) {
  XWaveFormat format = Pcm(2, 44100, 16);
  format.SetAvgBytes(7);
  format.Set(format.Format());
  EXPECT_EQ(7u, format.Format()->nAvgBytesPerSec);
  format = format;
  EXPECT_EQ(7u, format.Format()->nAvgBytesPerSec);
  XWaveFormat null = Pcm(2, 44100, 16);
  null.Set(static_cast<const TvWaveFormatEx*>(nullptr));
  EXPECT_EQ(0, null.Format()->wFormatTag);
}

TEST(XWaveFormatTest, CopiesOwnTheirImage) {
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_PCM, 6, 48000, 24);
  XWaveFormat original(&wide.Format);
  XWaveFormat copy(original);
  XWaveFormat assigned;
  assigned = original;
  copy.SetChannels(2, true);
  EXPECT_EQ(6, original.Format()->nChannels);
  EXPECT_EQ(6, assigned.Format()->nChannels);
  EXPECT_TRUE(assigned.IsExtensible());
  EXPECT_NE(original.Format(), assigned.Format());
  EXPECT_EQ(0, std::memcmp(original.Format(), assigned.Format(), 40));
}

TEST(XWaveFormatTest, ByteRangeOfAnImageDropsACbSizeRunningPastItsEnd) {
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  XWaveFormat format;
  format.Set(&wide, 40);
  EXPECT_TRUE(format.IsExtensible());
  format.Set(&wide, 39);  // 18 + 22 does not fit 39
  EXPECT_FALSE(format.IsExtensible());
  EXPECT_EQ(0, format.Format()->cbSize);
  EXPECT_EQ(18u, format.Length());
  EXPECT_EQ(22, wide.Format.cbSize);  // the caller's bytes are only read
  TvWaveFormatEx plain = {TV_FORMAT_PCM, 1, 8000, 0, 0, 8, 0};
  format.Set(&plain, 18);
  EXPECT_EQ(8000u, format.Format()->nAvgBytesPerSec);
}

TEST(XWaveFormatTest, ByteRangeOfFourteenToSeventeenIsAnOldStyleFormat) {
  TvWaveFormatEx old = {TV_FORMAT_ADPCM, 2, 22050, 11100, 6, 12, 30};
  XWaveFormat format;
  format.Set(&old, 17);  // neither bits nor cbSize
  EXPECT_EQ(0, format.Format()->wBitsPerSample);
  EXPECT_EQ(0, format.Format()->cbSize);
  EXPECT_EQ(11100u, format.Format()->nAvgBytesPerSec);
  format.Set(&old, 16);
  EXPECT_EQ(12, format.Format()->wBitsPerSample);
  EXPECT_EQ(0, format.Format()->cbSize);
  format.Set(&old, 15);
  EXPECT_EQ(0, format.Format()->wBitsPerSample);
  format.Set(&old, 14);  // 6 * 8 / 2
  EXPECT_EQ(24, format.Format()->wBitsPerSample);
  old.nChannels = 0;
  format.Set(&old, 14);
  EXPECT_EQ(16, format.Format()->wBitsPerSample);
}

TEST(XWaveFormatTest, ByteRangeBelowFourteenOrNullIsEmpty) {
  TvWaveFormatEx plain = {TV_FORMAT_PCM, 2, 44100, 0, 0, 16, 0};
  XWaveFormat format = Pcm(2, 44100, 16);
  format.Set(&plain, 13);
  EXPECT_EQ(0, format.Format()->wFormatTag);
  EXPECT_EQ(0u, format.Format()->nSamplesPerSec);
  format = Pcm(2, 44100, 16);
  format.Set(static_cast<const void*>(nullptr), 40);
  EXPECT_EQ(0, format.Format()->nChannels);
}

TEST(XWaveFormatTest, EffectiveTagComesFromAKnownSubFormatOnly) {
  const uint16_t known[] = {TV_FORMAT_PCM,  TV_FORMAT_ADPCM, TV_FORMAT_IEEE_FLOAT,
                            TV_FORMAT_ALAW, TV_FORMAT_MULAW, TV_FORMAT_MPEG};
  for (uint16_t tag : known) {
    TvWaveFormatExtensible wide = Wide(tag, 2, 44100, 16);
    EXPECT_EQ(tag, XWaveFormat(&wide.Format).EffectiveTag()) << tag;
  }
  TvWaveFormatExtensible unknown = Wide(0x55, 2, 44100, 16);
  EXPECT_EQ(TV_FORMAT_EXTENSIBLE, XWaveFormat(&unknown.Format).EffectiveTag());
  unknown.SubFormat = TV_SUBFORMAT_GUID(TV_FORMAT_PCM);
  unknown.SubFormat.data4[7] ^= 1;
  EXPECT_EQ(TV_FORMAT_EXTENSIBLE, XWaveFormat(&unknown.Format).EffectiveTag());
}

TEST(XWaveFormatTest, SetTagWritesKnownSubFormatsAndLeavesEightyAlone) {
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  XWaveFormat format(&wide.Format);
  format.SetTag(TV_FORMAT_IEEE_FLOAT);
  TvGuid floatGuid = TV_SUBFORMAT_GUID(TV_FORMAT_IEEE_FLOAT);
  EXPECT_TRUE(format.HasSubFormat(floatGuid));
  EXPECT_EQ(TV_FORMAT_EXTENSIBLE, format.Format()->wFormatTag);
  format.SetTag(TV_FORMAT_MPEG);
  EXPECT_TRUE(format.HasSubFormat(floatGuid));
  XWaveFormat plain = Pcm(2, 44100, 16);
  plain.SetTag(TV_FORMAT_MPEG);
  EXPECT_EQ(TV_FORMAT_MPEG, plain.Format()->wFormatTag);
  EXPECT_FALSE(plain.HasSubFormat(floatGuid));
}

TEST(XWaveFormatTest, MillisecondsToBytesRoundsDownToWholeFrames) {
  XWaveFormat seven = Pcm(7, 44100, 16);  // 14-byte frames, 617400 bytes a second
  EXPECT_EQ(0u, seven.MsToBytes(0));
  EXPECT_EQ(616u, seven.MsToBytes(1));  // 617 floored to 44 frames
  EXPECT_EQ(617400u, seven.MsToBytes(1000));
  EXPECT_EQ(0u, seven.BytesToMs(0));
  EXPECT_EQ(0u, seven.BytesToMs(1));
  EXPECT_EQ(1000u, seven.BytesToMs(617400));
}

TEST(XWaveFormatTest, HoursOfHighRateAudioDoNotOverflow) {
  XWaveFormat big = Pcm(8, 192000, 32);
  uint64_t tenHours = 10ull * 3600 * 1000;
  uint64_t bytes = big.MsToBytes(tenHours);
  EXPECT_EQ(221184000000ull, bytes);
  EXPECT_EQ(tenHours, big.BytesToMs(bytes));
  // bytes x 1000 would wrap 64 bits here
  EXPECT_EQ(
      100000000000000000ull / 6144000 * 1000 + 100000000000000000ull % 6144000 * 1000 / 6144000,
      big.BytesToMs(100000000000000000ull));
  EXPECT_EQ(uint64_t{1} << 62, big.FloorToBlock((uint64_t{1} << 62) + 31));
}

TEST(XWaveFormatTest, ZeroDivisorsCountAsOneAndAreStoredBack) {
  XWaveFormat format = Pcm(2, 44100, 16);
  format.SetAvgBytes(0);
  format.SetBlockAlign(0);
  EXPECT_EQ(5000u, format.BytesToMs(5));
  EXPECT_EQ(1u, format.Format()->nAvgBytesPerSec);
  EXPECT_EQ(5u, format.FloorToBlock(5));
  EXPECT_EQ(1, format.Format()->nBlockAlign);
  format.SetBlockAlign(0);
  EXPECT_EQ(3u, format.MsToBytes(3000));
  EXPECT_EQ(1, format.Format()->nBlockAlign);
}

TEST(XWaveFormatTest, SamplesCountByContainerWidthAndChannels) {
  XWaveFormat format = Pcm(3, 48000, 24);
  EXPECT_EQ(3u, format.BytesToSamples(9));
  EXPECT_EQ(3u, format.BytesToSamples(11));
  EXPECT_EQ(27u, format.SamplesToBytes(9));
  EXPECT_EQ(9u, format.FloorToChannels(10));
  EXPECT_EQ(0u, format.FloorToChannels(2));
  XWaveFormat narrow = Pcm(0, 8000, 4);  // width 0 and no channels count as 1
  EXPECT_EQ(10u, narrow.BytesToSamples(10));
  EXPECT_EQ(10u, narrow.SamplesToBytes(10));
  EXPECT_EQ(10u, narrow.FloorToChannels(10));
}

TEST(XWaveFormatTest, SettersRecomputeOnlyWhenAsked) {
  XWaveFormat format = Pcm(2, 44100, 16);
  format.SetRate(48000, false);
  EXPECT_EQ(176400u, format.Format()->nAvgBytesPerSec);
  format.SetRate(48000, true);
  EXPECT_EQ(192000u, format.Format()->nAvgBytesPerSec);
  format.SetBits(24, true);
  EXPECT_EQ(6, format.Format()->nBlockAlign);
  format.SetChannels(1, true);
  EXPECT_EQ(144000u, format.Format()->nAvgBytesPerSec);
}

TEST(XWaveFormatTest, ExtensibleSettersKeepMaskAndValidBitsConsistent) {
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_PCM, 2, 44100, 32);
  wide.wValidBitsPerSample = 24;
  XWaveFormat format(&wide.Format);
  auto view = [&format] {
    return reinterpret_cast<const TvWaveFormatExtensible*>(format.Format());
  };
  format.SetChannels(2, false);
  EXPECT_EQ(3u, view()->dwChannelMask);
  format.SetBits(32, false);
  EXPECT_EQ(24, view()->wValidBitsPerSample);  // same bits: valid bits stay
  format.SetChannels(4, false);
  EXPECT_EQ(0u, view()->dwChannelMask);
  format.SetBits(16, false);
  EXPECT_EQ(16, view()->wValidBitsPerSample);
  TvWaveFormatExtensible alaw = Wide(TV_FORMAT_ALAW, 1, 8000, 8);
  XWaveFormat other(&alaw.Format);
  other.SetBits(16, false);
  EXPECT_EQ(8,
            reinterpret_cast<const TvWaveFormatExtensible*>(other.Format())->wValidBitsPerSample);
}

TEST(XWaveFormatTest, ToExtensibleConvertsPcmAndFloatOnly) {
  XWaveFormat format = Pcm(2, 44100, 24);
  ASSERT_TRUE(format.ToExtensible());
  auto wide = reinterpret_cast<const TvWaveFormatExtensible*>(format.Format());
  EXPECT_EQ(TV_FORMAT_EXTENSIBLE, wide->Format.wFormatTag);
  EXPECT_EQ(22, wide->Format.cbSize);
  EXPECT_EQ(24, wide->wValidBitsPerSample);
  EXPECT_EQ(0x80000000u, wide->dwChannelMask);
  EXPECT_EQ(TV_FORMAT_PCM, format.EffectiveTag());
  EXPECT_EQ(6, wide->Format.nBlockAlign);
  EXPECT_TRUE(format.ToExtensible());
  EXPECT_EQ(40u, format.Length());

  TvWaveFormatEx floats = {TV_FORMAT_IEEE_FLOAT, 1, 96000, 0, 0, 64, 0};
  XWaveFormat wideFloat(&floats);
  EXPECT_TRUE(wideFloat.ToExtensible());
  EXPECT_EQ(TV_FORMAT_IEEE_FLOAT, wideFloat.EffectiveTag());

  TvWaveFormatEx adpcm = {TV_FORMAT_ADPCM, 2, 44100, 22311, 2048, 4, 0};
  XWaveFormat refused(&adpcm);
  EXPECT_FALSE(refused.ToExtensible());
  EXPECT_EQ(0, std::memcmp(&adpcm, refused.Format(), 18));
}

TEST(XWaveFormatTest, ToPlainKeepsTheBytesBehindTheFortyAsExtraData) {
  uint8_t image[44] = {};
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_IEEE_FLOAT, 2, 44100, 32);
  wide.Format.cbSize = 26;
  std::memcpy(image, &wide, 40);
  std::memcpy(image + 40, "\x11\x22\x33\x44", 4);
  XWaveFormat format(reinterpret_cast<const TvWaveFormatEx*>(image));
  ASSERT_TRUE(format.ToPlain());
  EXPECT_EQ(TV_FORMAT_IEEE_FLOAT, format.Format()->wFormatTag);
  EXPECT_EQ(4, format.Format()->cbSize);
  EXPECT_EQ(0, std::memcmp("\x11\x22\x33\x44",
                           reinterpret_cast<const uint8_t*>(format.Format()) + 18, 4));
  EXPECT_FALSE(format.ToPlain());

  XWaveFormat exact(&wide.Format);
  wide.Format.cbSize = 22;
  exact.Set(&wide.Format);
  ASSERT_TRUE(exact.ToPlain());
  EXPECT_EQ(18u, exact.Length());

  TvWaveFormatExtensible unknown = Wide(0x55, 2, 44100, 16);
  XWaveFormat kept(&unknown.Format);
  EXPECT_FALSE(kept.ToPlain());
  EXPECT_TRUE(kept.IsExtensible());
}

TEST(XWaveFormatTest, Copy40CapsCbSize) {
  uint8_t image[50] = {};
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  wide.Format.cbSize = 32;
  std::memcpy(image, &wide, 40);
  XWaveFormat format(reinterpret_cast<const TvWaveFormatEx*>(image));
  TvWaveFormatExtensible out;
  std::memset(&out, 0xAB, sizeof out);
  format.Copy40(&out);
  EXPECT_EQ(22, out.Format.cbSize);
  EXPECT_EQ(0, std::memcmp(&wide.SubFormat, &out.SubFormat, 16));

  TvWaveFormatEx plain = {TV_FORMAT_ADPCM, 2, 44100, 22311, 2048, 4, 2};
  uint8_t withExtra[20] = {};
  std::memcpy(withExtra, &plain, 18);
  withExtra[18] = 0x77;
  XWaveFormat extra(reinterpret_cast<const TvWaveFormatEx*>(withExtra));
  std::memset(&out, 0xAB, sizeof out);
  extra.Copy40(&out);
  EXPECT_EQ(0, out.Format.cbSize);
  EXPECT_EQ(22311u, out.Format.nAvgBytesPerSec);
  EXPECT_EQ(0, out.wValidBitsPerSample);
  extra.Copy40(nullptr);
}

TEST(XWaveFormatTest, StandardDepthsByTag) {
  for (uint16_t bits : {8, 16, 24, 32}) EXPECT_TRUE(Pcm(2, 44100, bits).IsStandardDepth()) << bits;
  for (uint16_t bits : {0, 12, 20, 64}) EXPECT_FALSE(Pcm(2, 44100, bits).IsStandardDepth()) << bits;
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_IEEE_FLOAT, 2, 44100, 64);
  EXPECT_TRUE(XWaveFormat(&wide.Format).IsStandardDepth());
  wide.Format.wBitsPerSample = 16;
  EXPECT_FALSE(XWaveFormat(&wide.Format).IsStandardDepth());
  TvWaveFormatEx mpeg = {TV_FORMAT_MPEG, 2, 44100, 16000, 1, 7, 0};
  EXPECT_TRUE(XWaveFormat(&mpeg).IsStandardDepth());
}

TEST(XWaveFormatTest, IsSameComparesChannelsBitsAndRate) {
  XWaveFormat a = Pcm(2, 44100, 16);
  XWaveFormat b = Pcm(2, 44100, 16);
  b.SetAvgBytes(1);  // derived fields do not count
  EXPECT_TRUE(XWaveFormat::IsSame(a.Format(), b.Format()));
  EXPECT_FALSE(XWaveFormat::IsSame(a.Format(), Pcm(2, 48000, 16).Format()));
  EXPECT_FALSE(XWaveFormat::IsSame(a.Format(), Pcm(1, 44100, 16).Format()));
  EXPECT_FALSE(XWaveFormat::IsSame(a.Format(), Pcm(2, 44100, 24).Format()));
  TvWaveFormatEx floats = {TV_FORMAT_IEEE_FLOAT, 2, 44100, 0, 0, 16, 0};
  EXPECT_FALSE(XWaveFormat::IsSame(a.Format(), &floats));
  EXPECT_FALSE(XWaveFormat::IsSame(a.Format(), nullptr));
}

TEST(XWaveFormatTest, IsSameSeesThroughExtensibleInEitherOrder) {
  XWaveFormat plain = Pcm(2, 44100, 16);
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  EXPECT_TRUE(XWaveFormat::IsSame(&wide.Format, plain.Format()));
  EXPECT_TRUE(XWaveFormat::IsSame(plain.Format(), &wide.Format));
  TvWaveFormatExtensible floats = Wide(TV_FORMAT_IEEE_FLOAT, 2, 44100, 16);
  EXPECT_FALSE(XWaveFormat::IsSame(&floats.Format, plain.Format()));
  TvWaveFormatExtensible unknown = Wide(0x55, 2, 44100, 16);
  EXPECT_FALSE(XWaveFormat::IsSame(plain.Format(), &unknown.Format));
}

TEST(XWaveFormatTest, IsSameComparesSubFormatsOnlyFromCbSizeForty) {
  TvWaveFormatExtensible pcm = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  TvWaveFormatExtensible floats = Wide(TV_FORMAT_IEEE_FLOAT, 2, 44100, 16);
  EXPECT_TRUE(XWaveFormat::IsSame(&pcm.Format, &floats.Format));  // cbSize 22: GUIDs unread
  uint8_t first[58] = {}, second[58] = {};
  pcm.Format.cbSize = floats.Format.cbSize = 40;
  std::memcpy(first, &pcm, 40);
  std::memcpy(second, &floats, 40);
  auto a = reinterpret_cast<const TvWaveFormatEx*>(first);
  auto b = reinterpret_cast<const TvWaveFormatEx*>(second);
  EXPECT_FALSE(XWaveFormat::IsSame(a, b));
  std::memcpy(second, &pcm, 40);
  EXPECT_TRUE(XWaveFormat::IsSame(a, b));
  reinterpret_cast<TvWaveFormatExtensible*>(second)->wValidBitsPerSample = 12;
  EXPECT_FALSE(XWaveFormat::IsSame(a, b));
}

TEST(XWaveFormatTest, LogTextHasItsFixedShape) {
  EXPECT_EQ(
      std::u16string(u"Format Tag: 1  Channels: 2  Bits per Sample: 16  Samples Per Second: 44100"
                     u"  Bytes Per Second: 176400  Block Align: 4  CB Size: 0"),
      Pcm(2, 44100, 16).LogText().CStr());
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_IEEE_FLOAT, 1, 8000, 32);
  EXPECT_EQ(
      std::u16string(
          u"Format Tag: 65534  Channels: 1  Bits per Sample: 32  Samples Per Second: 8000"
          u"  Bytes Per Second: 32000  Block Align: 4  CB Size: 22  Extensible Sub-Format: 3"),
      XWaveFormat(&wide.Format).LogText().CStr());
}

// A unique folder per test, removed afterwards.
class XWaveFormatFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/XWaveFormatTest-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back(0);
    ASSERT_NE(nullptr, mkdtemp(name.data()));
    folder = name.data();
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::vector<uint8_t> WriteHeader(const XWaveFormat& format, uint64_t frames,
                                   const std::vector<uint8_t>& samples, const char* name) {
    path = folder + "/" + name;
    XFile file;
    EXPECT_TRUE(file.OpenCreate(XString::FromUtf8(path)));
    EXPECT_TRUE(format.WriteWaveHeader(file, frames));
    if (!samples.empty()) {
      EXPECT_TRUE(file.Write(samples.data(), static_cast<uint32_t>(samples.size())));
    }
    file.Close();
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
  }

  static uint32_t U32(const std::vector<uint8_t>& bytes, size_t at) {
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | uint32_t{bytes[at + 3]} << 24;
  }

  // What soxi says with one option, or "" when it cannot be run.
  std::string Soxi(const char* option) {
    std::string command = std::string("soxi ") + option + " '" + path + "' 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return "";
    char line[128] = {};
    std::string answer = std::fgets(line, sizeof line, pipe) ? line : "";
    pclose(pipe);
    while (!answer.empty() && (answer.back() == '\n' || answer.back() == '\r')) answer.pop_back();
    return answer;
  }

  std::string folder, path;
};

TEST_F(XWaveFormatFileTest, PlainHeaderIsLaidOutByteByByte) {
  std::vector<uint8_t> bytes = WriteHeader(Pcm(2, 44100, 16), 3, {}, "plain.wav");
  ASSERT_EQ(46u, bytes.size());
  EXPECT_EQ(0, std::memcmp(bytes.data(), "RIFF", 4));
  EXPECT_EQ(18u + 12 + 20, U32(bytes, 4));
  EXPECT_EQ(0, std::memcmp(bytes.data() + 8, "WAVEfmt ", 8));
  EXPECT_EQ(18u, U32(bytes, 16));
  EXPECT_EQ(0, std::memcmp(bytes.data() + 20, Pcm(2, 44100, 16).Format(), 18));
  EXPECT_EQ(0, std::memcmp(bytes.data() + 38, "data", 4));
  EXPECT_EQ(12u, U32(bytes, 42));
}

TEST_F(XWaveFormatFileTest, HeaderCountsThePadByteOfOddDataAndFortyForExtensible) {
  std::vector<uint8_t> odd = WriteHeader(Pcm(1, 8000, 8), 3, {}, "odd.wav");
  EXPECT_EQ(18u + 3 + 20 + 1, U32(odd, 4));
  EXPECT_EQ(3u, U32(odd, 42));
  std::vector<uint8_t> empty = WriteHeader(Pcm(1, 8000, 8), 0, {}, "empty.wav");
  EXPECT_EQ(38u, U32(empty, 4));
  EXPECT_EQ(0u, U32(empty, 42));

  XWaveFormat wide = Pcm(6, 48000, 24);
  ASSERT_TRUE(wide.ToExtensible());
  std::vector<uint8_t> bytes = WriteHeader(wide, 1, {}, "wide.wav");
  ASSERT_EQ(68u, bytes.size());
  EXPECT_EQ(40u + 18 + 20, U32(bytes, 4));
  EXPECT_EQ(40u, U32(bytes, 16));
  EXPECT_EQ(0, std::memcmp(bytes.data() + 20, wide.Format(), 40));
  EXPECT_EQ(18u, U32(bytes, 64));
}

TEST_F(XWaveFormatFileTest, SizesPastThirtyTwoBitsAreWrittenAsAllOnes) {
  XWaveFormat big = Pcm(8, 192000, 32);  // 32-byte frames
  // The last frame count whose RIFF size (data + 38) still fits, and the first that does not.
  std::vector<uint8_t> fits = WriteHeader(big, 134217726, {}, "fits.wav");
  EXPECT_EQ(134217726u * 32 + 38, U32(fits, 4));
  std::vector<uint8_t> over =
      WriteHeader(big, 0x10000000ull, {}, "over.wav");  // exactly 2^33 bytes
  EXPECT_EQ(0xFFFFFFFFu, U32(over, 4));
  EXPECT_EQ(0xFFFFFFFFu, U32(over, 42));
  std::vector<uint8_t> riffOnly = WriteHeader(big, 0xFFFFFFE0ull / 32, {}, "riff.wav");
  EXPECT_EQ(0xFFFFFFFFu, U32(riffOnly, 4));
  EXPECT_EQ(0xFFFFFFE0u, U32(riffOnly, 42));
}

TEST_F(XWaveFormatFileTest, AWaveReaderReadsTheHeaderBack) {
  if (std::system("command -v soxi >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "soxi (package sox) is not installed";
  std::vector<uint8_t> samples(4 * 10);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<uint8_t>(i * 7);
  WriteHeader(Pcm(2, 44100, 16), 10, samples, "plain.wav");
  EXPECT_EQ("2", Soxi("-c"));
  EXPECT_EQ("44100", Soxi("-r"));
  EXPECT_EQ("16", Soxi("-b"));
  EXPECT_EQ("10", Soxi("-s"));

  XWaveFormat wide = Pcm(6, 48000, 24);
  ASSERT_TRUE(wide.ToExtensible());
  samples.assign(18 * 5, 0x10);
  WriteHeader(wide, 5, samples, "wide.wav");
  EXPECT_EQ("6", Soxi("-c"));
  EXPECT_EQ("48000", Soxi("-r"));
  EXPECT_EQ("24", Soxi("-b"));
  EXPECT_EQ("5", Soxi("-s"));
}

}  // namespace
