// The three plug-in bindings and their library base: what loads, instance life, and every call
// forwarded to a real library with its arguments.
#include <gtest/gtest.h>

#include "plugins/clTvDSP.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"
#include "tests/support/TestText.h"
#include "tests/support/plugins/TestPluginSession.h"

namespace {

XString Library(const std::string& relative) { return TestPluginSession::Library(relative); }

// The plug-in name of a library: its file stem.
std::string Stem(const std::string& relative) {
  std::string file = relative.substr(relative.find('/') + 1);
  return file.substr(0, file.find('.'));
}

// What differs between the kinds, for the tests that hold for all three.
template <typename Binding>
struct Kind;
template <>
struct Kind<clTvDecoder> {
  static constexpr const char* plugin = "decoder/TestDecoder.so";
  static constexpr const char* lacking = "decoder/NoSetPosition.so";
  static constexpr const char* missing = "SetPosition";
  static constexpr const char* create = "Create";
  static constexpr const char* destroy = "Destroy";
};
template <>
struct Kind<clTvEncoder> {
  static constexpr const char* plugin = "encoder/TestEncoder.so";
  static constexpr const char* lacking = "encoder/NoRemoveConfigBit.so";
  static constexpr const char* missing = "ENC_RemoveConfigBit";
  static constexpr const char* create = "ENC_Create";
  static constexpr const char* destroy = "ENC_Destroy";
};
template <>
struct Kind<clTvDSP> {
  static constexpr const char* plugin = "DSPs/TestDSP.so";
  static constexpr const char* lacking = "DSPs/NoRemoveConfigBit.so";
  static constexpr const char* missing = "DSP_RemoveConfigBit";
  static constexpr const char* create = "DSP_Create";
  static constexpr const char* destroy = "DSP_Destroy";
};

bool Reload(clTvDecoder& binding, const XString& path) {
  return binding.Reload(path.CStr(), u".tvt");
}
template <typename Binding>
bool Reload(Binding& binding, const XString& path) {
  return binding.Reload(path.CStr());
}

// Every call of a kind's own: all give 0 without an instance.
void ExpectOwnCallsGiveZero(clTvDecoder& decoder) {
  TvOpenInfo open{};
  TvConversionInfo info{};
  TvAudioBlock block{};
  EXPECT_EQ(decoder.Open(&open) + decoder.Close(&info) + decoder.DecodeBlock(&block) +
                decoder.SetPosition(1, 2) + decoder.DeleteATag(1, 2),
            0);
}
void ExpectOwnCallsGiveZero(clTvEncoder& encoder) {
  TvConversionInfo info{};
  TvAudioBlock block{};
  int32_t writeTags = 5;
  EXPECT_EQ(encoder.ShowConfigBit(1, 2, 3, 4) + encoder.RemoveConfigBit(1) +
                encoder.BeginConversion(&info) + encoder.EncodeBlock(&block) +
                encoder.EndConversion(&info, &writeTags) + encoder.EndConversion(&info, nullptr),
            0);
  EXPECT_EQ(writeTags, 0);
}
void ExpectOwnCallsGiveZero(clTvDSP& dsp) {
  TvConversionInfo info{};
  TvAfterConversionInfo after{};
  TvAudioBlock block{};
  TvWaveFormatExtensible format{};
  EXPECT_EQ(dsp.ShowConfigBit(1, 2, 3, 4) + dsp.RemoveConfigBit(1) +
                dsp.BeginConversion(&info, u"") + dsp.EndConversion(&info) +
                dsp.PassAudioBlock(&block) + dsp.PassNonLive(u"f", &format, u"", u"q") +
                dsp.AfterConversion(&after) + dsp.AfterConversion(nullptr),
            0);
}

template <typename Binding>
class BindingTest : public ::testing::Test {
 protected:
  void ExpectAllCallsGiveZero() {
    TvPluginValue value{};
    EXPECT_EQ(binding.Get(u"Decodes", &value) + binding.Set(u"BatchID", &value) +
                  binding.SetKey(u"x") + binding.SetText(u"EventQuit", u"q") +
                  binding.SetNumber(u"BatchID", 1) + binding.GetWithText(u"IsLive", u"p"),
              0);
    ExpectOwnCallsGiveZero(binding);
  }

