// The string list: ownership, search, splitting, joining, the flat form and sorting.
#include "foundation/XStringList.h"

#include "foundation/XBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

std::vector<std::u16string> Items(const XStringList& list) {
  std::vector<std::u16string> out;
  for (int32_t i = 0; i < list.Count(); ++i) out.emplace_back(list[i].View());
  return out;
}

using Texts = std::vector<std::u16string>;

XStringList ListOf(const Texts& texts) {
  XStringList list;
  for (const auto& t : texts) list.Add(t.c_str());
  return list;
}

// ASCII-only lowering, written apart from the code under test.
std::u16string Lowered(std::u16string s) {
  for (auto& c : s)
    if (c >= u'A' && c <= u'Z') c = char16_t(c + 32);
  return s;
}

}  // namespace

TEST(XStringListTest, AddKeepsTextAndTag) {
  XStringList list;
  list.Add(u"one", 7);
  list.Add(XString(u"two"));
  list.Add(static_cast<const char16_t*>(nullptr));
  EXPECT_EQ(Items(list), (Texts{u"one", u"two", u""}));
  EXPECT_EQ(list[0].Tag(), 7u);
  EXPECT_EQ(list[1].Tag(), 0u);
}

TEST(XStringListTest, AddMoveTakesOverTheString) {
  XString s(u"moved");
  s.SetTag(3);
  XStringList list;
  list.AddMove(s);
  EXPECT_TRUE(s.IsEmpty());
  EXPECT_EQ(list[0], u"moved");
  EXPECT_EQ(list[0].Tag(), 3u);
}

TEST(XStringListTest, InsertAtAndRemoveAtFollowTheArrayRules) {
  XStringList list = ListOf({u"b", u"d"});
  list.InsertAt(0, u"a");
  list.InsertAt(2, u"c");
  list.InsertAt(-1, u"e");
  list.InsertAt(99, u"f");
  EXPECT_EQ(Items(list), (Texts{u"a", u"b", u"c", u"d", u"e", u"f"}));
  list.RemoveAt(-1);
  list.RemoveAt(6);
  EXPECT_EQ(list.Count(), 6);
  list.RemoveAt(5);
  list.RemoveAt(0);
  EXPECT_EQ(Items(list), (Texts{u"b", u"c", u"d", u"e"}));
}

TEST(XStringListTest, SeventeenItemsLeaveTheInlineStoreAndClearReturnsToIt) {
  XStringList list;
  for (int i = 0; i < 16; ++i) list.Add(u"x");
  EXPECT_TRUE(list.IsInline());
  list.Add(u"y");
  EXPECT_FALSE(list.IsInline());
  EXPECT_EQ(list.capacity, 48);
  list.Clear();
  EXPECT_TRUE(list.IsInline());
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(list.capacity, 16);
  EXPECT_EQ(list.growStep, 32);
}

TEST(XStringListTest, IndexOfFindsTheFirstMatch) {
  XStringList list = ListOf({u"Alpha", u"beta", u"alpha", u""});
  EXPECT_EQ(list.IndexOf(u"alpha", true), 0);
  EXPECT_EQ(list.IndexOf(u"alpha", false), 2);
  EXPECT_EQ(list.IndexOf(u"ALPHA", false), -1);
  EXPECT_EQ(list.IndexOf(u"alph", true), -1);
  EXPECT_EQ(list.IndexOf(u"", true), 3);
  EXPECT_TRUE(list.Contains(u"BETA"));
  EXPECT_FALSE(list.Contains(u"BETA", false));
  int32_t at = 42;
  EXPECT_TRUE(list.Find(u"beta", false, &at));
  EXPECT_EQ(at, 1);
  EXPECT_FALSE(list.Find(u"gamma", true, &at));
  EXPECT_EQ(at, -1);
  EXPECT_TRUE(list.Find(u"beta", true, nullptr));
}

