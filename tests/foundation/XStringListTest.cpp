// The string list: ownership, search, splitting, joining, the flat form and sorting.
#include "foundation/XStringList.h"

#include "foundation/XBuffer.h"

#include "tests/foundation/Fixtures.h"

using Texts = std::vector<std::u16string>;

TEST(XStringListTest, AddInsertAndRemoveFollowTheArrayRules) {
  XString s(u"moved");
  s.SetTag(3);
  XStringList list;
  list.Add(u"b", 7);
  list.Add(XString(u"d"));
  list.AddMove(s);
  list.Add(static_cast<const char16_t*>(nullptr));
  EXPECT_TRUE(s.IsEmpty());
  EXPECT_EQ((Ints{list[0].Tag(), list[1].Tag(), list[2].Tag()}), (Ints{7, 0, 3}));
  list.InsertAt(0, u"a");
  list.InsertAt(2, u"c");
  list.InsertAt(-1, u"e");
  list.InsertAt(99, u"f");
  EXPECT_EQ(Listed(list), "8:a|b|c|d|moved||e|f");
  list.RemoveAt(-1);
  list.RemoveAt(8);
  list.RemoveAt(7);
  list.RemoveAt(0);
  EXPECT_EQ(Listed(list), "6:b|c|d|moved||e");
  list.Clear();
  EXPECT_EQ(Listed(list), "0:");
}

TEST(XStringListTest, IndexOfFindsTheFirstMatch) {
  XStringList list = ListOf({u"Alpha", u"beta", u"alpha", u"", u"\u00e9t\u00e9"});
  EXPECT_EQ(
      (Ints{list.IndexOf(u"alpha", true), list.IndexOf(u"alpha", false),
            list.IndexOf(u"ALPHA", false), list.IndexOf(u"alph", true), list.IndexOf(u"", true),
            list.IndexOf(u"\u00c9T\u00c9", true), list.IndexOf(u"\u00e9T\u00e9", true)}),
      (Ints{0, 2, -1, -1, 3, -1, 4}));
}

TEST(XStringListTest, AddAllWithoutDuplicatesAddsOneOfTwoEqual) {
  XStringList source = ListOf({u"same", u"same", u"Same", u"other"});
  source[3].SetTag(9);
  XStringList exact, folded = ListOf({u"OTHER"}), all;
  exact.AddAll(source, false, false);
  folded.AddAll(source, false, true);
  all.AddAll(source, true, false);
  EXPECT_EQ(Listed(exact), "3:same|Same|other");
  EXPECT_EQ(exact[2].Tag(), 9u);
  EXPECT_EQ(Listed(folded) + " " + Listed(all), "2:OTHER|same 4:same|same|Same|other");
}

TEST(XStringListTest, AssignmentCopiesAndEqualsComparesExactly) {
  XStringList source = ListOf({u"x", u"y"});
  source[1].SetTag(5);
  XStringList target = ListOf({u"old"});
  target = source;
  source[0] = u"changed";
  target = target;
  EXPECT_EQ(Listed(target), "2:x|y");
  EXPECT_EQ(target[1].Tag(), 5u);
  EXPECT_TRUE(ListOf({u"a", u"b"}).Equals(ListOf({u"a", u"b"})));
  for (const Texts& other : {Texts{u"a"}, Texts{u"a", u"B"}, Texts{u"a", u"bb"}})
    EXPECT_FALSE(ListOf({u"a", u"b"}).Equals(ListOf(other)));
}

TEST(XStringListTest, JoinAndQuoting) {
  XStringList list = ListOf({u"a", u"", u"c"});
  EXPECT_EQ(Joined({list.Join(u", "), list.Join(u""), list.Join(nullptr), XStringList().Join(u","),
                    ListOf({u"only"}).Join(u",")}),
            "a, , c|ac|||only");
  EXPECT_EQ(
      Joined({QuoteIfNeeded(u"-a=b c"), QuoteIfNeeded(u"-a=-b=c d"), QuoteIfNeeded(u"-a=b"),
              QuoteIfNeeded(u"-a b"), QuoteIfNeeded(u"x=y z"), QuoteIfNeeded(u"-a=\"b c\""),
              QuoteIfNeeded(u""), QuoteIfNeeded(u" "),
              QuoteIfNeeded(static_cast<const char16_t*>(nullptr)), Quoted(u""), Quoted(u"a\"b")}),
      "-a=\"b c\"|-a=-b=\"c d\"|-a=b|\"-a b\"|\"x=y z\"|-a=\"b c\"||\" \"||\"\"|\"a\"b\"");
}

