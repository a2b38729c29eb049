// Temporary files and folders: made new and unique, deleted with their owner.
#include "foundation/XTempFile.h"

#include "foundation/XPath.h"
#include "tests/foundation/Fixtures.h"

#include <sys/stat.h>

namespace {

bool ExistsOnDisk(const XString& path) {
  struct stat st {};
  return lstat(path.ToUtf8String().c_str(), &st) == 0;
}

// Points the temporary folder at a scratch folder for the life of the test.
struct TempHere {
  ScratchFolder dir;
  ScopedEnv tmp{"TMPDIR", dir.Utf8().c_str()};
};

}  // namespace

TEST(XTempFileTest, NamesTheFileFromPrefixAndSuffixAndDeletesItWithItsOwner) {
  TempHere here;
  XString path;
  {
    XTempFile file("DSP", ".raw");
    path = file.Path();
    ASSERT_FALSE(file.IsEmpty());
    std::string name = U8(path);
    EXPECT_EQ(name.substr(0, here.dir.Utf8().size() + 4), here.dir / "DSP-");
    EXPECT_EQ(name.substr(name.size() - 4), ".raw");
  }
  EXPECT_FALSE(ExistsOnDisk(path));
}

TEST(XTempFileTest, MakesAMissingTemporaryFolderOrGivesUpWithAnError) {
  ScratchFolder dir;
  dir.WriteFile("plain");
  std::string deep = dir / "not/yet", underFile = dir / "plain/sub";
  ScopedEnv tmp("TMPDIR", deep.c_str());
  XTempFile file("T");
  ASSERT_FALSE(file.IsEmpty());
  EXPECT_EQ(U8(XPath::FolderOf(file.Path())), deep + "/");
  EXPECT_TRUE(ExistsOnDisk(file.Path()));
  ScopedEnv blocked("TMPDIR", underFile.c_str());
  XTempFile none("T");
  EXPECT_EQ(FailedWith(!none.IsEmpty()), XErrPathNotFound);
}

TEST(XTempFileTest, DetachKeepsTheFileAndAssignTakesOneOver) {
  TempHere here;
  XString kept;
  {
    XTempFile file("K");
    kept = file.Detach();
    EXPECT_TRUE(file.IsEmpty());
  }
  EXPECT_TRUE(ExistsOnDisk(kept));
  {
    XTempFile owner;
    owner.Assign(kept);
    EXPECT_EQ(U8(owner.Path()), U8(kept));
    XSetLastError(XErrDiskFull);
  }
  EXPECT_FALSE(ExistsOnDisk(kept));
  EXPECT_EQ(XGetLastError(), XErrDiskFull);  // dropping keeps the caller's last error
}

TEST(XTempFileTest, FolderIsMadeAndRemovedWithItsContents) {
  TempHere here;
  XString path;
  {
    XTempFolder folder("F");
    path = folder.Path();
    ASSERT_FALSE(folder.IsEmpty());
    EXPECT_EQ(U8(path).back(), '/');
    EXPECT_TRUE(XPath::CreateFolders(XPath::AppendPath(path, u"a/b")));
    here.dir.WriteFile(U8(XPath::FileNameOf(XPath::TrimSeparators(path))) + "/a/b/\U0001F3B5.flac");
  }
  EXPECT_FALSE(ExistsOnDisk(path));
}