TEST(XStringListTest, IndexOfIgnoresOnlyAsciiCase) {
  XStringList list = ListOf({u"\u00e9t\u00e9"});
  EXPECT_EQ(list.IndexOf(u"\u00c9T\u00c9", true), -1);
  EXPECT_EQ(list.IndexOf(u"\u00e9T\u00e9", true), 0);
}

TEST(XStringListTest, AddAllWithoutDuplicatesAddsOneOfTwoEqual) {
  XStringList source = ListOf({u"same", u"same", u"Same", u"other"});
  source[3].SetTag(9);
  XStringList exact;
  exact.AddAll(source, false, false);
  EXPECT_EQ(Items(exact), (Texts{u"same", u"Same", u"other"}));
  EXPECT_EQ(exact[2].Tag(), 9u);
  XStringList folded = ListOf({u"OTHER"});
  folded.AddAll(source, false, true);
  EXPECT_EQ(Items(folded), (Texts{u"OTHER", u"same"}));
  XStringList all;
  all.AddAll(source, true, false);
  EXPECT_EQ(all.Count(), 4);
}

TEST(XStringListTest, AddAllOntoItself) {
  XStringList list = ListOf({u"a", u"b"});
  list.AddAll(list, true, false);
  EXPECT_EQ(Items(list), (Texts{u"a", u"b", u"a", u"b"}));
  list.AddAll(list, false, false);
  EXPECT_EQ(list.Count(), 4);
}

TEST(XStringListTest, AssignmentCopiesStringsAndTags) {
  XStringList source = ListOf({u"x", u"y"});
  source[1].SetTag(5);
  XStringList target = ListOf({u"old"});
  target = source;
  source[0] = u"changed";
  EXPECT_EQ(Items(target), (Texts{u"x", u"y"}));
  EXPECT_EQ(target[1].Tag(), 5u);
  target = target;
  EXPECT_EQ(target.Count(), 2);
}

TEST(XStringListTest, EqualsComparesExactly) {
  EXPECT_TRUE(ListOf({u"a", u"b"}).Equals(ListOf({u"a", u"b"})));
  EXPECT_TRUE(XStringList().Equals(XStringList()));
  EXPECT_FALSE(ListOf({u"a", u"b"}).Equals(ListOf({u"a"})));
  EXPECT_FALSE(ListOf({u"a", u"b"}).Equals(ListOf({u"a", u"B"})));
  EXPECT_FALSE(ListOf({u"a", u"b"}).Equals(ListOf({u"a", u"bb"})));
}

TEST(XStringListTest, JoinPutsTheSeparatorBetween) {
  XStringList list = ListOf({u"a", u"", u"c"});
  EXPECT_EQ(list.Join(u", "), u"a, , c");
  EXPECT_EQ(list.Join(u""), u"ac");
  EXPECT_TRUE(list.Join(nullptr).IsEmpty());
  EXPECT_TRUE(XStringList().Join(u",").IsEmpty());
  EXPECT_EQ(ListOf({u"only"}).Join(u","), u"only");
}

TEST(XStringListTest, ToCommandTextQuotesWhereNeeded) {
  XStringList list = ListOf({u"plain", u"two words", u"-out=a b", u"say \"hi\" now", u""});
  EXPECT_EQ(list.ToCommandText(), u"plain \"two words\" -out=\"a b\" say \"hi\" now ");
}

