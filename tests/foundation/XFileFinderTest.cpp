// Folder enumeration by wildcard, the entries it fills in, and single entry look-up.
#include "foundation/XFileFinder.h"

#include "foundation/XPath.h"
#include "tests/foundation/Fixtures.h"

#include <unistd.h>
#include <set>

namespace {

std::set<std::string> Names(XFileFinder& finder) {
  std::set<std::string> names;
  while (finder.Next()) names.insert(U8(finder.data.name));
  return names;
}

std::set<std::string> Find(const ScratchFolder& dir, const char16_t* pattern,
                           bool foldersOnly = false) {
  XFileFinder finder(dir.Path(), pattern, foldersOnly);
  return Names(finder);
}

}  // namespace

TEST(XFileFinderTest, WildcardsMatchIgnoringAsciiCase) {
  const std::pair<const char16_t*, const char16_t*> matches[] = {
      {u"*.flac", u"A.FLAC"}, {u"*", u""},
      {u"a?c", u"abc"},       {u"*.rewrite.tmp", u"x.p12.rewrite.tmp"},
      {u"a*b*c", u"aXbYbZc"}, {u"\u00E9*", u"\u00E9t\u00E9"}};
  // Letters outside ASCII compare exactly.
  const std::pair<const char16_t*, const char16_t*> misses[] = {
      {u"a?c", u"ac"}, {u"*.tmp", u"x.tmp.bak"}, {u"", u"a"}, {u"\u00C9*", u"\u00E9t\u00E9"}};
  for (auto [pattern, name] : matches) EXPECT_TRUE(WildcardMatch(pattern, name)) << U8(pattern);
  for (auto [pattern, name] : misses) EXPECT_FALSE(WildcardMatch(pattern, name)) << U8(pattern);
}

TEST(XFileFinderTest, FindsMatchingEntriesAndNeverTheDotNames) {
  ScratchFolder dir;
  for (const char* name : {"a.flac", "B.FLAC", "c.mp3", "noext", ".hidden", "sub/inner.flac"})
    dir.WriteFile(name);
  EXPECT_EQ(Find(dir, u"*.flac"), (std::set<std::string>{"a.flac", "B.FLAC"}));
  EXPECT_EQ(Find(dir, u"*.*"),
            (std::set<std::string>{"a.flac", "B.FLAC", "c.mp3", "noext", ".hidden", "sub"}));
  EXPECT_EQ(Find(dir, u"noext.*"), (std::set<std::string>{"noext"}));
  EXPECT_EQ(Find(dir, u"*", true), (std::set<std::string>{"sub"}));
  XFileFinder hidden(X(dir / ".hidden"));
  ASSERT_TRUE(hidden.Next());
  EXPECT_EQ(hidden.data.attributes, XAttrHidden);
}

TEST(XFileFinderTest, FillsFullPathSizeAttributesAndTimes) {
  ScratchFolder dir;
  dir.WriteFile("f.txt", "12345");
  dir.WriteFile("sub/x");
  XFileFinder finder(X(dir.Utf8().substr(0, dir.Utf8().size() - 1)), u"*");
  int seen = 0;
  while (finder.Next()) {
    ++seen;
    EXPECT_EQ(U8(finder.fullPath), dir / U8(finder.data.name));
    EXPECT_NE(finder.data.lastWriteTime, 0u);
    if (finder.IsFolder()) {
      EXPECT_EQ(U8(finder.Name()), "sub");
    } else {
      EXPECT_EQ(finder.data.size, 5u);
      EXPECT_EQ(finder.data.attributes, XAttrNormal);
    }
  }
  EXPECT_EQ(seen, 2);
}

TEST(XFileFinderTest, LooksUpOneEntryByPath) {
  ScratchFolder dir;
  dir.WriteFile("sub/x");
  XFileFinder folder(X(dir / "sub///"));
  ASSERT_TRUE(folder.Next());
  EXPECT_TRUE(folder.IsFolder());
  EXPECT_EQ(U8(folder.data.name), "sub");
}

TEST(XFileFinderTest, TellsAMissingFolderFromAnEmptyMatch) {
  ScratchFolder dir;
  XFileFinder missing(X(dir / "nowhere"), u"*"), none(dir.Path(), u"*.flac"),
      entry(X(dir / "nothing")), empty(u"");
  EXPECT_EQ(FailedWith(missing.Next()), XErrPathNotFound);
  EXPECT_EQ(FailedWith(none.Next()), XErrFileNotFound);
  EXPECT_EQ(FailedWith(entry.Next()), XErrFileNotFound);
  EXPECT_FALSE(empty.Next());
}

TEST(XFileFinderTest, ReportsLinksWithWhatTheyPointAt) {
  ScratchFolder dir;
  dir.WriteFile("target/x");
  ASSERT_EQ(symlink((dir / "target").c_str(), (dir / "link").c_str()), 0);
  ASSERT_EQ(symlink((dir / "gone").c_str(), (dir / "dangling").c_str()), 0);
  XFileFinder link(X(dir / "link"));
  ASSERT_TRUE(link.Next());
  EXPECT_EQ(link.data.attributes, XAttrFolder | XAttrLink);
  XFileFinder dangling(X(dir / "dangling"));
  ASSERT_TRUE(dangling.Next());
  EXPECT_FALSE(dangling.IsFolder());
  EXPECT_TRUE(dangling.data.attributes & XAttrLink);
}
