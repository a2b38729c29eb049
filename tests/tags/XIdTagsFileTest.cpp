// The idtags file: a whole tag block read from disk, and the files that give no tags.
#include "tags/XIdTagsFile.h"

#include <gtest/gtest.h>

#include "foundation/XBuffer.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tags/TagTestSupport.h"

TEST(XIdTagsFileTest, ReadsTheWholeBlockAndNothingFromEmptyOrMissingFiles) {
  ScratchFolder folder;
  XTagList written;
  written.Add(u"Artist", u"\u00c9mile");
  written.AddData(u"_albumart_1_Media", "\0\1\2", 3);
  XBuffer block;
  ASSERT_TRUE(written.ToBlock(block));
  std::string bytes(reinterpret_cast<const char*>(block.data), block.size);
  folder.WriteFile("tags.bin", bytes);
  folder.WriteFile("empty.bin", "");
  const std::pair<const char*, std::string> cases[] = {
      {"tags.bin", Describe(written, true)}, {"empty.bin", ""}, {"missing.bin", ""}, {"", ""}};
  for (const auto& [name, expected] : cases) {
    XTagList read;
    read.Add(u"stale", u"x");
    EXPECT_EQ(LoadIdTagsFile(folder.Path() + X(name), read), !expected.empty()) << name;
    EXPECT_EQ(Describe(read, true), expected) << name;
  }
  XBuffer read;
  EXPECT_TRUE(ReadIdTagsFile(folder.Path() + u"tags.bin", read));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(read.data), read.size), bytes);
  EXPECT_FALSE(ReadIdTagsFile(folder.Path() + u"empty.bin", read));
  EXPECT_EQ(read.size, 0u);
}