TEST(XStringListTest, QuoteIfNeededTreatsEachOptionPrefix) {
  EXPECT_EQ(QuoteIfNeeded(u"-a=b c"), u"-a=\"b c\"");
  EXPECT_EQ(QuoteIfNeeded(u"-a=-b=c d"), u"-a=-b=\"c d\"");
  EXPECT_EQ(QuoteIfNeeded(u"-a=b"), u"-a=b");
  EXPECT_EQ(QuoteIfNeeded(u"-a b"), u"\"-a b\"");
  EXPECT_EQ(QuoteIfNeeded(u"x=y z"), u"\"x=y z\"");
  EXPECT_EQ(QuoteIfNeeded(u"-a=\"b c\""), u"-a=\"b c\"");
  EXPECT_EQ(QuoteIfNeeded(u""), u"");
  EXPECT_EQ(QuoteIfNeeded(u" "), u"\" \"");
  EXPECT_TRUE(QuoteIfNeeded(static_cast<const char16_t*>(nullptr)).IsEmpty());
  EXPECT_EQ(Quoted(u""), u"\"\"");
  EXPECT_EQ(Quoted(u"a\"b"), u"\"a\"b\"");
}

TEST(XStringListTest, QuoteIfNeededOnALongChainOfPrefixes) {
  std::u16string chain;
  for (int i = 0; i < 200000; ++i) chain += u"-=";
  XString quoted = QuoteIfNeeded((chain + u"a b").c_str());
  EXPECT_EQ(std::u16string(quoted.View()), chain + u"\"a b\"");
}

TEST(XStringListTest, SplitKeepsEmptyFields) {
  XStringList list;
  list.Split(u"a,,b,", u",");
  EXPECT_EQ(Items(list), (Texts{u"a", u"", u"b", u""}));
  list.Split(u"a::b:c::", u"::");
  EXPECT_EQ(Items(list), (Texts{u"a", u"b:c", u""}));
  list.Split(u"a:", u"::");
  EXPECT_EQ(Items(list), (Texts{u"a:"}));
  list.Split(u"", u",");
  EXPECT_EQ(Items(list), (Texts{u""}));
  list.Split(u",", u",");
  EXPECT_EQ(Items(list), (Texts{u"", u""}));
}

TEST(XStringListTest, SplitWithoutSeparatorOrTextGivesNothing) {
  XStringList list = ListOf({u"old"});
  list.Split(u"a,b", u"");
  EXPECT_EQ(list.Count(), 0);
  list.Add(u"old");
  list.Split(u"a,b", nullptr);
  EXPECT_EQ(list.Count(), 0);
  list.Add(u"old");
  list.Split(nullptr, u",");
  EXPECT_EQ(list.Count(), 0);
}

TEST(XStringListTest, SplitLinesDropsTheCarriageReturnBeforeALineFeed) {
  XStringList list;
  list.SplitLines(u"a\r\nb\n\nc\rd\n");
  EXPECT_EQ(Items(list), (Texts{u"a", u"b", u"", u"c\rd"}));
  list.SplitLines(u"x\ny");
  EXPECT_EQ(Items(list), (Texts{u"x", u"y"}));
  list.SplitLines(u"\r\n");
  EXPECT_EQ(Items(list), (Texts{u""}));
  list.SplitLines(u"");
  EXPECT_EQ(list.Count(), 0);
  list.SplitLines(nullptr);
  EXPECT_EQ(list.Count(), 0);
}

TEST(XStringListTest, SplitAtCrSkipsLineFeedRuns) {
  XStringList list;
  list.SplitAtCr(u"a\r\n\n\rb");
  EXPECT_EQ(Items(list), (Texts{u"a", u"", u"b"}));
  list.SplitAtCr(u"a\r");
  EXPECT_EQ(Items(list), (Texts{u"a"}));
  list.SplitAtCr(u"a\nb");
  EXPECT_EQ(Items(list), (Texts{u"a\nb"}));
  list.SplitAtCr(u"\r\r\n");
  EXPECT_EQ(Items(list), (Texts{u"", u""}));
  list.SplitAtCr(u"");
  EXPECT_EQ(list.Count(), 0);
}

