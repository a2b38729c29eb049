// The decoder binding: its states, every export forwarded, and the calls a decoder receives.
#include "plugins/clTvDecoder.h"

#include <gtest/gtest.h>

#include "tests/plugins/testplugins/TestPluginSession.h"

namespace {

const XString& Library() {
  static const XString path = TestPluginSession::Library("decoder/TestDecoder.so");
  return path;
}

// Every forwarding member of a binding without an instance: all give 0.
void ExpectAllCallsGiveZero(clTvDecoder& decoder) {
  TvPluginValue value{};
  TvOpenInfo open{};
  TvConversionInfo info{};
  TvAudioBlock block{};
  EXPECT_EQ(decoder.Get(u"Decodes", &value), 0);
  EXPECT_EQ(decoder.Set(u"BatchID", &value), 0);
  EXPECT_EQ(decoder.Open(&open), 0);
  EXPECT_EQ(decoder.Close(&info), 0);
  EXPECT_EQ(decoder.DecodeBlock(&block), 0);
  EXPECT_EQ(decoder.SetPosition(1, 2), 0);
  EXPECT_EQ(decoder.DeleteATag(1, 2), 0);
  EXPECT_EQ(decoder.SetKey(u"x"), 0);
  EXPECT_EQ(decoder.SetText(u"EventQuit", u"q"), 0);
  EXPECT_EQ(decoder.SetNumber(u"BatchID", 1), 0);
}

}  // namespace

TEST(clTvDecoderTest, AFreshBindingIsEmptyAndHarmless) {
  TestPluginSession session;
  clTvDecoder decoder;
  EXPECT_FALSE(decoder.IsBound());
  EXPECT_FALSE(decoder.IsComplete());
  EXPECT_FALSE(decoder.Load(nullptr));
  EXPECT_FALSE(decoder.Make(nullptr));
  decoder.End();
  ExpectAllCallsGiveZero(decoder);
  EXPECT_TRUE(session.Calls().empty());
}

TEST(clTvDecoderTest, LoadedWithoutInstanceCallsNothing) {
  TestPluginSession session;
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Load(Library().CStr()));
  EXPECT_TRUE(decoder.IsBound());
  EXPECT_FALSE(decoder.HasInstance());
  ExpectAllCallsGiveZero(decoder);
  EXPECT_TRUE(session.Calls().empty());
}

TEST(clTvDecoderTest, EveryExportIsForwardedWithItsArguments) {
  TestPluginSession session;
  session.Configure({"TestDecoder.set.BatchID=1", "TestDecoder.anyfile=1", "TestDecoder.frames=3",
                     "TestDecoder.blockframes=2"});
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Load(Library().CStr()));
  TvHostContext context{7, 8, 9};
  ASSERT_TRUE(decoder.Make(&context));
  EXPECT_EQ(decoder.SetNumber(u"BatchID", 42), 1);
  EXPECT_EQ(decoder.SetText(u"EventQuit", u"quit-now"), 0);
  EXPECT_EQ(decoder.SetKey(u"Ünknown"), 0);
  TvOpenInfo open{};
  open.fileName = u"/no/such/file.tvt";
  open.interfaceLevel = TV_INTERFACE_LEVEL;
  EXPECT_EQ(decoder.Open(&open), 1);
  TvAudioBlock block{};
  EXPECT_EQ(decoder.DecodeBlock(&block), 1);
  EXPECT_EQ(decoder.DecodeBlock(&block), 1);
  TvConversionInfo info{};
  info.sourceFile = u"in.tvt";
  info.outputFile = u"out.raw";
  EXPECT_EQ(decoder.Close(&info), 1);
  EXPECT_EQ(decoder.SetPosition(3, 4), 1);
  EXPECT_EQ(decoder.DeleteATag(5, 6), 1);
  decoder.End();
  EXPECT_FALSE(decoder.HasInstance());
  std::vector<std::string> expected = {
      "TestDecoder Create error=7 info=8 log=9 -> 1",
      "TestDecoder Set key=\"BatchID\" index=0 value=42 value2=0 text1=null text2=null "
      "text3=null data=null -> 1",
      "TestDecoder Set key=\"EventQuit\" index=0 value=0 value2=0 text1=\"quit-now\" text2=null "
      "text3=null data=null -> 0",
      "TestDecoder Set key=\"Ünknown\" index=0 value=0 value2=0 text1=null text2=null "
      "text3=null data=null -> 0",
      "TestDecoder Open file=\"/no/such/file.tvt\" level=29 -> 1",
      "TestDecoder DecodeBlock -> 1 bytes=8 eos=0",
      "TestDecoder DecodeBlock -> 1 bytes=4 eos=1",
      "TestDecoder Close source=\"in.tvt\" output=\"out.raw\" -> 1",
      "TestDecoder SetPosition 3 4",
      "TestDecoder DeleteATag 5 6",
      "TestDecoder Destroy"};
  EXPECT_EQ(session.Calls(), expected);
}

