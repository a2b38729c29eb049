// The idtags file: a whole tag block read from disk, and the files that give no tags.
#include <gtest/gtest.h>

#include "foundation/XBuffer.h"
#include "tags/XIdTagsFile.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tags/TagTestSupport.h"

namespace {

std::string BlockText(const XTagList& list) {
  XBuffer block;
  EXPECT_TRUE(list.ToBlock(block));
  return std::string(reinterpret_cast<const char*>(block.data), block.size);
}

}  // namespace

TEST(XIdTagsFileTest, ReadsTheWholeBlockIntoTheList) {
  ScratchFolder folder;
  XTagList written;
  written.Add(u"Artist", u"\u00c9mile");
  written.AddData(u"_albumart_1_Media", "\0\1\2", 3);
  folder.WriteFile("tags.bin", BlockText(written));
  XTagList read;
  read.Add(u"stale", u"x");
  EXPECT_TRUE(LoadIdTagsFile(folder.Path() + u"tags.bin", read));
  EXPECT_TRUE(SameItems(read, written)) << Describe(read);
  XBuffer bytes;
  EXPECT_TRUE(ReadIdTagsFile(folder.Path() + u"tags.bin", bytes));
  EXPECT_EQ(bytes.size, uint32_t(BlockText(written).size()));
}

TEST(XIdTagsFileTest, MissingOrEmptyFileGivesNoTags) {
  ScratchFolder folder;
  folder.WriteFile("empty.bin", "");
  XTagList list;
  list.Add(u"stale", u"x");
  XBuffer bytes;
  bytes.AssignData("old", 3);
  EXPECT_FALSE(ReadIdTagsFile(folder.Path() + u"empty.bin", bytes));
  EXPECT_EQ(bytes.size, 0u);
  EXPECT_FALSE(LoadIdTagsFile(folder.Path() + u"missing.bin", list));
  EXPECT_EQ(list.Count(), 0);
  EXPECT_FALSE(LoadIdTagsFile(folder.Path(), list));
}

TEST(XIdTagsFileTest, TruncatedFileGivesTheItemsBeforeTheCut) {
  ScratchFolder folder;
  XTagList written;
  written.Add(u"Artist", u"A");
  written.Add(u"Title", u"T");
  std::string block = BlockText(written);
  folder.WriteFile("cut.bin", block.substr(0, block.size() - 1));
  XTagList read;
  EXPECT_TRUE(LoadIdTagsFile(folder.Path() + u"cut.bin", read));
  EXPECT_EQ(Describe(read), "Artist=A");
}
