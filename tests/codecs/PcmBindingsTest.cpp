// The PCM plug-ins as the engine sees them: through clTvDecoder, clTvEncoder and XWaveFormat.
#include "foundation/XStringList.h"
#include "plugins/clTvCodecHandler.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"
#include "tests/codecs/CodecPlugins.h"

namespace {

const std::u16string kDecoderPath = U16(std::string(TV_BIN_DIR) + "/decoder/pcm.so");

std::u16string EncoderPath(const std::string& stem) {
  return U16(std::string(TV_BIN_DIR) + "/encoder/" + stem + ".so");
}

TEST(PcmBindingsTest, HandlerFindsTheDecoderByExtensionAndEncodersByName) {
  ScratchFolder folder;
  ScopedEnv config("XDG_CONFIG_HOME", folder.Folder().c_str());  // a decoder cache of our own
  TvHostContext none{};
  clTvDecoder decoder;
  for (const char16_t* source : {u"/music/song.WAV", u"a.aif", u"b.aifc", u"c.w64", u"d.wave"}) {
    ASSERT_TRUE(clTvCodecHandler::FindDecoder(XString(source), decoder, &none)) << Narrow(source);
    EXPECT_EQ(Narrow(decoder.Path().CStr()), std::string(TV_BIN_DIR) + "/decoder/pcm.so");
  }
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(XString(u"e.nosuchtype"), decoder, &none));
  clTvEncoder encoder;
  EXPECT_TRUE(clTvCodecHandler::LoadEncoder(XString(u"AIFF"), encoder, &none));
  EXPECT_EQ(Narrow(clTvCodecHandler::EncoderExtension(XString(u"w64")).CStr()), ".w64");
  EXPECT_EQ(Narrow(clTvCodecHandler::EncoderExtension(XString(u"wav")).CStr()), ".wav");
  XStringList names;
  clTvCodecHandler::ListEncoders(names, XString());
  std::string listed;
  for (int32_t i = 0; i < names.Count(); ++i) listed += Narrow(names[i].CStr()) + ";";
  // Other codecs' encoders stand between them in name order.
  size_t aiff = listed.find("aiff;"), w64 = listed.find("w64;"), wav = listed.find("wav;");
  EXPECT_TRUE(aiff < w64 && w64 < wav && wav != std::string::npos) << listed;
}

TEST(PcmBindingsTest, ConversionInTheEnginesCallOrderIsBitExact) {
  ScratchFolder folder;
  TestAudio audio;
  audio.format = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
  ASSERT_TRUE(audio.Write(folder / "in.wav"));
  ErrorChannel errors;
  TvHostContext context = errors.Context();
  clTvDecoder decoder;
  clTvEncoder encoder;
  ASSERT_TRUE(decoder.Reload(kDecoderPath.c_str(), u".wav") && decoder.Make(&context));
  ASSERT_TRUE(encoder.Reload(EncoderPath("w64").c_str()) && encoder.Make(&context));
  EXPECT_NE(encoder.SetText(TV_KEY_EVENT_QUIT, u"quit-name"), 0);
  EXPECT_EQ(encoder.GetWithText(TV_KEY_SEND_RAW_UNCOMPRESSED, u""), 0);
  EXPECT_NE(decoder.SetText(TV_KEY_EVENT_QUIT, u"quit-name"), 0);
  std::u16string source = U16(folder / "in.wav"), output = U16(folder / "out.w64"), settings = u"";
  TvOpenInfo open{};
  open.fileName = source.c_str();
  open.interfaceLevel = TV_INTERFACE_LEVEL;
  ASSERT_NE(decoder.Open(&open), 0);
  TvConversionInfo info{};
  info.sourceFile = source.c_str();
  info.outputFile = output.c_str();
  info.encoderSettings = settings.c_str();
  info.format = &open.format;
  info.extraInfo = open.properties;
  info.extraInfoSize = open.propertiesSize;
  ASSERT_NE(encoder.BeginConversion(&info), 0);
  uint64_t bytes = 0;
  for (bool end = false; !end;) {
    TvAudioBlock block{};
    ASSERT_NE(decoder.DecodeBlock(&block), 0);
    ASSERT_EQ(block.byteCount % block.format.Format.nBlockAlign, 0u);
    bytes += block.byteCount;
    ASSERT_NE(encoder.EncodeBlock(&block), 0);
    end = block.endOfStream != 0;
  }
  EXPECT_EQ(bytes, open.byteLength);
  EXPECT_NE(decoder.Close(&info), 0);
  int32_t writeTags = 1;
  EXPECT_NE(encoder.EndConversion(&info, &writeTags), 0);
  EXPECT_EQ(writeTags, 0);
  EXPECT_EQ(errors.Text(), "");

  SF_INFO back{};
  SNDFILE* file = sf_open((folder / "out.w64").c_str(), SFM_READ, &back);
  ASSERT_NE(file, nullptr);
  std::vector<int> samples(audio.ints.size());
  EXPECT_EQ(sf_readf_int(file, samples.data(), audio.frames), audio.frames);
  sf_close(file);
  EXPECT_EQ(back.format, SF_FORMAT_W64 | SF_FORMAT_PCM_24);
  EXPECT_TRUE(samples == audio.ints);
}

}  // namespace
