// Finding plug-ins on disk: the decoder cache and scan, names in any case, files that are no
// library, the listings and the two name tables.
#include "ScratchFolder.h"
#include "XPath.h"
#include "XRegistry.h"
#include "XStringList.h"
#include "clTvCodecHandler.h"
#include "clTvDSP.h"
#include "clTvDecoder.h"
#include "clTvEncoder.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>
#include <zlib.h>

namespace {

std::string U8(const XString& text) { return text.ToUtf8String(); }
XString X(const std::string& text) { return XString::FromUtf8(text.c_str()); }

std::vector<std::string> Items(const XStringList& list) {
  std::vector<std::string> items;
  for (int32_t i = 0; i < list.Count(); ++i) items.push_back(U8(list[i]));
  return items;
}

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
  void TearDown() override {
    clTvCodecHandler::SetBaseFolder(XString());
    configHome.reset();
  }

  // A link named `name` in `folder` to a library file.
  void Link(const std::string& folder, const std::string& name, const std::string& target) {
    std::filesystem::create_symlink(target, base + folder + "/" + name);
  }
  void Write(const std::string& relative, const std::string& content = "x") {
    scratch.WriteFile("app/" + relative, content);
  }
  std::string Cached(const char16_t* ext) {
    return U8(XRegistry::ReadString(ext, HKEY_CURRENT_USER, TvDecoderCacheKey));
  }
  bool HasCacheEntry(const char16_t* ext) {
    return XRegistry::ValueExists(ext, HKEY_CURRENT_USER, TvDecoderCacheKey);
  }

  ScratchFolder scratch;
  std::string base;
  TvHostContext context{};

 private:
  std::optional<ScopedEnv> configHome;
};

// A shared library that is no plug-in: the compression library this program links.
std::string ForeignLibrary() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&zlibVersion), &info) || !info.dli_fname) return {};
  return info.dli_fname;
}

}  // namespace

// ---- Files that are no library ----

TEST_F(clTvCodecHandlerTest, FilesThatAreNoLibraryAreNotLoadedAndNothingIsCached) {
  Write("decoder/empty.so", "");
  Write("decoder/truncated.so", std::string("\x7f" "ELF\x02\x01\x01", 7));
  Write("decoder/text.so", "not a library at all");
  std::filesystem::create_directories(base + "decoder/folder.so");
  ASSERT_EQ(mkfifo((base + "decoder/pipe.so").c_str(), 0600), 0);
  std::string foreign = ForeignLibrary();
  ASSERT_FALSE(foreign.empty());
  Link("decoder", "foreign.so", foreign);

  clTvDecoder decoder;
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u"/music/a.flac", decoder, &context));
  EXPECT_FALSE(decoder.IsBound());
  EXPECT_FALSE(decoder.HasInstance());
  EXPECT_FALSE(HasCacheEntry(u".flac"));
  // A cache entry that names such a file is passed over the same way, and stays as it was.
  XRegistry::WriteString(u"/elsewhere/decoder/pipe.so", u".flac", HKEY_CURRENT_USER,
                         TvDecoderCacheKey);
  EXPECT_FALSE(clTvCodecHandler::FindDecoder(u"/music/a.flac", decoder, &context));
  EXPECT_EQ(Cached(u".flac"), "/elsewhere/decoder/pipe.so");
}

TEST_F(clTvCodecHandlerTest, TryDecoderLibraryLeavesTheBindingEmptyForNoLibrary) {
  Write("decoder/truncated.so", std::string("\x7f" "ELF", 4));
  std::filesystem::create_directories(base + "decoder/folder.so");
  clTvDecoder decoder;
  for (const char* name : {"truncated.so", "folder.so", "missing.so"}) {
    EXPECT_FALSE(clTvCodecHandler::TryDecoderLibrary(X(base + "decoder/" + name), u".flac",
                                                      decoder, &context))
        << name;
    EXPECT_FALSE(decoder.IsBound()) << name;
    EXPECT_TRUE(decoder.Extension().IsEmpty()) << name;
  }
}

