// Path text functions, file and folder operations, special folders and tag value escapes.
#include "foundation/XPath.h"

#include "foundation/XEvent.h"
#include "foundation/XFile.h"
#include "tests/foundation/Fixtures.h"

#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>
#include <set>
#include <thread>

namespace {

std::string Clean(const char* path) {
  return U8(XPath::CleanPath(X(path), false, nullptr, true, true));
}

}  // namespace

TEST(XPathTest, PathPartsSplitAtTheLastSeparatorAndDot) {
  // A backslash is an ordinary character of a Linux name.
  EXPECT_EQ(Joined({XPath::FolderOf(u"/music/a b/x.flac"), XPath::FolderOf(u"x.flac"),
                    XPath::FolderOf(u"/"), XPath::FileNameOf(u"/music/a b/x.flac"),
                    XPath::FileNameOf(u"x.flac"), XPath::FileNameOf(u"/music/"),
                    XPath::FileNameOf(u"/a/b\\c")}),
            "/music/a b/|x.flac|/|x.flac|x.flac||b\\c");
  // The last dot counts wherever it stands; no extension is a lone dot.
  EXPECT_EQ(Joined({XPath::ExtensionOf(u"/m/song.flac"), XPath::ExtensionOf(u"/m/a.tar.gz"),
                    XPath::ExtensionOf(u"/m.d/song"), XPath::ExtensionOf(u"/m/song."),
                    XPath::ExtensionOf(u""), XPath::WithoutExtension(u"/m/song.flac"),
                    XPath::WithoutExtension(u"/m.d/song"), XPath::WithoutExtension(u"song"),
                    XPath::BaseNameOf(u"/m.d/song.flac"), XPath::BaseNameOf(u"/m.d/song")}),
            ".flac|.gz|.|.|.|/m/song|/m|song|song|song");
  EXPECT_EQ(Joined({XPath::EnsureSeparator(u""), XPath::EnsureSeparator(u"a"),
                    XPath::EnsureSeparator(u"a/"), XPath::TrimSeparators(u"a///"),
                    XPath::TrimSeparators(u"///"), XPath::AppendPath(u"a", u"//b"),
                    XPath::AppendPath(u"a/", u"b/c"), XPath::AppendPath(u"", u"b"),
                    XPath::QuotePath(u"a b")}),
            "/|a/|a/|a||a/b|a/b/c|/b|\"a b\"");
}

TEST(XPathTest, CleanPathRules) {
  const std::string a300(300, 'a'), a254(254, 'a');
  const std::pair<std::string, std::string> cases[] = {
      {"/m/a\"b>c<d?e:f", "/m/a'b\u00BBc\u00ABd\u00BFe;f"},
      {"/m/a\\b*c|d", "/m/a-b-c-d"},
      {"/m/a\001\036\037b", "/m/a__\037b"},
      // Reserved device names and trailing dots or blanks are fixed in folder components only.
      {"/m/NUL/x", "/m/NUL_/x"},
      {"/m/cOn. /x", "/m/cOn_/x"},
      {"/m/aux.txt/x", "/m/aux.txt/x"},
      {"/m/album.. /x", "/m/album/x"},
      {"/m/..hidden/..x", "/m/hidden/x"},
      {"/m/song  ", "/m/song"},
      // A leading "./" or "../" stays, so a relative path never becomes one from the root.
      {"/m//a///b/", "/m/a/b"},
      {"./a", "./a"},
      {"../../a", "../../a"},
      {"/a/./b/c ./d", "/a/b/c/d"},
      // Long names are cut, keeping a file's extension.
      {"/m/" + a300 + ".flac", "/m/" + std::string(249, 'a') + ".flac"},
      {"/m/" + a300 + "/x", "/m/" + a254 + "/x"},
      {"/m/" + a254, "/m/" + a254},
  };
  for (const auto& [path, cleaned] : cases) EXPECT_EQ(Clean(path.c_str()), cleaned) << path;
  EXPECT_EQ(U8(XPath::CleanPath(u"/m/a/b", false, nullptr, false, true)), "/m-a-b");
  EXPECT_EQ(U8(XPath::CleanPath(u"/m/a/b", false, nullptr, false, false)), "-m-a-b");
  const char16_t map[] = {u'.', u'_', u'#', u'*', 0};
  EXPECT_EQ(U8(XPath::CleanPath(u"/m/a.b#c.flac", false, map, true, true)), "/m/a_bc.flac");
}

