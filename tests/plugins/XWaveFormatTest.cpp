// Format images: normalisation, extensible conversions, time and size maths, comparison, headers.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/XFile.h"
#include "plugins/XWaveFormat.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestText.h"

namespace {

TvWaveFormatExtensible Wide(uint16_t subTag, uint16_t channels, uint32_t rate, uint16_t bits) {
  TvWaveFormatExtensible wide = {};
  wide.Format = {TV_FORMAT_EXTENSIBLE, channels, rate, 0, 0, bits, TV_FORMAT_EXTENSIBLE_EXTRA};
  wide.wValidBitsPerSample = bits;
  wide.dwChannelMask = 3;
  wide.SubFormat = TV_SUBFORMAT_GUID(subTag);
  return wide;
}

// An extensible image with room behind it for the extra bytes its cbSize claims.
struct Padded {
  TvWaveFormatExtensible wide;
  uint8_t extra[18] = {};
};

XWaveFormat Pcm(uint16_t channels, uint32_t rate, uint16_t bits) {
  XWaveFormat format;
  format.SetPCM(channels, rate, bits);
  return format;
}

const TvWaveFormatExtensible* View(const XWaveFormat& format) {
  return reinterpret_cast<const TvWaveFormatExtensible*>(format.Format());
}

// Derived fields after a set: recomputed for PCM and float, kept otherwise, never zero.
TEST(XWaveFormatTest, NormalisationDerivesOrKeepsTheDivisors) {
  // The image, then its bytes a second and block alignment.
  const std::tuple<TvWaveFormatEx, uint32_t, uint16_t> cases[] = {
      {{0, 0, 0, 0, 0, 0, 0}, 1, 1},
      {{TV_FORMAT_PCM, 2, 44100, 9, 9, 16, 0}, 176400, 4},
      {{TV_FORMAT_PCM, 3, 1000, 0, 0, 20, 0}, 7000, 7},  // 60 bits are 7 whole bytes
      {{TV_FORMAT_PCM, 0, 44100, 0, 0, 16, 0}, 1, 1},
      {{TV_FORMAT_IEEE_FLOAT, 1, 8000, 0, 0, 32, 0}, 32000, 4},
      {{TV_FORMAT_ADPCM, 2, 44100, 22311, 2048, 4, 0}, 22311, 2048},
      {{0x55, 2, 44100, 0, 0, 0, 0}, 1, 1},
  };
  for (const auto& [image, avgBytes, blockAlign] : cases) {
    XWaveFormat format(&image);
    EXPECT_EQ(avgBytes, format.Format()->nAvgBytesPerSec) << image.wFormatTag;
    EXPECT_EQ(blockAlign, format.Format()->nBlockAlign) << image.wFormatTag;
  }
}

TEST(XWaveFormatTest, ImagesAreCopiedWholeAndOwnedAndNormalisedBySubFormat) {
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_IEEE_FLOAT, 2, 48000, 32);
  XWaveFormat format(&wide.Format);
  ASSERT_TRUE(format.IsExtensible());
  EXPECT_EQ(40u, format.Length());
  EXPECT_EQ(384000u, format.Format()->nAvgBytesPerSec);
  EXPECT_EQ(0, std::memcmp(&wide.SubFormat, &View(format)->SubFormat, 16));
  // cbSize 21 is not extensible: 39 bytes are kept, the GUID is never read, nothing recomputed.
  wide = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  wide.Format.cbSize = 21;
  wide.Format.nAvgBytesPerSec = 5;
  wide.Format.nBlockAlign = 3;
  XWaveFormat shortOne(&wide.Format);
  EXPECT_FALSE(shortOne.IsExtensible());
  EXPECT_EQ(39u, shortOne.Length());
  EXPECT_FALSE(shortOne.HasSubFormat(TV_SUBFORMAT_GUID(TV_FORMAT_PCM)));
  EXPECT_EQ(0, std::memcmp(&wide, shortOne.Format(), 39));
  // Copies own their image; a set from the own image changes nothing.
  wide = Wide(TV_FORMAT_PCM, 6, 48000, 24);
  XWaveFormat original(&wide.Format);
  XWaveFormat assigned;
  assigned = original;
  assigned.SetChannels(2, true);
  EXPECT_EQ(6, original.Format()->nChannels);
  EXPECT_EQ(0, std::memcmp(original.Format(), XWaveFormat(original).Format(), 40));
  format = Pcm(2, 44100, 16);
  format.SetAvgBytes(7);
  format.Set(format.Format());
  EXPECT_EQ(7u, format.Format()->nAvgBytesPerSec);
  format.Set(static_cast<const TvWaveFormatEx*>(nullptr));
  EXPECT_EQ(0, format.Format()->wFormatTag);
}

