// The DSP binding: its states, every export forwarded, and the calls an effect receives.
#include "plugins/clTvDSP.h"

#include <gtest/gtest.h>

#include "tests/plugins/testplugins/TestPluginSession.h"

namespace {

const XString& Library() {
  static const XString path = TestPluginSession::Library("DSPs/TestDSP.so");
  return path;
}

void ExpectAllCallsGiveZero(clTvDSP& dsp) {
  TvPluginValue value{};
  TvConversionInfo info{};
  TvAfterConversionInfo after{};
  TvAudioBlock block{};
  TvWaveFormatExtensible format{};
  EXPECT_EQ(dsp.Get(u"IsLive", &value), 0);
  EXPECT_EQ(dsp.Set(u"BatchID", &value), 0);
  EXPECT_EQ(dsp.ShowConfigBit(1, 2, 3, 4), 0);
  EXPECT_EQ(dsp.RemoveConfigBit(1), 0);
  EXPECT_EQ(dsp.BeginConversion(&info, u""), 0);
  EXPECT_EQ(dsp.EndConversion(&info), 0);
  EXPECT_EQ(dsp.PassAudioBlock(&block), 0);
  EXPECT_EQ(dsp.PassNonLive(u"f", &format, u"", u"q"), 0);
  EXPECT_EQ(dsp.AfterConversion(&after), 0);
  EXPECT_EQ(dsp.AfterConversion(nullptr), 0);
  EXPECT_EQ(dsp.GetWithText(u"IsLive", u"p"), 0);
  EXPECT_EQ(dsp.SetText(u"EventQuit", u"q"), 0);
  EXPECT_EQ(dsp.SetNumber(u"BatchID", 1), 0);
}

}  // namespace

TEST(clTvDSPTest, EmptyAndUninstantiatedBindingsAreHarmless) {
  TestPluginSession session;
  clTvDSP dsp;
  EXPECT_FALSE(dsp.IsBound());
  EXPECT_FALSE(dsp.Make(nullptr));
  ExpectAllCallsGiveZero(dsp);
  ASSERT_TRUE(dsp.Load(Library().CStr()));
  ExpectAllCallsGiveZero(dsp);
  EXPECT_TRUE(session.Calls().empty());
}

TEST(clTvDSPTest, EveryExportIsForwardedWithItsArguments) {
  TestPluginSession session;
  session.Configure({"TestDSP.get.IsLive.loud=1", "TestDSP.invert=1", "TestDSP.rate=22050"});
  session.Folder().WriteFile("audio.raw", std::string("\x01\xF0", 2));
  XString raw = XString::FromUtf8(session.Folder() / "audio.raw");
  clTvDSP dsp;
  ASSERT_TRUE(dsp.Load(Library().CStr()) && dsp.Make(nullptr));
  EXPECT_EQ(dsp.GetWithText(u"IsLive", u"loud"), 1);
  EXPECT_EQ(dsp.GetWithText(u"IsLive", u"quiet"), 0);
  EXPECT_EQ(dsp.SetNumber(u"BatchID", 12), 0);
  EXPECT_EQ(dsp.ShowConfigBit(4, 3, 2, 1), 1);
  EXPECT_EQ(dsp.RemoveConfigBit(8), 1);
  TvWaveFormatExtensible format{};
  format.Format = {TV_FORMAT_PCM, 1, 44100, 44100, 1, 8, 0};
  TvConversionInfo info{};
  info.outputFile = u"out.raw";
  info.format = &format;
  EXPECT_EQ(dsp.BeginConversion(&info, u"gain=5"), 1);
  uint8_t audio[3] = {0x00, 0x0F, 0xFF};
  TvAudioBlock block{};
  block.data = audio;
  block.byteCount = 3;
  EXPECT_EQ(dsp.PassAudioBlock(&block), 1);
  EXPECT_EQ(block.data, audio);  // changed in place
  EXPECT_EQ(audio[0], 0xFF);
  EXPECT_EQ(audio[1], 0xF0);
  EXPECT_EQ(audio[2], 0x00);
  EXPECT_EQ(dsp.EndConversion(&info), 1);
  EXPECT_EQ(dsp.PassNonLive(raw.CStr(), &format, u"gain=5", u"quit-1"), 1);
  EXPECT_EQ(session.Read("audio.raw"), std::string("\xFE\x0F", 2));
  EXPECT_EQ(format.Format.nSamplesPerSec, 22050u);
  TvAfterConversionInfo after{};
  after.info.outputFile = u"final.raw";
  after.failed = 1;
  EXPECT_EQ(dsp.AfterConversion(&after), 1);
  dsp.End();
  std::vector<std::string> expected = {
      "TestDSP DSP_Create error=0 info=0 log=0 -> 1",
      "TestDSP DSP_Get key=\"IsLive\" index=0 value=0 value2=0 text1=\"loud\" text2=null "
      "text3=null data=null -> 1",
      "TestDSP DSP_Get key=\"IsLive\" index=0 value=0 value2=0 text1=\"quiet\" text2=null "
      "text3=null data=null -> 0",
      "TestDSP DSP_Set key=\"BatchID\" index=0 value=12 value2=0 text1=null text2=null "
      "text3=null data=null -> 0",
      "TestDSP DSP_ShowConfigBit 4 3 2 1",
      "TestDSP DSP_RemoveConfigBit 8",
      "TestDSP DSP_BeginConversion output=\"out.raw\" format=1/1/44100/8 parameters=\"gain=5\" -> "
      "1",
      "TestDSP DSP_PassAudioBlock bytes=3 pos=0 eos=0 -> 1",
      "TestDSP DSP_EndConversion output=\"out.raw\" -> 1",
      "TestDSP DSP_PassNonLive file=\"" + raw.ToUtf8String() +
          "\" format=1/1/44100/8 parameters=\"gain=5\" quit=\"quit-1\" -> 1",
      "TestDSP DSP_AfterConversion output=\"final.raw\" failed=1 -> 1",
      "TestDSP DSP_Destroy"};
  EXPECT_EQ(session.Calls(), expected);
}