TEST_F(clTvCodecHandlerTest, EncoderAndDSPThatAreNoLibraryDoNotLoad) {
  Write("encoder/broken.so", "garbage");
  std::filesystem::create_directories(base + "DSPs/Folder.so");
  Link("encoder", "foreign.so", ForeignLibrary());
  clTvEncoder encoder;
  clTvDSP dsp;
  EXPECT_FALSE(clTvCodecHandler::LoadEncoder(u"broken", encoder, &context));
  EXPECT_FALSE(clTvCodecHandler::LoadEncoder(u"foreign", encoder, &context));
  EXPECT_FALSE(clTvCodecHandler::LoadEncoder(u"absent", encoder, &context));
  EXPECT_FALSE(encoder.HasInstance());
  EXPECT_FALSE(clTvCodecHandler::LoadDSP(u"folder", dsp, &context));
  EXPECT_FALSE(dsp.HasInstance());
  EXPECT_TRUE(clTvCodecHandler::EncoderExtension(u"broken").IsEmpty());
}

TEST_F(clTvCodecHandlerTest, ListDecoderFilesTakesLibrariesInAnyCaseAndSkipsTheRest) {
  Write("decoder/a.so");
  Write("decoder/B.SO");
  Write("decoder/notes.txt");
  Write("decoder/a.so.bak");
  std::filesystem::create_directories(base + "decoder/folder.so");
  ASSERT_EQ(mkfifo((base + "decoder/pipe.so").c_str(), 0600), 0);
  XStringList files;
  clTvCodecHandler::ListDecoderFiles(files);
  std::vector<std::string> items = Items(files);
  std::sort(items.begin(), items.end());
  EXPECT_EQ(items, (std::vector<std::string>{base + "decoder/B.SO", base + "decoder/a.so"}));
}

TEST_F(clTvCodecHandlerTest, ListingsOfAMissingFolderAreEmpty) {
  std::filesystem::remove_all(base + "decoder");
  std::filesystem::remove_all(base + "encoder");
  XStringList files, encoders, extensions, names, filters;
  clTvCodecHandler::ListDecoderFiles(files);
  clTvCodecHandler::ListEncoders(encoders, XString());
  clTvCodecHandler::ListDecoderTypes(true, &extensions, &names, &filters);
  EXPECT_EQ(files.Count(), 0);
  EXPECT_EQ(encoders.Count(), 0);
  EXPECT_EQ(extensions.Count(), 0);
  EXPECT_EQ(names.Count(), 0);
  // The "All Audio Files" entry stands even with nothing behind it.
  EXPECT_EQ(Items(filters), std::vector<std::string>{"All Audio Files\r"});
}

// ---- Paths and names ----

TEST_F(clTvCodecHandlerTest, PluginFoldersLieBelowTheBaseFolder) {
  EXPECT_EQ(U8(clTvCodecHandler::DecoderFolder()), base + "decoder/");
  EXPECT_EQ(U8(clTvCodecHandler::EncoderFolder()), base + "encoder/");
  EXPECT_EQ(U8(clTvCodecHandler::DSPFolder()), base + "DSPs/");
  // Without a base folder of its own, the program's folder counts.
  clTvCodecHandler::SetBaseFolder(XString());
  std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
  EXPECT_EQ(U8(clTvCodecHandler::DecoderFolder()), program + "/decoder/");
  clTvCodecHandler::SetBaseFolder(X(base.substr(0, base.size() - 1)));
  EXPECT_EQ(U8(clTvCodecHandler::BaseFolder()), base);
}

TEST_F(clTvCodecHandlerTest, EncoderAndDSPPathsIgnoreTheCaseOfTheName) {
  Write("encoder/Lame MP3.so");
  Write("DSPs/ReplayGain.SO");
  EXPECT_EQ(U8(clTvCodecHandler::EncoderPath(u"lame mp3")), base + "encoder/Lame MP3.so");
  EXPECT_EQ(U8(clTvCodecHandler::EncoderPath(u"LAME MP3")), base + "encoder/Lame MP3.so");
  EXPECT_EQ(U8(clTvCodecHandler::DSPPath(u"replaygain")), base + "DSPs/ReplayGain.SO");
  // A name that matches nothing gives the path it would have.
  EXPECT_EQ(U8(clTvCodecHandler::EncoderPath(u"Opus")), base + "encoder/Opus.so");
  EXPECT_EQ(U8(clTvCodecHandler::DSPPath(u"Lame MP3")), base + "DSPs/Lame MP3.so");
}