TEST(XStringListTest, SplitArgsGroupsQuotedBlanks) {
  XStringList list;
  list.SplitArgs(u"  a \"b c\" \"\" d\"e f\"g  ");
  EXPECT_EQ(Items(list), (Texts{u"a", u"b c", u"", u"de fg"}));
  list.SplitArgs(u"\"unterminated x");
  EXPECT_EQ(Items(list), (Texts{u"unterminated x"}));
  list.SplitArgs(u"\"\"\"\"");
  EXPECT_EQ(Items(list), (Texts{u""}));
  list.SplitArgs(u"   ");
  EXPECT_EQ(list.Count(), 0);
  list.SplitArgs(nullptr);
  EXPECT_EQ(list.Count(), 0);
}

TEST(XStringListTest, MultiStringOfAnEmptyListIsTwoZeros) {
  XBuffer wide;
  ASSERT_TRUE(XStringList().ToMultiString(wide, 1));
  ASSERT_EQ(wide.size, 4u);
  EXPECT_EQ(std::memcmp(wide.data, "\0\0\0\0", 4), 0);
  XBuffer narrow;
  ASSERT_TRUE(XStringList().ToMultiString(narrow, 2));
  ASSERT_EQ(narrow.size, 2u);
  EXPECT_EQ(std::memcmp(narrow.data, "\0\0", 2), 0);
}

TEST(XStringListTest, MultiStringWritesEmptyItemsAsAMarker) {
  XBuffer narrow;
  ASSERT_TRUE(ListOf({u""}).ToMultiString(narrow, 7));
  ASSERT_EQ(narrow.size, 9u);
  EXPECT_EQ(std::memcmp(narrow.data, "[Empty]\0\0", 9), 0);
  XBuffer wide;
  ASSERT_TRUE(ListOf({u"ab", u""}).ToMultiString(wide, 0));
  const char16_t expected[] = u"ab\0[Empty]\0";  // plus the literal's own terminator
  ASSERT_EQ(wide.size, sizeof(expected));
  EXPECT_EQ(std::memcmp(wide.data, expected, sizeof(expected)), 0);
}

TEST(XStringListTest, MultiStringRoundTrips) {
  XStringList list = ListOf({u"first", u"", u"with blank", u"\u00fcml\u00e4ut", u"", u"last"});
  for (int wide : {0, 1}) {
    XBuffer buffer;
    ASSERT_TRUE(list.ToMultiString(buffer, wide));
    XStringList back;
    back.FromMultiString(buffer.data, buffer.size, wide);
    EXPECT_TRUE(back.Equals(list)) << wide;
  }
  XStringList ascii = ListOf({u"a", u"", u"b c"});
  XBuffer narrow;
  ASSERT_TRUE(ascii.ToMultiString(narrow, 8));
  XStringList back;
  back.FromMultiString(narrow.data, narrow.size, 8);
  EXPECT_TRUE(back.Equals(ascii));
}

TEST(XStringListTest, NarrowMultiStringCutsLongerNarrowForms) {
  // "\u00e9" is one unit but two UTF-8 bytes; its slot holds one byte.
  XBuffer narrow;
  ASSERT_TRUE(ListOf({u"\u00e9x"}).ToMultiString(narrow, 2));
  ASSERT_EQ(narrow.size, 4u);
  EXPECT_EQ(std::memcmp(narrow.data, "\xC3\xA9\0\0", 4), 0);
}

TEST(XStringListTest, FromMultiStringStopsAtADoubleZero) {
  const char16_t data[] = u"a\0b\0\0c\0";
  XStringList list = ListOf({u"old"});
  list.FromMultiString(data, sizeof(data), 1);
  EXPECT_EQ(Items(list), (Texts{u"a", u"b"}));
  list.FromMultiString(data, sizeof(data), 1, 0, true);
  EXPECT_EQ(Items(list), (Texts{u"a", u"b", u"c"}));
  const char16_t zeros[] = u"\0\0\0";
  list.FromMultiString(zeros, sizeof(zeros), 1, 0, true);
  EXPECT_EQ(list.Count(), 0);
}

