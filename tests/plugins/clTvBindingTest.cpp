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

// What differs between the kinds, for the tests that hold for all three: the library, its
// variant that lacks an export, the prefix of the exports, and what AllCalls sums with an instance.
struct KindInfo {
  const char *plugin, *lacking, *prefix;
  int32_t calls;
};
template <typename Binding>
KindInfo Kind;
template <>
KindInfo Kind<clTvDecoder> = {"decoder/TestDecoder.so", "decoder/NoSetPosition.so", "", 11};
template <>
KindInfo Kind<clTvEncoder> = {"encoder/TestEncoder.so", "encoder/NoRemoveConfigBit.so", "ENC_", 12};
template <>
KindInfo Kind<clTvDSP> = {"DSPs/TestDSP.so", "DSPs/NoRemoveConfigBit.so", "DSP_", 13};

bool Reload(clTvDecoder& binding, const XString& path) {
  return binding.Reload(path.CStr(), u".tvt");
}
template <typename Binding>
bool Reload(Binding& binding, const XString& path) {
  return binding.Reload(path.CStr());
}

// Every call of a kind's own, summed: 0 without an instance, one each with a test plug-in.
int32_t OwnCalls(clTvDecoder& decoder, const std::string&) {
  TvOpenInfo open{};
  TvConversionInfo info{};
  TvAudioBlock block{};
  return decoder.Open(&open) + decoder.Close(&info) + decoder.DecodeBlock(&block) +
         decoder.SetPosition(1, 2) + decoder.DeleteATag(1, 2);
}
int32_t OwnCalls(clTvEncoder& encoder, const std::string&) {
  TvConversionInfo info{};
  TvAudioBlock block{};
  int32_t writeTags = 5;
  int32_t sum = encoder.ShowConfigBit(1, 2, 3, 4) + encoder.RemoveConfigBit(1) +
                encoder.BeginConversion(&info) + encoder.EncodeBlock(&block) +
                encoder.EndConversion(&info, &writeTags) + encoder.EndConversion(&info, nullptr);
  EXPECT_EQ(writeTags, 0);  // the encoder is handed a 0 and answers with its own
  return sum;
}
int32_t OwnCalls(clTvDSP& dsp, const std::string& raw) {
  TvConversionInfo info{};
  TvAfterConversionInfo after{};
  TvAudioBlock block{};
  TvWaveFormatExtensible format{};
  return dsp.ShowConfigBit(1, 2, 3, 4) + dsp.RemoveConfigBit(1) + dsp.BeginConversion(&info, u"") +
         dsp.EndConversion(&info) + dsp.PassAudioBlock(&block) +
         dsp.PassNonLive(X(raw).CStr(), &format, u"", u"q") + dsp.AfterConversion(&after) +
         dsp.AfterConversion(nullptr);
}

template <typename Binding>
class BindingTest : public ::testing::Test {
 protected:
  // The shared calls and the kind's own, summed.
  int32_t AllCalls() {
    TvPluginValue value{};
    return binding.Get(u"Decodes", &value) + binding.Set(u"BatchID", &value) +
           binding.SetKey(u"x") + binding.SetText(u"EventQuit", u"q") +
           binding.SetNumber(u"BatchID", 1) + binding.GetWithText(u"IsLive", u"p") +
           OwnCalls(binding, session.Folder() / "raw");
  }

  TestPluginSession session;
  Binding binding;
};

using Kinds = ::testing::Types<clTvDecoder, clTvEncoder, clTvDSP>;
TYPED_TEST_SUITE(BindingTest, Kinds);

TYPED_TEST(BindingTest, WithoutAnInstanceNothingIsCalled) {
  EXPECT_FALSE(this->binding.Load(nullptr) || this->binding.IsBound() ||
               this->binding.Make(nullptr));
  this->binding.End();
  ASSERT_TRUE(this->binding.Load(Library(Kind<TypeParam>.plugin).CStr()));
  EXPECT_TRUE(this->binding.IsBound() && !this->binding.HasInstance());
  EXPECT_EQ(this->AllCalls(), 0);
  EXPECT_TRUE(this->session.TakeCalls().empty());
  // Unload goes back to empty: no library, no exports.
  ASSERT_TRUE(this->binding.IsComplete());
  this->binding.Unload();
  EXPECT_FALSE(this->binding.IsComplete() || this->binding.Make(nullptr));
}

TYPED_TEST(BindingTest, WithAnInstanceEveryCallReachesTheLibrary) {
  this->session.Configure({"*.anyfile=1", "*.get.*=1", "*.set.*=1"});
  ASSERT_TRUE(this->binding.Load(Library(Kind<TypeParam>.plugin).CStr()));
  ASSERT_TRUE(this->binding.Make(nullptr));
  EXPECT_EQ(this->AllCalls(), Kind<TypeParam>.calls);
}