  TestPluginSession session;
  Binding binding;
};

using Kinds = ::testing::Types<clTvDecoder, clTvEncoder, clTvDSP>;
TYPED_TEST_SUITE(BindingTest, Kinds);

TYPED_TEST(BindingTest, WithoutAnInstanceNothingIsCalled) {
  EXPECT_FALSE(this->binding.Load(nullptr));
  EXPECT_FALSE(this->binding.IsBound());
  EXPECT_FALSE(this->binding.Make(nullptr));
  this->binding.End();
  this->ExpectAllCallsGiveZero();
  ASSERT_TRUE(this->binding.Load(Library(Kind<TypeParam>::plugin).CStr()));
  EXPECT_TRUE(this->binding.IsBound());
  EXPECT_FALSE(this->binding.HasInstance());
  this->ExpectAllCallsGiveZero();
  EXPECT_TRUE(this->session.TakeCalls().empty());
  // Unload goes back to empty: no library, no exports.
  ASSERT_TRUE(this->binding.IsComplete());
  this->binding.Unload();
  EXPECT_FALSE(this->binding.IsComplete());
  EXPECT_FALSE(this->binding.Make(nullptr));
}

TYPED_TEST(BindingTest, MakeEndsThePreviousInstanceAndTheDestructorTheLast) {
  using K = Kind<TypeParam>;
  std::string create = Stem(K::plugin) + " " + K::create;
  std::string destroy = Stem(K::plugin) + " " + K::destroy;
  {
    TypeParam own;
    ASSERT_TRUE(own.Load(Library(K::plugin).CStr()));
    TvHostContext context{7, 8, 9};
    ASSERT_TRUE(own.Make(&context));
    ASSERT_TRUE(own.Make(nullptr));
    own.End();
    own.End();
    EXPECT_FALSE(own.HasInstance());
    ASSERT_TRUE(own.Make(nullptr));
  }
  std::vector<std::string> expected = {create + " error=7 info=8 log=9 -> 1", destroy,
                                       create + " error=0 info=0 log=0 -> 1", destroy,
                                       create + " error=0 info=0 log=0 -> 1", destroy};
  EXPECT_EQ(this->session.TakeCalls(), expected);
}

TYPED_TEST(BindingTest, ACreateThatGivesZeroLeavesNoInstance) {
  using K = Kind<TypeParam>;
  this->session.Configure({Stem(K::plugin) + ".fail." + K::create + "=2"});
  ASSERT_TRUE(Reload(this->binding, Library(K::plugin)));
  EXPECT_TRUE(this->binding.Make(nullptr));
  EXPECT_FALSE(this->binding.Make(nullptr));
  EXPECT_FALSE(this->binding.HasInstance());
  this->ExpectAllCallsGiveZero();
}

TYPED_TEST(BindingTest, AMissingExportFailsTheLoadAndOnlyReloadReplacesALibrary) {
  using K = Kind<TypeParam>;
  CapturedDebugLog log(this->session.Folder());
  XString lacking = Library(K::lacking);
  EXPECT_FALSE(this->binding.Load(lacking.CStr()));
  EXPECT_TRUE(this->binding.IsBound());
  EXPECT_FALSE(this->binding.IsComplete());
  EXPECT_NE(log.Text().find(std::string(K::lacking) + "' lacks the export '" + K::missing + "'"),
            std::string::npos)
      << log.Text();
  // A bound binding keeps its library and flag; what was found stays bound.
  EXPECT_FALSE(this->binding.Load(Library(K::plugin).CStr()));
  EXPECT_EQ(U8(this->binding.ModulePath()), U8(lacking));
  ASSERT_TRUE(this->binding.Make(nullptr));
  ASSERT_TRUE(Reload(this->binding, Library(K::plugin)));
  EXPECT_TRUE(this->binding.IsComplete());
  EXPECT_FALSE(this->binding.HasInstance());
  EXPECT_EQ(this->session.TakeCalls().back(), Stem(K::lacking) + " " + K::destroy);
  EXPECT_FALSE(Reload(this->binding, Library("decoder/Foreign.so")));
  EXPECT_FALSE(this->binding.IsBound());
  EXPECT_TRUE(this->binding.ModulePath().IsEmpty());
}

TYPED_TEST(BindingTest, ALibraryOfAnotherKindLacksTheKindsExports) {
  for (const char* other : {"decoder/TestDecoder.so", "encoder/TestEncoder.so"}) {
    if (std::string(other) == Kind<TypeParam>::plugin) continue;
    TypeParam wrong;
    EXPECT_FALSE(wrong.Load(Library(other).CStr())) << other;
    EXPECT_FALSE(wrong.Make(nullptr)) << other;
  }
}

TEST(XDLLTest, FilesThatAreNoLibraryAreLoggedAsNotLoaded) {
  TestPluginSession session;
  CapturedDebugLog log(session.Folder());
  for (const char* file :
       {"decoder/Missing.so", "decoder/Foreign.so", "decoder/Truncated.so", "decoder/Folder.so"}) {
    clTvDecoder decoder;
    EXPECT_FALSE(decoder.Load(Library(file).CStr())) << file;
    EXPECT_FALSE(decoder.IsBound()) << file;
    EXPECT_NE(log.Text().find("Cannot load plug-in library '" + U8(Library(file))),
              std::string::npos)
        << log.Text();
  }
  // A name without a folder is a file here, not a search of the system's libraries.
  clTvDecoder decoder;
  EXPECT_FALSE(decoder.Load(u"libc.so.6"));
  EXPECT_NE(log.Text().find("'./libc.so.6'"), std::string::npos) << log.Text();
  EXPECT_EQ(log.Text().find("lacks the export"), std::string::npos) << log.Text();
}

TEST(XDLLTest, ALibraryCutShortIsRefusedBeforeItIsMapped) {
  TestPluginSession session;
  CapturedDebugLog log(session.Folder());
  std::ifstream in(U8(Library("DSPs/TestDSP.so")), std::ios::binary);
  std::string whole((std::istreambuf_iterator<char>(in)), {});
  ASSERT_GT(whole.size(), 4096u);
  // Cut inside the ELF header, inside the program headers, and inside the first segment.
  for (size_t size : {size_t(40), size_t(600), size_t(3000)}) {
    session.Folder().WriteFile("cut.so", whole.substr(0, size));
    clTvDSP dsp;
    EXPECT_FALSE(dsp.Load(X(session.Folder() / "cut.so").CStr())) << size;
    EXPECT_FALSE(dsp.IsBound()) << size;
  }
  EXPECT_NE(log.Text().find("cut.so': file is cut short"), std::string::npos) << log.Text();
}

TEST(XDLLTest, TwoBindingsOfOneLibraryKeepTheirOwnInstances) {
  TestPluginSession session;
  clTvDSP probe, member;
  ASSERT_TRUE(probe.Load(Library("DSPs/TestDSP.so").CStr()) && probe.Make(nullptr));
  ASSERT_TRUE(member.Load(Library("DSPs/TestDSP.so").CStr()) && member.Make(nullptr));
  EXPECT_EQ(U8(probe.ModulePath()), U8(Library("DSPs/TestDSP.so")));
  probe.Unload();
  EXPECT_FALSE(probe.IsBound());
  EXPECT_TRUE(probe.ModulePath().IsEmpty());
  // The library stays loaded for the other binding, whose instance still answers.
  EXPECT_EQ(member.RemoveConfigBit(2), 1);
  EXPECT_EQ(session.TakeCalls().back(), "TestDSP DSP_RemoveConfigBit 2");
}

// The value record as the test plug-ins log it.
std::string Value(int32_t value, const char* text1) {
  return " index=0 value=" + std::to_string(value) + " text1=" + text1;
}

TEST(clTvDecoderTest, EveryCallIsForwardedWithItsArguments) {
  TestPluginSession session;
  session.Configure({"TestDecoder.set.BatchID=1", "TestDecoder.get.Decodes=1|.tvt|Tone",
                     "TestDecoder.anyfile=1", "TestDecoder.frames=3", "TestDecoder.blockframes=2"});
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Load(Library("decoder/TestDecoder.so").CStr()) && decoder.Make(nullptr));
  EXPECT_EQ(decoder.SetNumber(u"BatchID", 42), 1);
  EXPECT_EQ(decoder.SetText(u"EventQuit", u"quit-now"), 0);
  EXPECT_EQ(decoder.SetKey(u"Ünknown"), 0);
  TvPluginValue decodes{};
  ASSERT_EQ(decoder.Get(u"Decodes", &decodes), 1);
  EXPECT_EQ(U8(decodes.text1) + U8(decodes.text2), ".tvtTone");
  TvOpenInfo open{};
  open.fileName = u"/no/such/file.tvt";
  open.interfaceLevel = TV_INTERFACE_LEVEL;
  EXPECT_EQ(decoder.Open(&open), 1);
  EXPECT_EQ(open.byteLength, 12u);
  TvAudioBlock block{};
  EXPECT_EQ(decoder.DecodeBlock(&block), 1);
  EXPECT_EQ(block.byteCount, 8u);
  TvConversionInfo info{};
  info.sourceFile = u"in.tvt";
  info.outputFile = u"out.raw";
  EXPECT_EQ(decoder.Close(&info), 1);
  EXPECT_EQ(decoder.SetPosition(3, 4), 1);
  EXPECT_EQ(decoder.DeleteATag(5, 6), 1);
  std::vector<std::string> calls = session.TakeCalls();
  std::vector<std::string> expected = {
      "TestDecoder Set key=\"BatchID\"" + Value(42, "null") + " -> 1",
      "TestDecoder Set key=\"EventQuit\"" + Value(0, "\"quit-now\"") + " -> 0",
      "TestDecoder Set key=\"Ünknown\"" + Value(0, "null") + " -> 0",
      "TestDecoder Get key=\"Decodes\"" + Value(0, "null") + " -> 1",
      "TestDecoder Open file=\"/no/such/file.tvt\" level=29 -> 1",
      "TestDecoder DecodeBlock -> 1 bytes=8 pos=0 eos=0",
      "TestDecoder Close source=\"in.tvt\" output=\"out.raw\" -> 1",
      "TestDecoder SetPosition 3 4",
      "TestDecoder DeleteATag 5 6"};
  EXPECT_EQ(std::vector<std::string>(calls.begin() + 1, calls.end()), expected);
}

