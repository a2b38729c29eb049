// The encoder binding: its states, every export forwarded, and the calls an encoder receives.
#include "plugins/clTvEncoder.h"

#include <gtest/gtest.h>

#include "tests/plugins/testplugins/TestPluginSession.h"

namespace {

const XString& Library() {
  static const XString path = TestPluginSession::Library("encoder/TestEncoder.so");
  return path;
}

void ExpectAllCallsGiveZero(clTvEncoder& encoder) {
  TvPluginValue value{};
  TvConversionInfo info{};
  TvAudioBlock block{};
  int32_t writeTags = 5;
  EXPECT_EQ(encoder.Get(u"Extension", &value), 0);
  EXPECT_EQ(encoder.Set(u"Priority", &value), 0);
  EXPECT_EQ(encoder.ShowConfigBit(1, 2, 3, 4), 0);
  EXPECT_EQ(encoder.RemoveConfigBit(1), 0);
  EXPECT_EQ(encoder.BeginConversion(&info), 0);
  EXPECT_EQ(encoder.EncodeBlock(&block), 0);
  EXPECT_EQ(encoder.EndConversion(&info, &writeTags), 0);
  EXPECT_EQ(writeTags, 0);
  EXPECT_EQ(encoder.EndConversion(&info, nullptr), 0);
  EXPECT_EQ(encoder.GetWithText(u"NeedHQAudio", u"-q 5"), 0);
  EXPECT_EQ(encoder.SetText(u"EventQuit", u"q"), 0);
  EXPECT_EQ(encoder.SetNumber(u"BatchID", 1), 0);
}

}  // namespace

TEST(clTvEncoderTest, EmptyAndUninstantiatedBindingsAreHarmless) {
  TestPluginSession session;
  clTvEncoder encoder;
  EXPECT_FALSE(encoder.IsBound());
  EXPECT_FALSE(encoder.Make(nullptr));
  ExpectAllCallsGiveZero(encoder);
  ASSERT_TRUE(encoder.Load(Library().CStr()));
  ExpectAllCallsGiveZero(encoder);
  EXPECT_TRUE(session.Calls().empty());
}