// Splitting at a given separator keeps empty fields.
TEST(XStringListTest, SplitForms) {
  const struct {
    void (XStringList::*split)(const char16_t*);
    const char16_t* text;
    const char* items;
    const char16_t* separator = nullptr;
  } cases[] = {
      {&XStringList::SplitLines, u"a\r\nb\n\nc\rd\n", "4:a|b||c\rd"},
      {&XStringList::SplitLines, u"", "0:"},
      {&XStringList::SplitLines, nullptr, "0:"},
      {&XStringList::SplitAtCr, u"a\r\n\n\rb", "3:a||b"},
      {&XStringList::SplitAtCr, u"a\nb", "1:a\nb"},
      {&XStringList::SplitAtCr, u"\r\r\n", "2:|"},
      {&XStringList::SplitArgs, u"  a \"b c\" \"\" d\"e f\"g  ", "4:a|b c||de fg"},
      {&XStringList::SplitArgs, u"\"unterminated x", "1:unterminated x"},
      {&XStringList::SplitArgs, u"   ", "0:"},
      {nullptr, u"a,,b,", "4:a||b|", u","},
      {nullptr, u"a::b:c::", "3:a|b:c|", u"::"},
      {nullptr, u"", "1:", u","},
      {nullptr, u",", "2:|", u","},
      {nullptr, u"a,b", "0:", u""},
      {nullptr, nullptr, "0:", u","},
  };
  for (const auto& c : cases) {
    XStringList list = ListOf({u"old"});
    c.split ? (list.*c.split)(c.text) : list.Split(c.text, c.separator);
    EXPECT_EQ(Listed(list), c.items) << (c.text ? U8(c.text) : "null");
  }
}

TEST(XStringListTest, MultiStringBytes) {
  const struct {
    Texts items;
    int wide;
    std::string bytes;
  } cases[] = {
      {{}, 1, std::string(4, '\0')},
      {{u""}, 7, std::string("[Empty]\0\0", 9)},
      {{u"ab", u""}, 0, std::string("a\0b\0\0\0[\0E\0m\0p\0t\0y\0]\0\0\0\0\0", 24)},
      // "\u00e9" is one unit but two UTF-8 bytes; its slot holds one byte.
      {{u"\u00e9x"}, 2, std::string("\xC3\xA9\0\0", 4)},
  };
  for (const auto& c : cases) {
    XBuffer buffer;
    ASSERT_TRUE(ListOf(c.items).ToMultiString(buffer, c.wide));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.data), buffer.size), c.bytes);
  }
}

TEST(XStringListTest, FromMultiStringStopsAtADoubleZeroOrTheSize) {
  const char16_t data[] = u"a\0b\0\0c\0";
  const char16_t bars[] = u"a|b||c\0d|e";
  const char16_t units[] = {u'a', u'b', 0, u'c', u'd', u'e'};
  const char narrow[] = "x;y;[Empty];z";
  const struct {
    const void* data;
    size_t size;
    int wide;
    char16_t separator;
    bool all;
    const char* items;
  } cases[] = {
      {data, sizeof(data), 1, 0, false, "2:a|b"},
      {data, sizeof(data), 1, 0, true, "3:a|b|c"},
      {bars, sizeof(bars), 0, u'|', true, "4:a|b|c|d|e"},
      {narrow, sizeof(narrow) - 1, 3, u';', false, "4:x|y||z"},
      {units, 5 * sizeof(char16_t), 1, 0, false, "2:ab|cd"},
      {units, 11, 1, 0, false, "2:ab|cd"},  // an odd last byte is no unit
  };
  for (const auto& c : cases) {
    XStringList list = ListOf({u"old"});
    list.FromMultiString(c.data, uint32_t(c.size), c.wide, c.separator, c.all);
    EXPECT_EQ(Listed(list), c.items);
  }
}

TEST(XStringListTest, SortHandlesSmallUniformAndNaturalLists) {
  XStringList empty, one = ListOf({u"x"}), backwards, tracks;
  empty.Sort(false);
  one.Sort(true);
  XStringList mixed = ListOf({u"b", u"_", u"A", u"c"});
  mixed.Sort(true);
  EXPECT_EQ(Listed(empty) + Listed(one) + Listed(mixed), "0:1:x4:_|A|b|c");
  for (int i = 2000; i > 0; --i) backwards.Add(XString::Formatted(u"%05d", i));
  backwards.Sort(false);
  EXPECT_EQ(Joined({backwards[0], backwards[1], backwards[1999]}), "00001|00002|02000");
  for (int i = 0; i < 30; ++i) tracks.Add(XString::Formatted(u"track %d.flac", (i * 7) % 30 + 1));
  tracks.SortNatural();
  ASSERT_EQ(tracks.Count(), 30);
  for (int i = 0; i < 30; ++i) EXPECT_EQ(tracks[i], XString::Formatted(u"track %d.flac", i + 1));
}
