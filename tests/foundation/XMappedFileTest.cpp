// Tests of XMappedFile: the view, the empty file, and the exclusive hold.
#include "foundation/XMappedFile.h"

#include "tests/foundation/Fixtures.h"

class XMappedFileTest : public XFileTestFolder {};

TEST_F(XMappedFileTest, ViewHoldsTheWholeFileExcludesOthersAndIsAbsentForAnEmptyFile) {
  Put("f", "mapped bytes");
  XMappedFile file;
  ASSERT_TRUE(file.OpenMapped(Path("f")));
  ASSERT_NE(file.view, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(file.view), file.viewSize), "mapped bytes");
  XFile other;
  EXPECT_FALSE(other.OpenRead(Path("f")));
  EXPECT_EQ(XGetLastError(), XErrSharingViolation);
  file.CloseMapped();
  EXPECT_EQ(file.view, nullptr);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_TRUE(other.OpenRead(Path("f")));
  Put("e", "");
  ASSERT_TRUE(file.OpenMapped(Path("e")));  // an empty file has no view
  EXPECT_EQ(file.view, nullptr);
  EXPECT_EQ(file.viewSize, 0u);
  EXPECT_FALSE(file.OpenMapped(Path("missing")));
  EXPECT_EQ(XGetLastError(), XErrFileNotFound);
}