TEST(clTvEncoderTest, EveryExportIsForwardedWithItsArguments) {
  TestPluginSession session;
  session.Configure({"TestEncoder.get.NeedHQAudio=1", "TestEncoder.get.Extension=1|.tvx",
                     "TestEncoder.writetags=1"});
  std::string output = session.Folder() / "out.raw";
  XString outputName = XString::FromUtf8(output);
  clTvEncoder encoder;
  ASSERT_TRUE(encoder.Load(Library().CStr()));
  TvHostContext context{3, 4, 0};
  ASSERT_TRUE(encoder.Make(&context));
  EXPECT_EQ(encoder.GetWithText(u"NeedHQAudio", u"-q 5"), 1);
  TvPluginValue extension{};
  ASSERT_EQ(encoder.Get(u"Extension", &extension), 1);
  EXPECT_TRUE(XString::SameText(extension.text1, u".tvx"));
  EXPECT_EQ(encoder.SetText(u"Priority", u"low"), 0);
  EXPECT_EQ(encoder.ShowConfigBit(1, 2, 3, 4), 1);
  EXPECT_EQ(encoder.RemoveConfigBit(9), 1);
  TvOpenInfo open{};
  open.format.Format = {TV_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
  TvConversionInfo info{};
  info.sourceFile = u"in.tvt";
  info.outputFile = outputName.CStr();
  info.encoderSettings = u"-q 5";
  info.format = &open.format;
  ASSERT_EQ(encoder.BeginConversion(&info), 1);
  uint8_t audio[4] = {1, 2, 3, 4};
  TvAudioBlock block{};
  block.data = audio;
  block.byteCount = 4;
  block.format = open.format;
  block.msPosition = 20;
  block.endOfStream = 1;
  block.statusText = u"half";
  EXPECT_EQ(encoder.EncodeBlock(&block), 1);
  int32_t writeTags = 7;  // the binding hands the encoder a 0
  EXPECT_EQ(encoder.EndConversion(&info, &writeTags), 1);
  EXPECT_EQ(writeTags, 1);
  encoder.End();
  EXPECT_EQ(session.Read("out.raw"), std::string("\1\2\3\4", 4));
  std::string described = " source=\"in.tvt\" output=\"" + output +
                          "\" settings=\"-q 5\" format=1/2/44100/16 tags=0 extra=0";
  std::vector<std::string> expected = {
      "TestEncoder ENC_Create error=3 info=4 log=0 -> 1",
      "TestEncoder ENC_Get key=\"NeedHQAudio\" index=0 value=0 value2=0 text1=\"-q 5\" "
      "text2=null text3=null data=null -> 1",
      "TestEncoder ENC_Get key=\"Extension\" index=0 value=0 value2=0 text1=null text2=null "
      "text3=null data=null -> 1",
      "TestEncoder ENC_Set key=\"Priority\" index=0 value=0 value2=0 text1=\"low\" text2=null "
      "text3=null data=null -> 0",
      "TestEncoder ENC_ShowConfigBit 1 2 3 4",
      "TestEncoder ENC_RemoveConfigBit 9",
      "TestEncoder ENC_BeginConversion" + described + " -> 1",
      "TestEncoder ENC_EncodeBlock bytes=4 pos=20 eos=1 format=1/2/44100/16 status=\"half\" -> 1",
      "TestEncoder ENC_EndConversion" + described + " writeTags=0 -> 1",
      "TestEncoder ENC_Destroy"};
  EXPECT_EQ(session.Calls(), expected);
}

TEST(clTvEncoderTest, CommunicateRequestsComeBackInTheRecord) {
  TestPluginSession session;
  session.Configure({"TestEncoder.get.Communicate.BeforeOpen=1|Decoder|get|Unlisted|x;0"});
  clTvEncoder encoder;
  ASSERT_TRUE(encoder.Load(Library().CStr()) && encoder.Make(nullptr));
  TvPluginValue round{};
  round.value = 1;
  round.text1 = u"BeforeOpen";
  ASSERT_EQ(encoder.Get(u"Communicate", &round), 1);
  EXPECT_TRUE(XString::SameText(round.text1, u"Decoder"));
  EXPECT_TRUE(XString::SameText(round.text2, u"get"));
  EXPECT_TRUE(XString::SameText(round.text3, u"Unlisted"));
  ASSERT_NE(round.data, nullptr);
  EXPECT_TRUE(XString::SameText(static_cast<TvPluginValue*>(round.data)->text1, u"x"));
  round.value = 0;
  EXPECT_EQ(encoder.Set(u"CommunicateResult", &round), 0);
  TvPluginValue next{};
  next.index = 1;
  next.text1 = u"BeforeOpen";
  EXPECT_EQ(encoder.Get(u"Communicate", &next), 0);
  TvPluginValue otherPhase{};
  otherPhase.text1 = u"EndEncoding";
  EXPECT_EQ(encoder.Get(u"Communicate", &otherPhase), 0);
}

TEST(clTvEncoderTest, AnEncoderLackingOneExportIsRefusedAndReloadBindsAnother) {
  TestPluginSession session;
  clTvEncoder encoder;
  EXPECT_FALSE(encoder.Load(TestPluginSession::Library("encoder/NoRemoveConfigBit.so").CStr()));
  EXPECT_TRUE(encoder.IsBound());
  ASSERT_TRUE(encoder.Make(nullptr));
  EXPECT_EQ(encoder.RemoveConfigBit(1), 0);
  ASSERT_TRUE(encoder.Reload(Library().CStr()));
  EXPECT_TRUE(encoder.IsComplete());
  EXPECT_FALSE(encoder.HasInstance());
  EXPECT_EQ(session.Calls().back(), "NoRemoveConfigBit ENC_Destroy");
  EXPECT_FALSE(encoder.Reload(TestPluginSession::Library("encoder/Foreign.so").CStr()));
  EXPECT_FALSE(encoder.IsBound());
  EXPECT_FALSE(encoder.Make(nullptr));
}

TEST(clTvEncoderTest, AFailingBeginIsPassedOn) {
  TestPluginSession session;
  session.Configure({"TestEncoder.fail.ENC_EncodeBlock=2"});
  clTvEncoder encoder;
  ASSERT_TRUE(encoder.Load(Library().CStr()) && encoder.Make(nullptr));
  TvConversionInfo noOutput{};
  EXPECT_EQ(encoder.BeginConversion(&noOutput), 0);
  TvAudioBlock block{};
  EXPECT_EQ(encoder.EncodeBlock(&block), 1);
  EXPECT_EQ(encoder.EncodeBlock(&block), 0);
  EXPECT_EQ(encoder.EncodeBlock(&block), 0);
  EXPECT_FALSE(encoder.Make(nullptr) && !encoder.HasInstance());
}