TEST(clTvDSPTest, AnEffectMayHandOnABufferOfItsOwn) {
  TestPluginSession session;
  session.Configure({"TestDSP.own=1", "TestDSP.invert=1"});
  clTvDSP dsp;
  ASSERT_TRUE(dsp.Load(Library().CStr()) && dsp.Make(nullptr));
  uint8_t audio[2] = {0x10, 0x20};
  TvAudioBlock block{};
  block.data = audio;
  block.byteCount = 2;
  ASSERT_EQ(dsp.PassAudioBlock(&block), 1);
  ASSERT_NE(block.data, audio);
  EXPECT_EQ(audio[0], 0x10);
  EXPECT_EQ(static_cast<uint8_t*>(block.data)[1], 0xDF);
}

TEST(clTvDSPTest, TwoBindingsOfOneLibraryKeepTheirOwnInstances) {
  TestPluginSession session;
  clTvDSP probe;
  clTvDSP member;
  ASSERT_TRUE(probe.Load(Library().CStr()) && probe.Make(nullptr));
  ASSERT_TRUE(member.Load(Library().CStr()) && member.Make(nullptr));
  probe.Unload();
  EXPECT_FALSE(probe.IsBound());
  // The library stays loaded for the other binding, whose instance still answers.
  EXPECT_EQ(member.RemoveConfigBit(2), 1);
  EXPECT_EQ(session.Calls().back(), "TestDSP DSP_RemoveConfigBit 2");
}

TEST(clTvDSPTest, ADSPLackingRemoveConfigBitIsRefused) {
  TestPluginSession session;
  clTvDSP dsp;
  EXPECT_FALSE(dsp.Load(TestPluginSession::Library("DSPs/NoRemoveConfigBit.so").CStr()));
  EXPECT_FALSE(dsp.Reload(TestPluginSession::Library("DSPs/NoRemoveConfigBit.so").CStr()));
  EXPECT_TRUE(dsp.Reload(Library().CStr()));
  EXPECT_FALSE(dsp.Reload(TestPluginSession::Library("DSPs/Folder.so").CStr()));
  EXPECT_FALSE(dsp.Reload(TestPluginSession::Library("DSPs/Truncated.so").CStr()));
  EXPECT_FALSE(dsp.IsBound());
  EXPECT_TRUE(dsp.Reload(Library().CStr()));
  EXPECT_FALSE(dsp.Reload(TestPluginSession::Library("DSPs/CreateFails.so").CStr()) &&
               dsp.Make(nullptr));
}