TYPED_TEST(BindingTest, MakeEndsThePreviousInstanceAndTheDestructorTheLast) {
  const KindInfo& K = Kind<TypeParam>;
  std::string create = Stem(K.plugin) + " " + K.prefix + "Create";
  std::string destroy = Stem(K.plugin) + " " + K.prefix + "Destroy";
  {
    TypeParam own;
    ASSERT_TRUE(own.Load(Library(K.plugin).CStr()));
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
  const KindInfo& K = Kind<TypeParam>;
  this->session.Configure({Stem(K.plugin) + ".fail." + K.prefix + "Create=2"});
  ASSERT_TRUE(Reload(this->binding, Library(K.plugin)));
  EXPECT_TRUE(this->binding.Make(nullptr));
  EXPECT_FALSE(this->binding.Make(nullptr) || this->binding.HasInstance());
  EXPECT_EQ(this->AllCalls(), 0);
}

TYPED_TEST(BindingTest, AMissingExportFailsTheLoadAndOnlyReloadReplacesALibrary) {
  const KindInfo& K = Kind<TypeParam>;
  XString lacking = Library(K.lacking);
  EXPECT_FALSE(this->binding.Load(lacking.CStr()));
  EXPECT_TRUE(this->binding.IsBound() && !this->binding.IsComplete());
  // A bound binding keeps its library and flag; what was found stays bound.
  EXPECT_FALSE(this->binding.Load(Library(K.plugin).CStr()));
  EXPECT_EQ(U8(this->binding.ModulePath()), U8(lacking));
  ASSERT_TRUE(this->binding.Make(nullptr));
  ASSERT_TRUE(Reload(this->binding, Library(K.plugin)));
  EXPECT_TRUE(this->binding.IsComplete() && !this->binding.HasInstance());
  EXPECT_EQ(this->session.TakeCalls().back(), Stem(K.lacking) + " " + K.prefix + "Destroy");
  EXPECT_FALSE(Reload(this->binding, Library("decoder/Foreign.so")));
  EXPECT_TRUE(this->binding.ModulePath().IsEmpty());
}

// What is no library, or not a whole one, is refused before the linker maps it.
TEST(XDLLTest, FilesThatAreNoWholeLibraryAreNotLoaded) {
  TestPluginSession session;
  std::ifstream in(U8(Library("DSPs/TestDSP.so")), std::ios::binary);
  std::string whole((std::istreambuf_iterator<char>(in)), {});
  ASSERT_GT(whole.size(), 4096u);
  // A name without a folder is a file here, not a search of the system's libraries.
  std::vector<std::string> files = {U8(Library("decoder/Missing.so")), "libc.so.6"};
  // Cut inside the ELF header, inside the program headers, and inside the first segment.
  for (size_t size : {40, 600, 3000}) {
    files.push_back(session.Folder() / ("cut" + std::to_string(size) + ".so"));
    session.Folder().WriteFile("cut" + std::to_string(size) + ".so", whole.substr(0, size));
  }
  for (const std::string& file : files) {
    clTvDSP dsp;
    EXPECT_FALSE(dsp.Load(X(file).CStr())) << file;
    EXPECT_FALSE(dsp.IsBound()) << file;
  }
}

TEST(clTvDecoderTest, ReloadKeepsExtensionAndPathOnlyOnSuccessAndSetNumberPlacesTheNumber) {
  TestPluginSession session;
  XString library = Library("decoder/TestDecoder.so");
  clTvDecoder decoder;
  ASSERT_TRUE(decoder.Reload(library.CStr(), u".tvt") && decoder.Make(nullptr));
  EXPECT_EQ(U8(decoder.Extension()) + " " + U8(decoder.Path()), ".tvt " + U8(library));
  decoder.SetNumber(u"BatchID", 42);
  EXPECT_EQ(session.TakeCalls().back(),
            "TestDecoder Set key=\"BatchID\" index=0 value=42 text1=null -> 0");
  EXPECT_FALSE(decoder.Reload(Library("decoder/NoSetPosition.so").CStr(), u".tv2"));
  EXPECT_EQ(U8(decoder.Extension()) + U8(decoder.Path()), "");
  ASSERT_TRUE(decoder.Reload(library.CStr(), u".tv3"));
  decoder.Unload();
  EXPECT_EQ(U8(decoder.Extension()) + U8(decoder.Path()), "");
}

}  // namespace