TEST(clTvDecoderTest, DecodesEnumerationEndsWithTheList) {
  TestPluginSession session;
  session.Configure({"TestDecoder.get.Decodes=1|.tvt|Test Tone;1|.tv2|Second"});
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Load(Library().CStr()) && decoder.Make(nullptr));
  const char16_t* extensions[] = {u".tvt", u".tv2"};
  const char16_t* names[] = {u"Test Tone", u"Second"};
  for (int32_t index = 0; index < 2; ++index) {
    TvPluginValue value{};
    value.index = index;
    ASSERT_EQ(decoder.Get(u"Decodes", &value), 1);
    EXPECT_TRUE(XString::SameText(value.text1, extensions[index]));
    EXPECT_TRUE(XString::SameText(value.text2, names[index]));
  }
  TvPluginValue past{};
  past.index = 2;
  EXPECT_EQ(decoder.Get(u"Decodes", &past), 0);
  EXPECT_EQ(past.text1, nullptr);
}

TEST(clTvDecoderTest, MakeEndsThePreviousInstanceFirst) {
  TestPluginSession session;
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Load(Library().CStr()));
  ASSERT_TRUE(decoder.Make(nullptr));
  ASSERT_TRUE(decoder.Make(nullptr));
  decoder.End();
  decoder.End();
  std::vector<std::string> expected = {
      "TestDecoder Create error=0 info=0 log=0 -> 1", "TestDecoder Destroy",
      "TestDecoder Create error=0 info=0 log=0 -> 1", "TestDecoder Destroy"};
  EXPECT_EQ(session.Calls(), expected);
}

TEST(clTvDecoderTest, ACreateThatGivesZeroLeavesNoInstance) {
  TestPluginSession session;
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Load(TestPluginSession::Library("decoder/CreateFails.so").CStr()));
  EXPECT_FALSE(decoder.Make(nullptr));
  EXPECT_FALSE(decoder.HasInstance());
  ExpectAllCallsGiveZero(decoder);
  // The same through the configuration: the second create of the library fails.
  session.Configure({"TestDecoder.fail.Create=2"});
  ASSERT_TRUE(decoder.Reload(Library().CStr(), u".tvt"));
  EXPECT_TRUE(decoder.Make(nullptr));
  EXPECT_FALSE(decoder.Make(nullptr));
  EXPECT_EQ(session.Calls().back(), "TestDecoder Create error=0 info=0 log=0 -> 0");
}

TEST(clTvDecoderTest, LoadOnABoundBindingKeepsTheOldLibrary) {
  TestPluginSession session;
  clTvDecoder decoder;
  XString incomplete = TestPluginSession::Library("decoder/NoSetPosition.so");
  EXPECT_FALSE(decoder.Load(incomplete.CStr()));
  EXPECT_FALSE(decoder.Load(Library().CStr()));
  EXPECT_EQ(decoder.ModulePath().ToUtf8String(), incomplete.ToUtf8String());
  // The exports that were found stay bound: the instance is made and answers.
  ASSERT_TRUE(decoder.Make(nullptr));
  EXPECT_EQ(decoder.SetPosition(1, 1), 0);
  EXPECT_EQ(decoder.DeleteATag(1, 1), 1);
  EXPECT_EQ(session.Calls().back(), "NoSetPosition DeleteATag 1 1");
}

TEST(clTvDecoderTest, ReloadKeepsExtensionAndPathOnlyOnSuccess) {
  TestPluginSession session;
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Reload(Library().CStr(), u".tvt"));
  EXPECT_EQ(decoder.Extension().ToUtf8String(), ".tvt");
  EXPECT_EQ(decoder.Path().ToUtf8String(), Library().ToUtf8String());
  ASSERT_TRUE(decoder.Make(nullptr));
  XString incomplete = TestPluginSession::Library("decoder/NoSetPosition.so");
  EXPECT_FALSE(decoder.Reload(incomplete.CStr(), u".tv2"));
  EXPECT_FALSE(decoder.HasInstance());
  EXPECT_TRUE(decoder.IsBound());
  EXPECT_TRUE(decoder.Extension().IsEmpty());
  EXPECT_TRUE(decoder.Path().IsEmpty());
  EXPECT_EQ(session.Calls().back(), "TestDecoder Destroy");
  ASSERT_TRUE(decoder.Reload(Library().CStr(), u".tv3"));
  EXPECT_EQ(decoder.Extension().ToUtf8String(), ".tv3");
  decoder.Unload();
  EXPECT_FALSE(decoder.IsBound());
  EXPECT_TRUE(decoder.Extension().IsEmpty());
}