// Set from a byte range: the length decides how much of the image counts.
TEST(XWaveFormatTest, AByteRangeTakesWhatItsLengthHolds) {
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  XWaveFormat format;
  format.Set(&wide, 40);
  EXPECT_TRUE(format.IsExtensible());
  format.Set(&wide, 39);  // 18 + 22 does not fit 39
  EXPECT_EQ(18u, format.Length());
  TvWaveFormatEx old = {TV_FORMAT_ADPCM, 2, 22050, 11100, 6, 12, 30};
  // Length, channels, then the bits taken: 14 to 17 bytes are an old-style format.
  for (auto [length, channels, bits] : {std::tuple<uint32_t, uint16_t, uint16_t>{17, 2, 0},
                                        {16, 2, 12},
                                        {14, 2, 24},
                                        {14, 0, 16}}) {
    old.nChannels = channels;
    format.Set(&old, length);
    EXPECT_EQ(bits, format.Format()->wBitsPerSample) << length << "/" << channels;
    EXPECT_EQ(11100u, format.Format()->nAvgBytesPerSec) << length;
  }
  format.Set(static_cast<const void*>(nullptr), 40);
  EXPECT_EQ(0, format.Format()->nChannels);
  format.Set(&old, 13);
  EXPECT_EQ(0u, format.Format()->nSamplesPerSec);
}

TEST(XWaveFormatTest, TagsComeFromAKnownSubFormatAndSetTagWritesOnlyThose) {
  for (uint16_t tag : {TV_FORMAT_PCM, TV_FORMAT_MPEG}) {
    TvWaveFormatExtensible wide = Wide(tag, 2, 44100, 16);
    EXPECT_EQ(tag, XWaveFormat(&wide.Format).EffectiveTag()) << tag;
  }
  TvWaveFormatExtensible unknown = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  unknown.SubFormat.data4[7] ^= 1;
  EXPECT_EQ(TV_FORMAT_EXTENSIBLE, XWaveFormat(&unknown.Format).EffectiveTag());
  XWaveFormat format(&unknown.Format);
  for (uint16_t tag : {TV_FORMAT_ADPCM, TV_FORMAT_IEEE_FLOAT}) {
    format.SetTag(tag);
    EXPECT_TRUE(format.HasSubFormat(TV_SUBFORMAT_GUID(tag))) << tag;
  }
  EXPECT_EQ(TV_FORMAT_EXTENSIBLE, format.Format()->wFormatTag);
  format.SetTag(TV_FORMAT_MPEG);
  EXPECT_TRUE(format.HasSubFormat(TV_SUBFORMAT_GUID(TV_FORMAT_IEEE_FLOAT)));
  XWaveFormat plain = Pcm(2, 44100, 16);
  plain.SetTag(TV_FORMAT_MPEG);
  EXPECT_EQ(TV_FORMAT_MPEG, plain.Format()->wFormatTag);
}

TEST(XWaveFormatTest, TimeAndSizeMathsRoundDownDoNotOverflowAndNeverDivideByZero) {
  XWaveFormat seven = Pcm(7, 44100, 16);  // 14-byte frames, 617400 bytes a second
  EXPECT_EQ(616u, seven.MsToBytes(1));    // 617 floored to 44 frames
  EXPECT_EQ(0u, seven.BytesToMs(1));
  XWaveFormat big = Pcm(8, 192000, 32);
  // bytes x 1000 would wrap 64 bits here
  EXPECT_EQ(
      100000000000000000ull / 6144000 * 1000 + 100000000000000000ull % 6144000 * 1000 / 6144000,
      big.BytesToMs(100000000000000000ull));
  XWaveFormat three = Pcm(3, 48000, 24);
  EXPECT_EQ(3u, three.BytesToSamples(11));
  EXPECT_EQ(27u, three.SamplesToBytes(9));
  EXPECT_EQ(9u, three.FloorToChannels(10));
  EXPECT_EQ(0u, three.FloorToChannels(2));
  XWaveFormat narrow = Pcm(0, 8000, 4);  // width 0 and no channels count as 1
  EXPECT_EQ(10u, narrow.BytesToSamples(10) + narrow.SamplesToBytes(10) - 10);
  EXPECT_EQ(10u, narrow.FloorToChannels(10));
  // Zero divisors count as one and are stored back.
  XWaveFormat format = Pcm(2, 44100, 16);
  format.SetAvgBytes(0);
  format.SetBlockAlign(0);
  EXPECT_EQ(5000u, format.BytesToMs(5));
  EXPECT_EQ(1u, format.Format()->nAvgBytesPerSec);
  EXPECT_EQ(5u, format.FloorToBlock(5));
  format.SetBlockAlign(0);
  EXPECT_EQ(3u, format.MsToBytes(3000));
  EXPECT_EQ(1, format.Format()->nBlockAlign);
}