TEST_F(clTvCodecHandlerTest, AnExactNameWinsOverOneThatDiffersInCase) {
  Write("encoder/FLAC.so");
  Write("encoder/flac.so");
  Write("encoder/Flac.so");
  EXPECT_EQ(U8(clTvCodecHandler::EncoderPath(u"flac")), base + "encoder/flac.so");
  EXPECT_EQ(U8(clTvCodecHandler::EncoderPath(u"Flac")), base + "encoder/Flac.so");
  // With no exact match the choice is the same every time: the least name.
  EXPECT_EQ(U8(clTvCodecHandler::EncoderPath(u"fLAC")), base + "encoder/FLAC.so");
}

TEST_F(clTvCodecHandlerTest, ListEncodersPutsBracketedNamesLastButMultiEncoderFirst) {
  for (const char* name : {"wave.so", "Lame MP3.so", "[zeta].so", "[Multi Encoder].so",
                           "[Alpha].so", "flac.SO", "opus.so", "_hidden.so"})
    Write(std::string("encoder/") + name);
  Write("encoder/readme.txt");
  std::filesystem::create_directories(base + "encoder/[folder].so");
  XStringList list;
  clTvCodecHandler::ListEncoders(list, u"OPUS:absent:wave");
  EXPECT_EQ(Items(list), (std::vector<std::string>{"[Multi Encoder]", "_hidden", "flac",
                                                   "Lame MP3", "[Alpha]", "[zeta]"}));
  clTvCodecHandler::ListEncoders(list, XString());
  EXPECT_EQ(list.Count(), 8);
  EXPECT_EQ(U8(list[0]), "[Multi Encoder]");
  EXPECT_EQ(U8(list[7]), "[zeta]");
}

// ---- Name tables ----

TEST_F(clTvCodecHandlerTest, LosslessFormatNamesIgnoreCaseButNotSpelling) {
  for (const char16_t* name :
       {u"Aiff", u"apple lossless", u"FLAC", u"flac", u"Monkeys Audio", u"OPTIM FROG",
        u"The True Audio (TTA)", u"wave", u"Wave64", u"WAVPACK"})
    EXPECT_TRUE(clTvCodecHandler::IsLosslessFormatName(name)) << U8(name);
  for (const char16_t* name : {u"", u"MP3", u"Wav", u"Wave 64", u"FLAC ", u"The True Audio",
                               u"Monkey's Audio", u"Ogg Vorbis", u"Apple Lossles"})
    EXPECT_FALSE(clTvCodecHandler::IsLosslessFormatName(name)) << U8(name);
}

TEST_F(clTvCodecHandlerTest, MultiLineTagsAreTheTableAndAnyLyricsKey) {
  for (const char16_t* key :
       {u"album", u"ALBUM SORT", u"Subtitle", u"set subtitle", u"Encoded By", u"label",
        u"encoder settings", u"tempo", u"source", u"initial key", u"contact", u"copyright",
        u"Title", u"comment", u"title sort", u"length", u"year", u"original release year",
        u"release date", u"recording dates", u"description", u"cuesheet", u"EACLOG",
        u"lyrics", u"Unsynced Lyrics", u"LYRICSWRITER"})
    EXPECT_TRUE(clTvCodecHandler::IsMultiLineTag(key)) << U8(key);
  for (const char16_t* key : {u"", u"artist", u"genre", u"titles", u"albu", u"album  sort",
                              u"lyric", u"composer", u"Album Artist"})
    EXPECT_FALSE(clTvCodecHandler::IsMultiLineTag(key)) << U8(key);
}

TEST_F(clTvCodecHandlerTest, TheEscapeHelperKeepsBreaksExactlyForMultiLineTags) {
  for (const char16_t* key : {u"Title", u"Lyrics", u"EACLOG", u"Artist", u"Genre", u""}) {
    bool multi = clTvCodecHandler::IsMultiLineTag(key);
    XString encoded = EscapeTagValue(key, u"one\r\ntwo\rthree\nfour", true, true);
    // Out: a multi-line value keeps every break as a mark; any other value turns a lone CR
    // into a value separator, and what remains of each line end becomes one CR.
    EXPECT_EQ(U8(encoded), multi ? "one{CR}{LF}two{CR}three{LF}four" : "one; \rtwo; three\rfour")
        << U8(key);
    XString decoded = EscapeTagValue(key, encoded, false, true);
    EXPECT_EQ(U8(decoded), multi ? "one\r\ntwo\rthree\nfour" : "one\r\rtwo\rthree\rfour")
        << U8(key);
  }
}
