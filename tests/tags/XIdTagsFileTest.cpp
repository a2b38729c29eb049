// The idtags file: a whole tag block read from disk, and the files that give no tags.
#include "tags/XIdTagsFile.h"

#include <gtest/gtest.h>

#include "foundation/XBuffer.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tags/TagTestSupport.h"

TEST(XIdTagsFileTest, ReadsTheWholeBlockAndNothingFromEmptyOrMissingFiles) {
  ScratchFolder folder;
  XTagList written, read;
  written.Add(u"Artist", u"\u00c9mile");
  written.AddData(u"_albumart_1_Media", "\0\1\2", 3);
  XBuffer block;
  ASSERT_TRUE(written.ToBlock(block));
  folder.WriteFile("tags.bin", std::string(reinterpret_cast<const char*>(block.data), block.size));
  folder.WriteFile("empty.bin", "");
  EXPECT_TRUE(LoadIdTagsFile(folder.Path() + u"tags.bin", read));
  EXPECT_EQ(Describe(read, true), Describe(written, true));
  for (const char16_t* name : {u"empty.bin", u"missing.bin", u""}) {
    EXPECT_FALSE(LoadIdTagsFile(folder.Path() + name, read)) << U8(name);
    EXPECT_EQ(read.Count(), 0);
    EXPECT_FALSE(ReadIdTagsFile(folder.Path() + name, block));
    EXPECT_EQ(block.size, 0u);
  }
}