TEST(XWaveFormatTest, SettersRecomputeOnlyWhenAskedAndKeepExtensibleFieldsConsistent) {
  XWaveFormat format = Pcm(2, 44100, 16);
  format.SetRate(48000, false);
  EXPECT_EQ(176400u, format.Format()->nAvgBytesPerSec);
  format.SetBits(24, true);
  format.SetChannels(1, true);
  EXPECT_EQ(144000u, format.Format()->nAvgBytesPerSec);
  EXPECT_EQ(3, format.Format()->nBlockAlign);
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_PCM, 2, 44100, 32);
  wide.wValidBitsPerSample = 24;
  XWaveFormat ext(&wide.Format);
  ext.SetBits(32, false);
  EXPECT_EQ(24, View(ext)->wValidBitsPerSample);  // same bits: valid bits stay
  ext.SetChannels(4, false);
  ext.SetBits(16, false);
  EXPECT_EQ(0u, View(ext)->dwChannelMask);
  EXPECT_EQ(16, View(ext)->wValidBitsPerSample);
  TvWaveFormatExtensible alaw = Wide(TV_FORMAT_ALAW, 1, 8000, 8);
  XWaveFormat other(&alaw.Format);
  other.SetBits(16, false);
  EXPECT_EQ(8, View(other)->wValidBitsPerSample);
}

TEST(XWaveFormatTest, ToExtensibleConvertsPcmAndFloatOnlyAndToPlainKeepsTheExtraBytes) {
  XWaveFormat format = Pcm(2, 44100, 24);
  ASSERT_TRUE(format.ToExtensible());
  EXPECT_EQ(24, View(format)->wValidBitsPerSample);
  EXPECT_EQ(TV_FORMAT_PCM, format.EffectiveTag());
  EXPECT_TRUE(format.ToExtensible());
  EXPECT_EQ(40u, format.Length());
  TvWaveFormatEx adpcm = {TV_FORMAT_ADPCM, 2, 44100, 22311, 2048, 4, 0};
  EXPECT_FALSE(XWaveFormat(&adpcm).ToExtensible());
  Padded image{Wide(TV_FORMAT_IEEE_FLOAT, 2, 44100, 32)};
  image.wide.Format.cbSize = 26;
  std::memcpy(image.extra, "\x11\x22\x33\x44", 4);
  XWaveFormat plain(&image.wide.Format);
  ASSERT_TRUE(plain.ToPlain());
  EXPECT_EQ(TV_FORMAT_IEEE_FLOAT, plain.Format()->wFormatTag);
  EXPECT_EQ(4, plain.Format()->cbSize);
  EXPECT_EQ(
      0, std::memcmp("\x11\x22\x33\x44", reinterpret_cast<const uint8_t*>(plain.Format()) + 18, 4));
  EXPECT_FALSE(plain.ToPlain());
  TvWaveFormatExtensible unknown = Wide(0x55, 2, 44100, 16);
  EXPECT_FALSE(XWaveFormat(&unknown.Format).ToPlain());
}

TEST(XWaveFormatTest, StandardDepthsByTagAndCopy40CapsCbSize) {
  TvWaveFormatExtensible wide = Wide(TV_FORMAT_IEEE_FLOAT, 2, 44100, 64);
  TvWaveFormatEx mpeg = {TV_FORMAT_MPEG, 2, 44100, 16000, 1, 7, 0};
  EXPECT_TRUE(Pcm(2, 44100, 24).IsStandardDepth() && XWaveFormat(&wide.Format).IsStandardDepth() &&
              XWaveFormat(&mpeg).IsStandardDepth());
  EXPECT_FALSE(Pcm(2, 44100, 20).IsStandardDepth());
  wide.Format.wBitsPerSample = 16;
  EXPECT_FALSE(XWaveFormat(&wide.Format).IsStandardDepth());
  Padded image{wide};
  image.wide.Format.cbSize = 32;
  TvWaveFormatExtensible out;
  std::memset(&out, 0xAB, sizeof out);
  XWaveFormat(&image.wide.Format).Copy40(&out);
  EXPECT_EQ(22, out.Format.cbSize);
  EXPECT_EQ(0, std::memcmp(&wide.SubFormat, &out.SubFormat, 16));
}

