// The PCM plug-ins as the engine finds them: decoders by extension, encoders by name.
#include "foundation/XStringList.h"
#include "plugins/clTvCodecHandler.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"
#include "tests/codecs/CodecPlugins.h"

namespace {

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

}  // namespace
