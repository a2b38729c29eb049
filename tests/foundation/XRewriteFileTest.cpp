// Tests of XRewriteFile: working names, commit and abandon, and the purge of leftovers.
#include "foundation/XRewriteFile.h"

#include <unistd.h>

#include "tests/foundation/Fixtures.h"

class XRewriteFileTest : public XFileTestFolder {
 protected:
  std::string Working(int n) {
    std::string name = "t.p" + std::to_string(getpid());
    if (n > 0) name += "." + std::to_string(n);
    return name + ".rewrite.tmp";
  }
};

TEST_F(XRewriteFileTest, CommitReplacesTheTargetOnlyAtFinish) {
  Put("t", "old");
  XRewriteFile file;
  ASSERT_TRUE(file.OpenRewrite(Path("t")));
  EXPECT_EQ(file.path.ToUtf8String(), Native(Working(0).c_str()));
  EXPECT_TRUE(file.Write("new", 3));
  EXPECT_EQ(Get("t"), "old");
  file.commit = true;
  EXPECT_TRUE(file.Finish());
  EXPECT_EQ(Get("t"), "new");
  EXPECT_FALSE(Exists(Working(0).c_str()));
}

TEST_F(XRewriteFileTest, TakenWorkingNameMovesOnToTheNext) {
  Put(Working(0).c_str(), "someone else's");
  XRewriteFile file;
  ASSERT_TRUE(file.OpenRewrite(Path("t")));
  EXPECT_EQ(file.path.ToUtf8String(), Native(Working(1).c_str()));
  EXPECT_EQ(Get(Working(0).c_str()), "someone else's");
}

TEST_F(XRewriteFileTest, WithoutCommitOrFolderTheWorkIsThrownAway) {
  Put("t", "old");
  {
    XRewriteFile file;
    ASSERT_TRUE(file.OpenRewrite(Path("t")));
    EXPECT_TRUE(file.Write("new", 3));
    EXPECT_FALSE(file.Finish());
  }
  EXPECT_EQ(Get("t"), "old");
  EXPECT_FALSE(Exists(Working(0).c_str()));
  XRewriteFile file;
  EXPECT_FALSE(file.OpenRewrite(Path("no/such/t")));
  EXPECT_FALSE(file.IsOpen());
}

TEST_F(XRewriteFileTest, PurgeDeletesOnlyWorkingFiles) {
  for (const char* name : {"a.rewrite.tmp", "b.REWRITE.TMP", "c.rewrite.tmp.keep", "d.txt"})
    Put(name, "x");
  PurgeRewriteFiles(XString::FromUtf8(folder));
  EXPECT_EQ((Ints{Exists("a.rewrite.tmp"), Exists("b.REWRITE.TMP"), Exists("c.rewrite.tmp.keep"),
                  Exists("d.txt")}),
            (Ints{0, 0, 1, 1}));
}