TEST(XPathTest, CleanPathShortensLongPathsToBelow260) {
  std::string folder = "/m/" + std::string(200, 'f') + "/";
  std::string path = folder + std::string(80, 'n') + ".flac";
  std::string shortened = U8(XPath::CleanPath(X(path), true, nullptr, true, true));
  // A long name goes first, down to 60 characters, then the deepest folder.
  EXPECT_EQ(shortened, "/m/" + std::string(190, 'f') + "/" + std::string(60, 'n') + ".flac");
  // A name at the root is shortened down to one character and no further.
  std::string atRoot = "/" + std::string(300, 'n') + ".flac";
  EXPECT_EQ(U8(XPath::CleanPath(X(atRoot), true, nullptr, true, true)),
            "/" + std::string(249, 'n') + ".flac");
}

TEST(XPathTest, EscapeTagValueRules) {
  const struct {
    const char16_t *key, *value;
    bool encode, keepBreaks;
    const char* result;
  } cases[] = {
      // Single-value keys keep their breaks as markers.
      {u"Title", u"a\r\nb\nc", true, true, "a{CR}{LF}b{LF}c"},
      {u"TITLE", u"a{CR}{LF}b{LF}c", false, true, "a\r\nb\nc"},
      {u"Unsynced Lyrics", u"a\nb", true, true, "a{LF}b"},
      // Without keepBreaks every line end becomes one carriage return.
      {u"comment", u"a\r\nb\nc", true, false, "a\rb\rc"},
      {u"comment", u"a{LF}", false, false, "a{LF}"},
      // Other keys separate their values.
      {u"artist", u"a\rb", true, true, "a; b"},
      {u"artist", u"a\nb", true, false, "a\rb"},
      {u"artist", u"a; b", false, true, "a\rb"},
      {u"title", u"a; b", false, true, "a; b"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(U8(XPath::EscapeTagValue(c.key, c.value, c.encode, c.keepBreaks)), c.result)
        << U8(c.key);
}

TEST(XPathTest, ErrorGuidAndRecycleTexts) {
  XSetLastError(0);
  EXPECT_EQ(U8(XPath::LastErrorTextOrEmpty()), "");
  XSetLastError(1223);
  EXPECT_EQ(U8(XPath::LastErrorTextOrEmpty()), "(Win:1223)");
  std::string a = U8(XPath::NewGuidText());
  ASSERT_EQ(a.size(), 32u);
  EXPECT_EQ(a.find_first_not_of("0123456789ABCDEF"), std::string::npos);
  EXPECT_NE(a, U8(XPath::NewGuidText()));
  EXPECT_EQ(
      (Ints{XPath::IsRecycleFolder(u"/s/$recycle.bin"), XPath::IsRecycleFolder(u"/s/@eaDir/x")}),
      (Ints{1, 0}));
}

// File system operations, each in a folder of its own.

TEST(XPathTest, ExistsAttributesAndSize) {
  ScratchFolder dir;
  dir.WriteFile("f", "12345");
  XString f = X(dir / "f"), missing = X(dir / "missing");
  // 0 for nothing there, 1 for a file, 2 for a folder.
  auto kind = [](const XString& path) {
    bool isFolder = true;
    return XPath::Exists(path, &isFolder) ? 1 + isFolder : 0;
  };
  EXPECT_EQ(
      (Ints{kind(f), kind(dir.Path()), kind(u"/"), kind(missing), XPath::Exists(u"", nullptr)}),
      (Ints{1, 2, 2, 0, 0}));
  // The read-only bit, or -1 when the attributes could not be read.
  auto readOnly = [](const XString& path) {
    bool failed = true;
    uint32_t attributes = XPath::GetAttributes(path, &failed);
    return failed ? -1 : (attributes & XAttrReadOnly ? 1 : 0);
  };
  ASSERT_TRUE(XPath::SetAttributes(f, XAttrReadOnly, 0));
  EXPECT_EQ(readOnly(f), 1);
  ASSERT_TRUE(XPath::SetAttributes(f, 0, XAttrReadOnly));
  EXPECT_EQ((Ints{readOnly(f), readOnly(missing), XPath::SetAttributes(missing, XAttrReadOnly, 0)}),
            (Ints{0, -1, 0}));
  bool failed = false;
  EXPECT_EQ(XPath::SizeOf(dir.Path(), &failed), 0u);
  EXPECT_TRUE(failed);
}

TEST(XPathTest, DeleteMoveAndCopyRules) {
  ScratchFolder dir;
  auto at = [&](const char* name) { return X(dir / name); };
  dir.WriteFile("ro");
  dir.WriteFile("a", "new");
  dir.WriteFile("b", "old");
  ASSERT_TRUE(XPath::SetAttributes(at("ro"), XAttrReadOnly, 0));
  EXPECT_EQ(FailedWith(XPath::DeleteFile(at("ro"))), 0u);  // read-only is no protection
  EXPECT_EQ(FailedWith(XPath::Move(at("a"), at("b"), false)), XErrAlreadyExists);
  EXPECT_EQ(FailedWith(XPath::Move(at("a"), at("b"), true)), 0u);
  EXPECT_FALSE(dir.Has("a"));
  EXPECT_EQ(XPath::SizeOf(at("b")), 3u);
  EXPECT_EQ(FailedWith(XPath::Move(at("a"), at("c"), false)), XErrFileNotFound);
  EXPECT_EQ(FailedWith(XPath::Copy(at("b"), at("ro"), false)), 0u);
  EXPECT_EQ(FailedWith(XPath::Copy(at("ro"), at("b"), true)), XErrFileExists);
  EXPECT_EQ(XPath::SizeOf(at("ro")), 3u);
  // Onto another file system the file is copied and its source removed.
  const std::string away = "/dev/shm/tvpath-" + std::to_string(getpid());
  ASSERT_TRUE(XPath::Move(at("b"), X(away), false));
  EXPECT_FALSE(dir.Has("b"));
  EXPECT_EQ(XPath::SizeOf(X(away)), 3u);
  std::filesystem::remove(away);
}

TEST(XPathTest, AHeldFileIsNotDeletedOrMovedAndMoveWithRetryWaitsForItsRelease) {
  ScratchFolder dir;
  dir.WriteFile("src");
  XString src = X(dir / "src"), dst = X(dir / "dst");
  XFile file;
  ASSERT_TRUE(file.Open(src, XFileMode::Read, 3, false, false));
  EXPECT_EQ(FailedWith(XPath::DeleteFile(src)), XErrSharingViolation);
  EXPECT_EQ(FailedWith(XPath::Move(src, dst, true)), XErrSharingViolation);
  EXPECT_EQ(FailedWith(XPath::MoveWithRetry(src, dst, true, 30, nullptr)), XErrTimeout);
  XEvent cancel;
  cancel.Set();
  EXPECT_EQ(FailedWith(XPath::MoveWithRetry(src, dst, true, 60000, &cancel)), XErrCancelled);
  EXPECT_TRUE(dir.Has("src"));
  std::thread release([&file] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    file.Close();
  });
  bool moved =
      XPath::MoveWithRetry(src, dst, true, 60000, nullptr);  // goes once the file is let go
  release.join();
  EXPECT_TRUE(moved);
  EXPECT_TRUE(dir.Has("dst"));
}

TEST(XPathTest, ResolvedPathsAndSameFileSeeThroughSpellingsAndLinks) {
  ScratchFolder dir;
  dir.WriteFile("d/f");
  std::filesystem::create_directory_symlink(dir / "d", dir / "ln");
  std::filesystem::create_symlink(dir / "d/f", dir / "fl");
  std::filesystem::create_hard_link(dir / "d/f", dir / "hard");
  const std::string real = std::filesystem::canonical(dir.Folder()).string();
  const struct {
    std::string path, resolved;
  } rows[] = {
      {dir / "ln/./f", real + "/d/f"},
      {std::filesystem::relative(dir / "ln/f").string(), real + "/d/f"},
      {dir / "ln/x/../y/f", real + "/d/x/../y/f"},  // folders still missing stay as written
      {dir / "fl", real + "/fl"},                   // the name itself is not followed
      {"/tvtest-none", "/tvtest-none"},
  };
  for (const auto& row : rows) EXPECT_EQ(U8(XPath::ResolvedPath(X(row.path))), row.resolved);
  auto same = [&](const char* first, const char* second) {
    return int64_t(XPath::SameFile(X(dir / first), X(dir / second)));
  };
  EXPECT_EQ((Ints{same("d/f", "ln/f"), same("d/f", "fl"), same("d/f", "hard"), same("d/f", "d/g"),
                  same("ln/new", "d/new"), same("d/new", "d/old")}),
            (Ints{1, 1, 1, 0, 1, 0}));
}

TEST(XPathTest, CreateFoldersMakesDeepAndRelativePathsAndAcceptsExistingOnes) {
  ScratchFolder dir;
  XString deep = X(dir / "a b/\u00E9t\u00E9/\U0001F3B5/d/e/");
  EXPECT_TRUE(XPath::CreateFolders(deep));
  EXPECT_TRUE(XPath::CreateFolders(deep));
  bool isFolder = false;
  EXPECT_TRUE(XPath::Exists(deep, &isFolder));
  EXPECT_TRUE(isFolder);
  EXPECT_FALSE(XPath::CreateFolders(u""));
  dir.WriteFile("file");
  EXPECT_EQ(FailedWith(XPath::CreateFolders(X(dir / "file/sub"))), XErrPathNotFound);
}

TEST(XPathTest, DeleteFolderContentsFollowsPatternAndRecursionButNotLinks) {
  ScratchFolder dir;
  for (const char* name : {"t/a.tmp", "t/b.flac", "t/sub/c.tmp", "t/sub/d.flac", "keep/precious"})
    dir.WriteFile(name);
  ASSERT_EQ(symlink((dir / "keep").c_str(), (dir / "t/link").c_str()), 0);
  EXPECT_TRUE(XPath::DeleteFolderContents(X(dir / "t"), false, u"*.TMP", false));
  EXPECT_FALSE(dir.Has("t/a.tmp"));
  EXPECT_TRUE(dir.Has("t/b.flac"));
  EXPECT_TRUE(dir.Has("t/sub/c.tmp"));
  EXPECT_TRUE(XPath::DeleteFolderContents(X(dir / "t/"), false, u"*.*", false));
  EXPECT_FALSE(dir.Has("t/b.flac"));
  EXPECT_TRUE(dir.Has("t/sub/d.flac"));
  EXPECT_TRUE(XPath::DeleteFolderContents(X(dir / "t"), true, u"*.*", true));
  EXPECT_FALSE(dir.Has("t"));
  EXPECT_TRUE(dir.Has("keep/precious"));  // a linked folder goes, not what it holds
  EXPECT_FALSE(XPath::DeleteFolderContents(u"/a", true, u"*.*", true));
}

namespace {

// A small tree with names that only survive a correct UTF-8 round trip.
const char* const treeFiles[] = {"a b/\"quoted\" 'x'.flac", "a b/\u00E9t\u00E9/\u00FC.txt",
                                 "\U0001F3B5/song \U0001F600.mp3", ".hidden", "top"};

void WriteTree(const ScratchFolder& dir, const std::string& under) {
  for (const char* f : treeFiles) dir.WriteFile(under + f, f);
}

}  // namespace

TEST(XPathTest, CopyFolderCopiesATreeWithUnusualNames) {
  ScratchFolder dir;
  WriteTree(dir, "src/");
  EXPECT_TRUE(XPath::CopyFolder(X(dir / "src"), X(dir / "dst/new")));
  for (const char* f : treeFiles) {
    EXPECT_TRUE(dir.Has(std::string("src/") + f)) << f;
    EXPECT_TRUE(dir.Has(std::string("dst/new/") + f)) << f;
    EXPECT_EQ(XPath::SizeOf(X(dir / ("dst/new/" + std::string(f)))), strlen(f)) << f;
  }
  EXPECT_FALSE(XPath::CopyFolder(X(dir / "missing"), X(dir / "dst2")));
  EXPECT_EQ(XGetLastError(), XErrPathNotFound);
}

TEST(XPathTest, MoveFolderMovesATreeAndRemovesTheSource) {
  ScratchFolder dir;
  WriteTree(dir, "src/");
  EXPECT_TRUE(XPath::MoveFolder(X(dir / "src/"), X(dir / "dst/")));
  EXPECT_FALSE(dir.Has("src"));
  for (const char* f : treeFiles) EXPECT_TRUE(dir.Has(std::string("dst/") + f)) << f;
}

// Special folders, read from a home and a configuration folder made by the test.

namespace {

struct FakeHome {
  ScratchFolder dir;
  std::string home = dir / "home";
  ScopedEnv homeEnv{"HOME", home.c_str()};
  ScopedEnv configEnv{"XDG_CONFIG_HOME", nullptr};
  ScopedEnv dataEnv{"XDG_DATA_HOME", nullptr};
  std::string tmp = dir / "tmp";
  ScopedEnv tmpEnv{"TMPDIR", tmp.c_str()};

  // The text with the home folder written "H" and the temporary one "T", to keep tables short.
  std::string Short(std::string text) const {
    for (auto [long_, short_] : {std::pair{home, "H"}, {tmp, "T"}})
      for (size_t at; (at = text.find(long_)) != std::string::npos;)
        text.replace(at, long_.size(), short_);
    return text;
  }
};

}  // namespace

TEST(XPathTest, SpecialFoldersDefaultBelowHomeOrGiveTheFallback) {
  FakeHome fake;
  EXPECT_EQ(
      fake.Short(Joined({XPath::SpecialFolder(XFolderDocuments), XPath::SpecialFolder(XFolderMusic),
                         XPath::SpecialFolder(XFolderPictures), XPath::SpecialFolder(XFolderVideo),
                         XPath::SpecialFolder(XFolderDesktop), XPath::SpecialFolder(XFolderAppData),
                         XPath::SpecialFolder(XFolderTemp)})),
      "H/Documents/|H/Music/|H/Pictures/|H/Videos/|H/Desktop/|H/.local/share/|T/");
  // Folders without a Linux counterpart.
  EXPECT_EQ(Joined({XPath::SpecialFolder(XFolderWindows), XPath::SpecialFolder(XFolderSystem, u""),
                    XPath::SpecialFolder(XFolderCommonFiles, u"/fb")}),
            "C:\\Error/||/fb/");
}

TEST(XPathTest, FriendlyPathsNameTheSpecialFolderAndComeBack) {
  FakeHome fake;
  XString real = X(fake.home + "/Music/Album/a.flac");
  XString friendly = XPath::FriendlyPath(real, true);
  EXPECT_EQ(U8(friendly), "Music/Album/a.flac");
  EXPECT_EQ(U8(XPath::RealPath(friendly)), U8(real));
  EXPECT_EQ(U8(XPath::FriendlyPath(X(fake.home + "/Musical/a"), true)), fake.home + "/Musical/a");
  EXPECT_EQ(U8(XPath::FriendlyPath(X(fake.tmp + "/x"), true)), "[Temporary Folder]/x");
  EXPECT_EQ(U8(XPath::RealPath(u"Documents")), fake.home + "/Documents");
  XStringList paths, names;
  XPath::SpecialFolderNames(paths, names);
  EXPECT_EQ(Listed(names).substr(0, 9) + U8(paths[0]), "10:Music|" + fake.home + "/Music/");
}
