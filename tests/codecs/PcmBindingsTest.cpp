// The PCM decoder as the engine finds it: by each extension it lists.
#include "plugins/clTvCodecHandler.h"
#include "plugins/clTvDecoder.h"
#include "tests/codecs/CodecPlugins.h"

namespace {

TEST(PcmBindingsTest, HandlerFindsTheDecoderByEachExtension) {
  ScratchFolder folder;
  ScopedEnv config("XDG_CONFIG_HOME", folder.Folder().c_str());  // a decoder cache of our own
  TvHostContext none{};
  clTvDecoder decoder;
  for (const char16_t* source : {u"/music/song.WAV", u"a.aif", u"b.aifc", u"c.w64", u"d.wave"}) {
    ASSERT_TRUE(clTvCodecHandler::FindDecoder(XString(source), decoder, &none)) << Narrow(source);
    EXPECT_EQ(Narrow(decoder.Path().CStr()), std::string(TV_BIN_DIR) + "/decoder/pcm.so");
  }
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(XString(u"e.nosuchtype"), decoder, &none));
}

}  // namespace