TEST(XStringListTest, FromMultiStringReadsASeparatorAsTerminator) {
  const char16_t data[] = u"a|b||c\0d|e";
  XStringList list;
  list.FromMultiString(data, sizeof(data), 0, u'|');
  EXPECT_EQ(Items(list), (Texts{u"a", u"b"}));
  list.FromMultiString(data, sizeof(data), 0, u'|', true);
  EXPECT_EQ(Items(list), (Texts{u"a", u"b", u"c", u"d|e"}));
  const char narrow[] = "x;y;[Empty];z";
  list.FromMultiString(narrow, sizeof(narrow) - 1, 3, u';');
  EXPECT_EQ(Items(list), (Texts{u"x", u"y", u"", u"z"}));
}

TEST(XStringListTest, FromMultiStringStaysInsideTheGivenSize) {
  const char16_t data[] = {u'a', u'b', 0, u'c', u'd', u'e'};
  XStringList list;
  list.FromMultiString(data, 5 * sizeof(char16_t), 1);
  EXPECT_EQ(Items(list), (Texts{u"ab", u"cd"}));
  list.FromMultiString(data, 11, 1);  // an odd last byte is no unit
  EXPECT_EQ(Items(list), (Texts{u"ab", u"cd"}));
  list.FromMultiString(data, 0, 1);
  EXPECT_EQ(list.Count(), 0);
  list.FromMultiString(nullptr, 100, 1);
  EXPECT_EQ(list.Count(), 0);
  const char bytes[] = {'p', 'q'};
  list.FromMultiString(bytes, 2, 5);
  EXPECT_EQ(Items(list), (Texts{u"pq"}));
}

TEST(XStringListTest, SortOrdersManyItemsWithAndWithoutCase) {
  std::mt19937 random(1234);
  Texts texts;
  for (int i = 0; i < 500; ++i) {
    std::u16string s;
    int length = int(random() % 6);
    for (int k = 0; k < length; ++k) s += u"aAbB_zZ09\u00e9"[random() % 10];
    texts.push_back(s);
  }
  for (bool ignoreCase : {false, true}) {
    XStringList list = ListOf(texts);
    list.Sort(ignoreCase);
    Texts sorted = Items(list);
    Texts expected = texts;
    std::sort(expected.begin(), expected.end(), [&](const auto& a, const auto& b) {
      return ignoreCase ? Lowered(a) < Lowered(b) : a < b;
    });
    if (ignoreCase) {
      // Strings that differ only in case may come in any order: compare folded.
      for (auto& s : sorted) s = Lowered(s);
      for (auto& s : expected) s = Lowered(s);
    }
    EXPECT_EQ(sorted, expected) << ignoreCase;
  }
}

TEST(XStringListTest, SortHandlesSmallAndUniformLists) {
  XStringList empty;
  empty.Sort(false);
  EXPECT_EQ(empty.Count(), 0);
  XStringList one = ListOf({u"x"});
  one.Sort(true);
  EXPECT_EQ(Items(one), (Texts{u"x"}));
  XStringList same;
  for (int i = 0; i < 1000; ++i) same.Add(u"s");
  same.Sort(false);
  EXPECT_EQ(same.Count(), 1000);
  XStringList backwards;
  for (int i = 2000; i > 0; --i) backwards.Add(XString::Formatted(u"%05d", i));
  backwards.Sort(false);
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(backwards[i].ToInt64(), i + 1);
}

TEST(XStringListTest, SortNaturalOrdersNumbersByValue) {
  Texts names;
  for (int i = 0; i < 30; ++i)
    names.push_back(u"track " + std::u16string(XString::FromInt64((i * 7) % 30 + 1).View()) +
                    u".flac");
  XStringList list = ListOf(names);
  list.SortNatural();
  ASSERT_EQ(list.Count(), 30);
  for (int i = 0; i < 30; ++i) EXPECT_EQ(list[i], u"track " + XString::FromInt64(i + 1) + u".flac");
}