TEST(clTvDecoderTest, ReloadKeepsExtensionAndPathOnlyOnSuccess) {
  TestPluginSession session;
  XString library = Library("decoder/TestDecoder.so");
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Reload(library.CStr(), u".tvt"));
  EXPECT_EQ(U8(decoder.Extension()) + " " + U8(decoder.Path()), ".tvt " + U8(library));
  EXPECT_FALSE(decoder.Reload(Library("decoder/NoSetPosition.so").CStr(), u".tv2"));
  EXPECT_TRUE(decoder.Extension().IsEmpty());
  EXPECT_TRUE(decoder.Path().IsEmpty());
  ASSERT_TRUE(decoder.Reload(library.CStr(), u".tv3"));
  decoder.Unload();
  EXPECT_FALSE(decoder.IsBound());
  EXPECT_TRUE(decoder.Extension().IsEmpty());
  EXPECT_TRUE(decoder.Path().IsEmpty());
}

TEST(clTvEncoderTest, EveryCallIsForwardedWithItsArguments) {
  TestPluginSession session;
  session.Configure({"TestEncoder.get.NeedHQAudio=1", "TestEncoder.writetags=1"});
  std::string output = session.Folder() / "out.raw";
  XString outputName = X(output);
  clTvEncoder encoder;
  ASSERT_TRUE(encoder.Load(Library("encoder/TestEncoder.so").CStr()) && encoder.Make(nullptr));
  EXPECT_EQ(encoder.GetWithText(u"NeedHQAudio", u"-q 5"), 1);
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
  block.msPosition = 20;
  block.endOfStream = 1;
  EXPECT_EQ(encoder.EncodeBlock(&block), 1);
  int32_t writeTags = 7;  // the binding hands the encoder a 0
  EXPECT_EQ(encoder.EndConversion(&info, &writeTags), 1);
  EXPECT_EQ(writeTags, 1);
  EXPECT_EQ(session.Read("out.raw"), std::string("\1\2\3\4", 4));
  std::string described =
      " source=\"in.tvt\" output=\"" + output + "\" settings=\"-q 5\" format=1/2/44100/16/4";
  std::vector<std::string> calls = session.TakeCalls();
  std::vector<std::string> expected = {
      "TestEncoder ENC_Get key=\"NeedHQAudio\"" + Value(0, "\"-q 5\"") + " -> 1",
      "TestEncoder ENC_Set key=\"Priority\"" + Value(0, "\"low\"") + " -> 0",
      "TestEncoder ENC_ShowConfigBit 1 2 3 4",
      "TestEncoder ENC_RemoveConfigBit 9",
      "TestEncoder ENC_BeginConversion" + described + " tags=0 extra=0 -> 1",
      "TestEncoder ENC_EncodeBlock bytes=4 pos=20 eos=1 format=0/0/0/0/0 status=null -> 1",
      "TestEncoder ENC_EndConversion" + described + " tags=0 extra=0 writeTags=0 -> 1"};
  EXPECT_EQ(std::vector<std::string>(calls.begin() + 1, calls.end()), expected);
}

