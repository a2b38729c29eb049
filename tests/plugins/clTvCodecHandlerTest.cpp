// Finding plug-ins on disk: the decoder cache and scan, names in any case, files that are no
// library, the listings and the two name tables.
#include "foundation/XRegistry.h"
#include "foundation/XStringList.h"
#include "plugins/clTvCodecHandler.h"
#include "plugins/clTvDSP.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"
#include "tests/support/TestText.h"
#include "tests/support/plugins/TestPluginSession.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/stat.h>
#include <zlib.h>
#include <map>

namespace {

std::string Items(const XStringList& list) { return U8(list.Join(u"|")); }

// What an installed test decoder announces, by the kind a test installs; "incomplete" lacks an
// export, so it never loads.
const std::map<std::string, std::vector<std::string>> kKinds = {
    {"flac", {"get.Decodes=1|.flac|FLAC;1|.fla|FLAC", "get.StreamingDecodes=1|.flac|FLAC"}},
    {"mpeg",
     {"get.Decodes=1|.MP3|MPEG Layer-3;1|.mp2|MPEG Layer-2;1|.mpa|MPEG Layer-3;1|(null)|none;"
      "1|.ogg|Vorbis",
      "get.StreamingDecodes=1|.mp3|MPEG Layer-3"}},
    {"unlisted", {"get.Decodes=1|.wav|Wave", "get.Unlisted=1"}},
    {"ignored", {"get.Decodes=1|.cue.IGNORE|Cue Sheet;1|.ignore|aiff;1|.aif|Aiff;1||Raw"}},
    {"incomplete", {"get.Decodes=1|.flac|FLAC"}},
};

// A private settings store and a private program folder with empty plug-in folders.
class clTvCodecHandlerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    configHome.emplace("XDG_CONFIG_HOME", (scratch / "config").c_str());
    base = scratch / "app/";
    for (const char* folder : {"decoder", "encoder", "DSPs"})
      std::filesystem::create_directories(base + folder);
    clTvCodecHandler::SetBaseFolder(X(base));
  }
  void TearDown() override { clTvCodecHandler::SetBaseFolder(XString()); }

  // A copy (a file of its own, so the loader can't take it for another) of the test decoder,
  // configured to announce what its kind does under its new name.
  void Install(const std::string& name, const std::string& kind) {
    std::string library = kind == "incomplete" ? "NoSetPosition.so" : "TestDecoder.so";
    std::filesystem::copy_file(U8(TestPluginSession::Library("decoder/" + library)),
                               base + "decoder/" + name);
    for (const std::string& setting : kKinds.at(kind))
      config.push_back(name.substr(0, name.find('.')) + "." + setting);
    session.Configure(config);
  }
  // The plug-ins' creates since the last look, as "<name> <export>".
  std::vector<std::string> TakeCalls() {
    std::vector<std::string> creates;
    for (const std::string& line : session.TakeCalls())
      if (line.find(" error=") != std::string::npos)
        creates.push_back(line.substr(0, line.find(" error=")));
    return creates;
  }
  void SetCached(const char16_t* ext, const std::string& path) {
    ASSERT_TRUE(
        XRegistry::WriteString(X(path).CStr(), ext, XRegistry::RootCurrentUser, TvDecoderCacheKey));
  }
  void Write(const std::string& relative, const std::string& content = "x") {
    scratch.WriteFile("app/" + relative, content);
  }
  std::string Cached(const char16_t* ext) {
    return U8(XRegistry::ReadString(ext, XRegistry::RootCurrentUser, TvDecoderCacheKey));
  }

  ScratchFolder scratch;
  TestPluginSession session;
  std::vector<std::string> config;
  std::string base;
  TvHostContext context{};

 private:
  std::optional<ScopedEnv> configHome;
};

}  // namespace

TEST_F(clTvCodecHandlerTest, AScanCachesThePathAndAHitLoadsOnlyThatLibrary) {
  for (const char* name : {"a.so", "b.so", "c.so"}) Install(name, "mpeg");
  Install("flac.so", "flac");
  clTvDecoder first;
  ASSERT_TRUE(clTvCodecHandler::FindDecoder(u"/music/a.b/song.fla", first, &context));
  EXPECT_EQ(U8(first.Extension()), ".fla");
  EXPECT_EQ(Cached(u".fla"), base + "decoder/flac.so");
  TakeCalls();
  clTvDecoder decoder;
  ASSERT_TRUE(clTvCodecHandler::FindDecoder(u"OTHER.FLA", decoder, &context));
  EXPECT_EQ(TakeCalls(), std::vector<std::string>{"flac Create"});
  EXPECT_EQ(U8(decoder.Path()), base + "decoder/flac.so");
  // Written by an installation elsewhere: only the file name counts, and the entry then names
  // this installation's copy.
  SetCached(u".flac", "/opt/elsewhere/decoder/flac.so");
  ASSERT_TRUE(clTvCodecHandler::FindDecoder(u"song.flac", decoder, &context));
  EXPECT_EQ(TakeCalls(), std::vector<std::string>{"flac Create"});
  EXPECT_EQ(Cached(u".flac"), base + "decoder/flac.so");
  // Neither cache nor folder could give it now: the held library is used again.
  XRegistry::DeleteValue(u".flac", XRegistry::RootCurrentUser, TvDecoderCacheKey);
  std::filesystem::remove(base + "decoder/flac.so");
  ASSERT_TRUE(clTvCodecHandler::FindDecoder(u"SONG.FLAC", decoder, &context));
  EXPECT_EQ(TakeCalls(), std::vector<std::string>{"flac Create"});
  // Another extension searches again and finds nothing; the instance is ended either way.
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u"song.fla", decoder, &context));
  EXPECT_FALSE(decoder.HasInstance());
}

