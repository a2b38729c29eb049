// Loading plug-in libraries: what loads, what does not, and what the debug log says about it.
#include "plugins/XDLL.h"

#include <gtest/gtest.h>

#include "plugins/clTvDSP.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"
#include "tests/plugins/testplugins/TestPluginSession.h"

namespace {

std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), {});
}

// Loads path into a fresh binding of each kind that it names and returns the debug log.
template <typename Binding>
std::string LoadLogged(const char* relative, bool expectBound) {
  TestPluginSession session;
  CapturedDebugLog log(session.Folder());
  Binding binding;
  EXPECT_FALSE(binding.Load(TestPluginSession::Library(relative).CStr())) << relative;
  EXPECT_EQ(binding.IsBound(), expectBound) << relative;
  EXPECT_FALSE(binding.IsComplete());
  EXPECT_FALSE(binding.Make(nullptr) && !expectBound);
  return log.Text();
}

}  // namespace

TEST(XDLLTest, UnloadableFilesAreLoggedAsNotLoaded) {
  for (const char* file :
       {"decoder/Missing.so", "decoder/Foreign.so", "decoder/Truncated.so", "decoder/Folder.so"}) {
    std::string log = LoadLogged<clTvDecoder>(file, false);
    EXPECT_NE(log.find("Cannot load plug-in library '"), std::string::npos) << file;
    EXPECT_NE(log.find(file), std::string::npos) << log;
    EXPECT_EQ(log.find("lacks the export"), std::string::npos) << log;
  }
}

TEST(XDLLTest, AMissingExportIsLoggedByNameAndLeavesTheLibraryLoaded) {
  std::string log = LoadLogged<clTvDecoder>("decoder/NoSetPosition.so", true);
  EXPECT_NE(log.find("decoder/NoSetPosition.so' lacks the export 'SetPosition'"), std::string::npos)
      << log;
  EXPECT_EQ(log.find("Cannot load"), std::string::npos) << log;
  log = LoadLogged<clTvEncoder>("encoder/NoRemoveConfigBit.so", true);
  EXPECT_NE(log.find("lacks the export 'ENC_RemoveConfigBit'"), std::string::npos) << log;
  log = LoadLogged<clTvDSP>("DSPs/NoRemoveConfigBit.so", true);
  EXPECT_NE(log.find("lacks the export 'DSP_RemoveConfigBit'"), std::string::npos) << log;
}

TEST(XDLLTest, ALibraryOfAnotherKindLacksEveryExport) {
  std::string log = LoadLogged<clTvEncoder>("decoder/TestDecoder.so", true);
  EXPECT_NE(log.find("lacks the export 'ENC_Create'"), std::string::npos) << log;
  EXPECT_NE(log.find("lacks the export 'ENC_EncodeBlock'"), std::string::npos) << log;
}

TEST(XDLLTest, ANameWithoutAFolderIsNotSearchedForInTheSystem) {
  TestPluginSession session;
  CapturedDebugLog log(session.Folder());
  clTvDecoder decoder;
  // A system library of that name exists, but a plug-in is only ever a file here.
  EXPECT_FALSE(decoder.Load(u"libc.so.6"));
  EXPECT_FALSE(decoder.IsBound());
  EXPECT_NE(log.Text().find("'./libc.so.6'"), std::string::npos) << log.Text();
}

TEST(XDLLTest, ModulePathNamesTheLoadedFile) {
  clTvDSP dsp;
  EXPECT_TRUE(dsp.ModulePath().IsEmpty());
  XString library = TestPluginSession::Library("DSPs/TestDSP.so");
  ASSERT_TRUE(dsp.Load(library.CStr()));
  EXPECT_EQ(dsp.ModulePath().ToUtf8String(), library.ToUtf8String());
  dsp.Unload();
  EXPECT_TRUE(dsp.ModulePath().IsEmpty());
}

TEST(XDLLTest, ALibraryCutShortIsRefusedBeforeItIsMapped) {
  TestPluginSession session;
  CapturedDebugLog log(session.Folder());
  std::string whole = ReadBytes(TV_TEST_PLUGIN_DIR "/DSPs/TestDSP.so");
  ASSERT_GT(whole.size(), 4096u);
  // Cut inside the ELF header, inside the program headers, and inside the first segment.
  for (size_t size : {size_t(40), size_t(600), size_t(3000)}) {
    session.Folder().WriteFile("cut.so", whole.substr(0, size));
    clTvDSP dsp;
    EXPECT_FALSE(dsp.Load(XString::FromUtf8(session.Folder() / "cut.so").CStr())) << size;
    EXPECT_FALSE(dsp.IsBound()) << size;
  }
  EXPECT_NE(log.Text().find("cut.so': file is cut short"), std::string::npos) << log.Text();
}