TEST(clTvDecoderTest, TheDestructorEndsTheInstance) {
  TestPluginSession session;
  {
    clTvDecoder decoder;
    ASSERT_TRUE(decoder.Load(Library().CStr()) && decoder.Make(nullptr));
  }
  EXPECT_EQ(session.Calls().back(), "TestDecoder Destroy");
}

TEST(clTvDecoderTest, OpenFillsTheRecordAndBlocksCarryTheStream) {
  TestPluginSession session;
  session.Folder().WriteFile("tags", "TAGBLOCK");
  session.Configure({"TestDecoder.rate=8000", "TestDecoder.channels=1", "TestDecoder.bits=8",
                     "TestDecoder.frames=10", "TestDecoder.blockframes=4",
                     "TestDecoder.emptyblocks=1", "TestDecoder.status=busy",
                     "TestDecoder.tags=" + session.Folder() / "tags"});
  session.Folder().WriteFile("in.tvt");
  XString source = XString::FromUtf8(session.Folder() / "in.tvt");
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Load(Library().CStr()) && decoder.Make(nullptr));
  TvOpenInfo open{};
  open.fileName = source.CStr();
  ASSERT_EQ(decoder.Open(&open), 1);
  EXPECT_EQ(open.format.Format.nSamplesPerSec, 8000u);
  EXPECT_EQ(open.byteLength, 10u);
  EXPECT_EQ(open.msLength, 1u);
  ASSERT_EQ(open.idTagsSize, 8u);
  EXPECT_EQ(memcmp(open.idTags, "TAGBLOCK", 8), 0);
  std::vector<uint8_t> stream;
  TvAudioBlock block{};
  ASSERT_EQ(decoder.DecodeBlock(&block), 1);
  EXPECT_EQ(block.data, nullptr);  // nothing yet, and no failure
  EXPECT_EQ(block.endOfStream, 0u);
  for (int i = 0; i < 5 && !block.endOfStream; ++i) {
    block = TvAudioBlock{};
    ASSERT_EQ(decoder.DecodeBlock(&block), 1);
    auto* data = static_cast<uint8_t*>(block.data);
    stream.insert(stream.end(), data, data + block.byteCount);
    EXPECT_TRUE(XString::SameText(block.statusText, u"busy"));
  }
  ASSERT_EQ(stream.size(), 10u);
  for (size_t i = 0; i < stream.size(); ++i) EXPECT_EQ(stream[i], TvTestAudioByte(i));
  EXPECT_EQ(block.endOfStream, 1u);
}

TEST(clTvDecoderTest, AConfiguredFailureReachesTheErrorChannel) {
  TestPluginSession session;
  session.Configure({"TestDecoder.fail.Open=1", "TestDecoder.error.Open=Error: cannot open"});
  session.Folder().WriteFile("in.tvt");
  int error = open((session.Folder() / "errors").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  TvHostContext context{error, 0, 0};
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Load(Library().CStr()) && decoder.Make(&context));
  XString source = XString::FromUtf8(session.Folder() / "in.tvt");
  TvOpenInfo info{};
  info.fileName = source.CStr();
  EXPECT_EQ(decoder.Open(&info), 0);
  close(error);
  std::u16string expected = u"Error: cannot open\r\n";
  std::string bytes = session.Read("errors");
  EXPECT_EQ(bytes,
            std::string(reinterpret_cast<const char*>(expected.data()), expected.size() * 2));
}

TEST(clTvDecoderTest, ATagBlockSetByKeyReachesThePlugIn) {
  TestPluginSession session;
  std::string saved = session.Folder() / "written.tags";
  session.Configure({"TestDecoder.set.IDTags=1", "TestDecoder.save.IDTags=" + saved});
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Load(Library().CStr()) && decoder.Make(nullptr));
  char tags[] = "TAGS\0BLOCK";
  TvPluginValue value{};
  value.value = sizeof tags;
  value.text1 = u"out.tvt";
  value.data = tags;
  EXPECT_EQ(decoder.Set(u"IDTags", &value), 1);
  EXPECT_EQ(session.Read("written.tags"), std::string(tags, sizeof tags));
}