TEST(XWaveFormatTest, IsSameComparesChannelsBitsAndRateThroughExtensible) {
  XWaveFormat a = Pcm(2, 44100, 16);
  XWaveFormat b = Pcm(2, 44100, 16);
  b.SetAvgBytes(1);  // derived fields do not count
  XWaveFormat rate = Pcm(2, 48000, 16), mono = Pcm(1, 44100, 16), deep = Pcm(2, 44100, 24);
  TvWaveFormatEx floats = {TV_FORMAT_IEEE_FLOAT, 2, 44100, 0, 0, 16, 0};
  TvWaveFormatExtensible widePcm = Wide(TV_FORMAT_PCM, 2, 44100, 16);
  TvWaveFormatExtensible wideFloat = Wide(TV_FORMAT_IEEE_FLOAT, 2, 44100, 16);
  TvWaveFormatExtensible unknown = Wide(0x55, 2, 44100, 16);
  const std::tuple<const TvWaveFormatEx*, const TvWaveFormatEx*, bool> cases[] = {
      {a.Format(), b.Format(), true},
      {a.Format(), rate.Format(), false},
      {a.Format(), mono.Format(), false},
      {a.Format(), deep.Format(), false},
      {a.Format(), &floats, false},
      {a.Format(), nullptr, false},
      {&widePcm.Format, a.Format(), true},
      {a.Format(), &widePcm.Format, true},
      {&wideFloat.Format, a.Format(), false},
      {a.Format(), &unknown.Format, false},
      {&widePcm.Format, &wideFloat.Format, true},  // cbSize 22: the GUIDs are not compared
  };
  int row = 0;
  for (auto [first, second, same] : cases)
    EXPECT_EQ(same, XWaveFormat::IsSame(first, second)) << row++;
  // From cbSize 40 the GUID and valid bits count.
  Padded first{widePcm}, second{wideFloat};
  first.wide.Format.cbSize = second.wide.Format.cbSize = 40;
  EXPECT_FALSE(XWaveFormat::IsSame(&first.wide.Format, &second.wide.Format));
  second.wide = first.wide;
  second.wide.wValidBitsPerSample = 12;
  EXPECT_FALSE(XWaveFormat::IsSame(&first.wide.Format, &second.wide.Format));
}

// The header written for a count of frames, read back as bytes.
std::vector<uint8_t> WriteHeader(const std::string& path, const XWaveFormat& format,
                                 uint64_t frames) {
  XFile file;
  EXPECT_TRUE(file.OpenCreate(X(path)));
  EXPECT_TRUE(format.WriteWaveHeader(file, frames));
  file.Close();
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

uint32_t U32(const std::vector<uint8_t>& bytes, size_t at) {
  return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | uint32_t{bytes[at + 3]} << 24;
}

TEST(XWaveFormatTest, WaveHeadersAreLaidOutByteByByte) {
  ScratchFolder folder;
  std::vector<uint8_t> bytes = WriteHeader(folder / "plain.wav", Pcm(2, 44100, 16), 3);
  std::string format(reinterpret_cast<const char*>(Pcm(2, 44100, 16).Format()), 18);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
            std::string("RIFF\x32\0\0\0WAVEfmt \x12\0\0\0", 20) + format +
                std::string("data\x0c\0\0\0", 8));
  // Channels, bits, frames, then the RIFF and data sizes written: a pad byte counts for odd data.
  const std::tuple<uint16_t, uint16_t, uint64_t, uint32_t, uint32_t> cases[] = {
      {1, 8, 3, 42, 3},
      {8, 32, 0x10000000ull, 0xFFFFFFFFu, 0xFFFFFFFFu},  // exactly 2^33 bytes
      {8, 32, 0xFFFFFFE0ull / 32, 0xFFFFFFFFu, 0xFFFFFFE0u}};
  for (auto [channels, bits, frames, riff, data] : cases) {
    bytes = WriteHeader(folder / "sized.wav", Pcm(channels, 8000, bits), frames);
    EXPECT_EQ(riff, U32(bytes, 4)) << frames;
    EXPECT_EQ(data, U32(bytes, 42)) << frames;
  }
  XWaveFormat wide = Pcm(6, 48000, 24);
  ASSERT_TRUE(wide.ToExtensible());
  bytes = WriteHeader(folder / "wide.wav", wide, 1);
  ASSERT_EQ(68u, bytes.size());
  EXPECT_EQ(40u, U32(bytes, 16));
  EXPECT_EQ(0, std::memcmp(bytes.data() + 20, wide.Format(), 40));
  EXPECT_EQ(18u, U32(bytes, 64));
}

}  // namespace