TEST_F(clTvCodecHandlerTest, StaleEntriesAreMendedByTheScanAndAMissLeavesThemAsTheyWere) {
  Install("flac2.so", "flac");
  Install("mpeg.so", "mpeg");
  SetCached(u".mp3", base + "decoder/flac2.so");
  SetCached(u".xyz", base + "decoder/mpeg.so");
  clTvDecoder decoder;
  ASSERT_TRUE(clTvCodecHandler::FindDecoder(u"song.mp3", decoder, &context));
  EXPECT_EQ(Cached(u".mp3"), base + "decoder/mpeg.so");
  std::vector<std::string> calls = TakeCalls();
  EXPECT_EQ(calls.front(), "flac2 Create");  // the cached one is asked first
  EXPECT_EQ(calls.back(), "mpeg Create");
  // A miss asks every library, the cached one too, and writes nothing.
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u"song.xyz", decoder, &context));
  EXPECT_EQ(Cached(u".xyz"), base + "decoder/mpeg.so");
  calls = TakeCalls();
  std::sort(calls.begin(), calls.end());
  EXPECT_EQ(calls, (std::vector<std::string>{"flac2 Create", "mpeg Create", "mpeg Create"}));
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u"song.ogg", decoder, &context));  // after a null
}

TEST_F(clTvCodecHandlerTest, StreamsTakeBareNamesAndFilesNeedAnExtension) {
  Install("flac.so", "flac");
  clTvDecoder decoder;
  EXPECT_TRUE(clTvCodecHandler::FindDecoder(u".flac", decoder, &context, nullptr, true));
  EXPECT_EQ(U8(decoder.Extension()), ".flac");
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u".fla", decoder, &context, nullptr, true));
  EXPECT_TRUE(clTvCodecHandler::FindDecoder(u"x.fla", decoder, &context));
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u"flac", decoder, &context));
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u"/music/a.b/README", decoder, &context));
  Install("raw.so", "ignored");  // announces an empty extension
  ASSERT_TRUE(clTvCodecHandler::FindDecoder(u"/music/a.b/README", decoder, &context));
  EXPECT_EQ(Cached(u""), base + "decoder/raw.so");
}

TEST_F(clTvCodecHandlerTest, ListDecoderTypesTakesListedLibrariesAndBuildsTheFilters) {
  Install("flac.so", "flac");
  Install("mpeg.so", "mpeg");
  Install("wave.so", "unlisted");
  Install("mixed.so", "ignored");
  Install("broken.so", "incomplete");
  XStringList extensions, names, filters;
  clTvCodecHandler::ListDecoderTypes(true, &extensions, &names, &filters);
  ASSERT_TRUE(extensions.Count() == 8 && names.Count() == 8);
  std::string pairs;
  for (int32_t i = 0; i < 8; ++i) pairs += "|" + U8(extensions[i]) + "=" + U8(names[i]);
  // A library's entries stay together; ".IGNORE" is left out, and a null text ends the list.
  for (const char* run : {"|.flac=FLAC|.fla=FLAC", "|.ignore=aiff|.aif=Aiff|=Raw",
                          "|.MP3=MPEG Layer-3|.mp2=MPEG Layer-2|.mpa=MPEG Layer-3"})
    EXPECT_NE(pairs.find(run), std::string::npos) << pairs;
  std::string expected =
      "Aiff  (*.aif)\r*.aif|aiff  (*.ignore)\r*.ignore|FLAC  (*.flac; *.fla)\r*.flac;*.fla|"
      "MPEG Layer-2  (*.mp2)\r*.mp2|MPEG Layer-3  (*.MP3; *.mpa)\r*.MP3;*.mpa|Raw  (*)\r*";
  EXPECT_EQ(Items(filters), "All Audio Files\r*" + U8(extensions.Join(u";*")) + "|" + expected);
  clTvCodecHandler::ListDecoderTypes(false, nullptr, nullptr, &filters);
  EXPECT_EQ(Items(filters), expected);
  EXPECT_EQ(Cached(u".flac"), "");
}

