// Tests of the whole-file helpers: files to and from memory, lines by their mark, shifting.

#include "foundation/XBuffer.h"
#include "foundation/XFile.h"
#include "tests/foundation/Fixtures.h"

class XFileWholeTest : public XFileTestFolder {};

TEST_F(XFileWholeTest, WholeFileRoundTripsAcrossBlocks) {
  std::string data(600001, '\0');
  for (size_t i = 0; i < data.size(); ++i) data[i] = char(i * 7 + i / 251);
  EXPECT_TRUE(XFileWhole::WriteAllBytes(Path("f"), data.data(), uint32_t(data.size())));
  EXPECT_EQ(Get("f"), data);
  XBuffer buffer;
  ASSERT_TRUE(XFileWhole::ReadAllBytes(Path("f"), buffer));
  ASSERT_EQ(buffer.length, data.size());
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data), buffer.length), data);
  EXPECT_TRUE(XFileWhole::WriteAllBytes(Path("e"), nullptr, 0));
  ASSERT_TRUE(XFileWhole::ReadAllBytesWithRetry(Path("e"), buffer));
  EXPECT_EQ(buffer.length, 0u);
  EXPECT_FALSE(XFileWhole::ReadAllBytes(Path("missing"), buffer));
  EXPECT_EQ(XGetLastError(), XErrFileNotFound);
}

TEST_F(XFileWholeTest, WriteAllBytesSafelyReplacesWithoutLeftovers) {
  Put("f", "old contents");
  EXPECT_TRUE(XFileWhole::WriteAllBytesSafely(Path("f"), "new", 3));
  EXPECT_EQ(Get("f"), "new");
  auto entries = std::distance(std::filesystem::directory_iterator(folder),
                               std::filesystem::directory_iterator());
  EXPECT_EQ(entries, 1);
}

TEST_F(XFileWholeTest, ReadAllLinesChoosesTheEncodingByMark) {
  std::u16string wide = u"\uFEFFeins\r\nzw\u00F6lf\r\n";
  Put("w", std::string(reinterpret_cast<const char*>(wide.data()), wide.size() * 2));
  XStringList list;
  ASSERT_TRUE(XFileWhole::ReadAllLines(Path("w"), list));
  EXPECT_EQ(Listed(list), "2:eins|zw\u00F6lf");
  Put("u",
      "\xEF\xBB\xBF"
      "a\r\n\xC3\xB6\n");
  ASSERT_TRUE(XFileWhole::ReadAllLines(Path("u"), list));
  ASSERT_EQ(list.count, 2);
  EXPECT_EQ(list[1], XString(u"\u00F6"));
  EXPECT_FALSE(XFileWhole::ReadAllLines(Path("missing"), list));
  EXPECT_EQ(list.count, 0);
}

TEST_F(XFileWholeTest, ShiftContentsMovesTheTailBothWays) {
  std::string data(200000, '\0');
  for (size_t i = 0; i < data.size(); ++i) data[i] = char('a' + i % 26);
  Put("f", data);
  XFile file;
  ASSERT_TRUE(file.OpenReadWrite(Path("f")));
  ASSERT_TRUE(XFileWhole::ShiftContents(file, 10, 70000, true));
  file.Close();
  std::string grown = Get("f");
  EXPECT_EQ(grown, data.substr(0, 10) + std::string(70000, '\0') + data.substr(10));
  ASSERT_TRUE(file.OpenReadWrite(Path("f")));
  ASSERT_TRUE(XFileWhole::ShiftContents(file, 70010, -70000, false));
  EXPECT_FALSE(XFileWhole::ShiftContents(file, 5, -6, false));
  EXPECT_FALSE(XFileWhole::ShiftContents(file, 200001, 1, false));
  file.Close();
  EXPECT_EQ(Get("f"), data);
}