TEST(clTvDSPTest, EveryCallIsForwardedWithItsArguments) {
  TestPluginSession session;
  session.Configure({"TestDSP.get.IsLive.loud=1", "TestDSP.rate=22050"});
  session.Folder().WriteFile("audio.raw", std::string("\x01\xF0", 2));
  XString raw = X(session.Folder() / "audio.raw");
  clTvDSP dsp;
  ASSERT_TRUE(dsp.Load(Library("DSPs/TestDSP.so").CStr()) && dsp.Make(nullptr));
  EXPECT_EQ(dsp.GetWithText(u"IsLive", u"loud"), 1);
  EXPECT_EQ(dsp.SetNumber(u"BatchID", 12), 0);
  EXPECT_EQ(dsp.ShowConfigBit(4, 3, 2, 1), 1);
  EXPECT_EQ(dsp.RemoveConfigBit(8), 1);
  TvWaveFormatExtensible format{};
  format.Format = {TV_FORMAT_PCM, 1, 44100, 44100, 1, 8, 0};
  TvConversionInfo info{};
  info.outputFile = u"out.raw";
  info.format = &format;
  EXPECT_EQ(dsp.BeginConversion(&info, u"mul=2,add=1"), 1);
  uint8_t audio[3] = {0x00, 0x0F, 0xFF};
  TvAudioBlock block{};
  block.data = audio;
  block.byteCount = 3;
  EXPECT_EQ(dsp.PassAudioBlock(&block), 1);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(audio), 3), "\x01\x1F\xFF");
  EXPECT_EQ(dsp.EndConversion(&info), 1);
  EXPECT_EQ(dsp.PassNonLive(raw.CStr(), &format, u"mul=-1,add=-1", u"quit-1"), 1);
  EXPECT_EQ(session.Read("audio.raw"), std::string("\xFE\x0F", 2));
  EXPECT_EQ(format.Format.nSamplesPerSec, 22050u);
  TvAfterConversionInfo after{};
  after.info.outputFile = u"final.raw";
  after.failed = 1;
  EXPECT_EQ(dsp.AfterConversion(&after), 1);
  std::vector<std::string> calls = session.TakeCalls();
  std::vector<std::string> expected = {
      "TestDSP DSP_Get key=\"IsLive\"" + Value(0, "\"loud\"") + " -> 1",
      "TestDSP DSP_Set key=\"BatchID\"" + Value(12, "null") + " -> 0",
      "TestDSP DSP_ShowConfigBit 4 3 2 1",
      "TestDSP DSP_RemoveConfigBit 8",
      "TestDSP DSP_BeginConversion output=\"out.raw\" format=1/1/44100/8/1 "
      "parameters=\"mul=2,add=1\" -> 1",
      "TestDSP DSP_PassAudioBlock bytes=3 pos=0 eos=0 -> 1",
      "TestDSP DSP_EndConversion output=\"out.raw\" -> 1",
      "TestDSP DSP_PassNonLive file=\"" + U8(raw) +
          "\" bytes=2 format=1/1/44100/8/1 parameters=\"mul=-1,add=-1\" quit=\"quit-1\" -> 1",
      "TestDSP DSP_AfterConversion output=\"final.raw\" failed=1 -> 1"};
  EXPECT_EQ(std::vector<std::string>(calls.begin() + 1, calls.end()), expected);
}

}  // namespace