TEST_F(clTvCodecHandlerTest, FilesThatAreNoLibraryAreNotLoadedAndNothingIsCached) {
  Write("decoder/text.so", "not a library at all");
  std::filesystem::create_directories(base + "decoder/folder.so");
  ASSERT_EQ(mkfifo((base + "decoder/pipe.so").c_str(), 0600), 0);
  // A shared library that is no plug-in: the compression library this program links.
  Dl_info info{};
  ASSERT_TRUE(dladdr(reinterpret_cast<void*>(&zlibVersion), &info) && info.dli_fname);
  std::filesystem::create_symlink(info.dli_fname, base + "decoder/foreign.so");
  clTvDecoder decoder;
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u"/music/a.flac", decoder, &context));
  EXPECT_FALSE(decoder.IsBound());
  EXPECT_EQ(Cached(u".flac"), "");
  // A cache entry that names such a file is passed over the same way, and stays as it was.
  SetCached(u".flac", "/elsewhere/decoder/pipe.so");
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u"/music/a.flac", decoder, &context));
  EXPECT_EQ(Cached(u".flac"), "/elsewhere/decoder/pipe.so");
  Write("encoder/broken.so", "garbage");
  std::filesystem::create_directories(base + "DSPs/Folder.so");
  clTvEncoder encoder;
  clTvDSP dsp;
  EXPECT_FALSE(clTvCodecHandler::LoadEncoder(u"broken", encoder, &context));
  EXPECT_FALSE(clTvCodecHandler::LoadDSP(u"folder", dsp, &context));
  EXPECT_TRUE(clTvCodecHandler::EncoderExtension(u"broken").IsEmpty());
}

TEST_F(clTvCodecHandlerTest, ListDecoderFilesTakesLibrariesInAnyCaseAndSkipsTheRest) {
  for (const char* name : {"a.so", "B.SO", "notes.txt", "a.so.bak"})
    Write(std::string("decoder/") + name);
  std::filesystem::create_directories(base + "decoder/folder.so");
  XStringList files;
  files.Add(u"left over");
  clTvCodecHandler::ListDecoderFiles(files);
  files.Sort(true);
  EXPECT_EQ(Items(files), base + "decoder/a.so|" + base + "decoder/B.SO");
  std::filesystem::remove_all(base + "decoder");
  std::filesystem::remove_all(base + "encoder");
  XStringList encoders, extensions, names, filters;
  clTvCodecHandler::ListDecoderFiles(files);
  clTvCodecHandler::ListEncoders(encoders, XString());
  clTvCodecHandler::ListDecoderTypes(true, &extensions, &names, &filters);
  EXPECT_EQ(files.Count() + encoders.Count() + extensions.Count() + names.Count(), 0);
  EXPECT_EQ(Items(filters), "All Audio Files\r");
}

TEST_F(clTvCodecHandlerTest, PluginPathsLieBelowTheBaseFolderAndIgnoreTheNamesCase) {
  for (const char* name : {"encoder/Lame MP3.so", "DSPs/ReplayGain.SO", "encoder/FLAC.so",
                           "encoder/flac.so", "encoder/Flac.so"})
    Write(name);
  // An exact name wins; otherwise the least name that differs in case only, or the path the
  // name would have.
  for (auto [name, file] : {std::pair{u"LAME MP3", "Lame MP3.so"},
                            {u"Flac", "Flac.so"},
                            {u"fLAC", "FLAC.so"},
                            {u"Opus", "Opus.so"}})
    EXPECT_EQ(U8(clTvCodecHandler::EncoderPath(name)), base + "encoder/" + file);
  EXPECT_EQ(U8(clTvCodecHandler::DSPPath(u"replaygain")), base + "DSPs/ReplayGain.SO");
  clTvCodecHandler::SetBaseFolder(XString());
  std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
  EXPECT_EQ(U8(clTvCodecHandler::DecoderFolder()), program + "/decoder/");
  clTvCodecHandler::SetBaseFolder(X(base.substr(0, base.size() - 1)));
  EXPECT_EQ(U8(clTvCodecHandler::BaseFolder()), base);
}

TEST_F(clTvCodecHandlerTest, ListEncodersPutsBracketedNamesLastButMultiEncoderFirst) {
  for (const char* name : {"wave.so", "Lame MP3.so", "[zeta].so", "[Multi Encoder].so",
                           "[Alpha].so", "flac.SO", "opus.so", "_hidden.so", "readme.txt"})
    Write(std::string("encoder/") + name);
  std::filesystem::create_directories(base + "encoder/[folder].so");
  XStringList list;
  clTvCodecHandler::ListEncoders(list, u"OPUS:absent:wave");
  EXPECT_EQ(Items(list), "[Multi Encoder]|_hidden|flac|Lame MP3|[Alpha]|[zeta]");
  clTvCodecHandler::ListEncoders(list, XString());
  EXPECT_EQ(list.Count(), 8);
  EXPECT_EQ(U8(list[0]) + U8(list[7]), "[Multi Encoder][zeta]");
}

TEST_F(clTvCodecHandlerTest, LosslessNamesIgnoreCaseButNotSpelling) {
  for (const char16_t* name : {u"apple lossless", u"WAVPACK"})
    EXPECT_TRUE(clTvCodecHandler::IsLosslessFormatName(name)) << U8(name);
  for (const char16_t* name : {u"Wav", u"FLAC "})
    EXPECT_FALSE(clTvCodecHandler::IsLosslessFormatName(name)) << U8(name);
}
