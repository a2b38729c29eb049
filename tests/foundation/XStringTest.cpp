// XString: storage rules, positions, searching, changing, numbers, formatting and sort order.
#include "foundation/XString.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <string>

namespace {

XString FormatLadder(int first, int giveUp, const char16_t* fmt, ...) {
  XString result;
  va_list args;
  va_start(args, fmt);
  result.FormatLadderV(first, giveUp, fmt, args);
  va_end(args);
  return result;
}

}  // namespace

// Shows strings as UTF-8 in failure messages.
void PrintTo(const XString& s, std::ostream* os) { *os << '"' << s.ToUtf8String() << '"'; }

// --- Storage ---

TEST(XStringTest, EmptyStringsShareOneStaticUnit) {
  XString a, b;
  EXPECT_EQ(a.CStr(), XString::SharedEmpty());
  EXPECT_EQ(a.CStr(), b.CStr());
  EXPECT_EQ(a.Size(), 1);
  EXPECT_EQ(a.Length(), 0);
  EXPECT_EQ(a.Capacity(), 0);
  EXPECT_EQ(a.Tag(), 0u);
  a.Clear();
  EXPECT_EQ(a.CStr(), XString::SharedEmpty());
  a.Assign(u"xyz", 1);
  EXPECT_EQ(a.CStr(), XString::SharedEmpty());
  XString fromEmpty(u"");
  EXPECT_EQ(fromEmpty.CStr(), XString::SharedEmpty());
  XString copy(a);
  EXPECT_EQ(copy.CStr(), XString::SharedEmpty());
}

TEST(XStringTest, ClearAndEmptyAssignKeepTheOwnBuffer) {
  XString s(u"hello");
  const char16_t* buffer = s.CStr();
  int capacity = s.Capacity();
  s.SetTag(7);
  s.Assign(u"");
  EXPECT_EQ(s.CStr(), buffer);
  EXPECT_EQ(s.Capacity(), capacity);
  EXPECT_EQ(s.Size(), 1);
  EXPECT_EQ(s.Tag(), 7u);
  s = u"abc";
  s.Clear();
  EXPECT_EQ(s.CStr(), buffer);
  EXPECT_EQ(s, u"");
}

TEST(XStringTest, AssignCutsALongerSourceAndMeasuresOnZero) {
  XString s;
  s.Assign(u"abcdef", 4);
  EXPECT_EQ(s, u"abc");
  EXPECT_EQ(s.Size(), 4);
  s.Assign(u"xy", 0);
  EXPECT_EQ(s, u"xy");
  s.Assign(u"pq", XString::LastChar);
  EXPECT_EQ(s, u"pq");
  s.Assign(nullptr, 5);
  EXPECT_TRUE(s.IsEmpty());
  s = u"abcdef";
  s.Assign(s.CStr() + 2);  // a source inside the string itself
  EXPECT_EQ(s, u"cdef");
}

TEST(XStringTest, CopyCarriesTextAndTagButNotBuffers) {
  XString a(u"text");
  a.SetTag(42);
  XString b(a);
  EXPECT_EQ(b, u"text");
  EXPECT_EQ(b.Tag(), 42u);
  EXPECT_NE(a.CStr(), b.CStr());
  XString c;
  c = a;
  EXPECT_EQ(c.Tag(), 42u);
  c = c;
  EXPECT_EQ(c, u"text");
}

TEST(XStringTest, MoveTakesBufferAndLeavesSharedEmpty) {
  XString a(u"moved");
  a.SetTag(3);
  const char16_t* buffer = a.CStr();
  a.ToUtf8();
  XString b(std::move(a));
  EXPECT_EQ(b.CStr(), buffer);
  EXPECT_EQ(b.Tag(), 3u);
  EXPECT_EQ(a.CStr(), XString::SharedEmpty());
  EXPECT_EQ(a.Size(), 1);
  EXPECT_EQ(a.Tag(), 0u);
  EXPECT_EQ(a.Capacity(), 0);
  XString c(u"old");
  c = std::move(b);
  EXPECT_EQ(c.CStr(), buffer);
  EXPECT_EQ(c.Tag(), 3u);
  EXPECT_EQ(b.CStr(), XString::SharedEmpty());
}

TEST(XStringTest, ReleaseFreesAndPointsAtSharedEmpty) {
  XString s(u"abc");
  s.ToAnsi();
  s.Release();
  EXPECT_EQ(s.CStr(), XString::SharedEmpty());
  EXPECT_EQ(s.Capacity(), 0);
  s = u"again";
  EXPECT_EQ(s, u"again");
}

TEST(XStringTest, ConstructsFromAView) {
  std::u16string source(u"a\0b", 3);
  XString s(std::u16string_view(source).substr(0, 2));
  EXPECT_EQ(s.Size(), 3);
  EXPECT_EQ(s.CharAt(1), u'a');
  EXPECT_EQ(XString(std::u16string_view()).CStr(), XString::SharedEmpty());
}

TEST(XStringTest, ConstructsFromIntegers) {
  EXPECT_EQ(XString(int32_t(-42)), u"-42");
  EXPECT_EQ(XString(int64_t(1) << 40), u"1099511627776");
  EXPECT_EQ(XString::Concat(XString(u"ab"), u"cd"), u"abcd");
  EXPECT_EQ(XString(u"x") + u"y" + XString(u"z"), u"xyz");
  EXPECT_EQ(u"<" + XString(u"q"), u"<q");
}

// --- Reading ---

TEST(XStringTest, CharAtCountsFromOneAndUnderstandsLastChar) {
  XString s(u"abc");
  EXPECT_EQ(s.CharAt(0), 0);
  EXPECT_EQ(s.CharAt(1), u'a');
  EXPECT_EQ(s.CharAt(3), u'c');
  EXPECT_EQ(s.CharAt(4), 0);
  EXPECT_EQ(s.CharAt(-1), 0);
  EXPECT_EQ(s.CharAt(XString::LastChar), u'c');
  EXPECT_EQ(XString().CharAt(XString::LastChar), 0);
}

TEST(XStringTest, MidCutsAtTheEndAndRejectsBadStarts) {
  XString s(u"abcdef");
  EXPECT_EQ(s.Mid(2, 4), u"bcd");
  EXPECT_EQ(s.Mid(1, 6), u"abcdef");
  EXPECT_EQ(s.Mid(4, 100), u"def");
  EXPECT_EQ(s.Mid(6, 6), u"f");
  EXPECT_EQ(s.Mid(7, 9), u"");
  EXPECT_EQ(s.Mid(0, 3), u"");
  EXPECT_EQ(s.Mid(4, 3), u"");
  EXPECT_EQ(s.Mid(5, XString::LastChar), u"ef");
}

TEST(XStringTest, LeftRightAndFrom) {
  XString s(u"abcdef");
  EXPECT_EQ(s.Left(0), u"");
  EXPECT_EQ(s.Left(1), u"a");
  EXPECT_EQ(s.Left(6), u"abcdef");
  EXPECT_EQ(s.Left(7), u"abcdef");
  EXPECT_EQ(s.Right(0), u"");
  EXPECT_EQ(s.Right(1), u"f");
  EXPECT_EQ(s.Right(6), u"abcdef");
  EXPECT_EQ(s.Right(7), u"abcdef");
  EXPECT_EQ(s.Right(-1), u"");
  EXPECT_EQ(s.From(1), u"abcdef");
  EXPECT_EQ(s.From(6), u"f");
  EXPECT_EQ(s.From(7), u"");
}

TEST(XStringTest, CaseChangesOnlyAsciiLetters) {
  XString s(u"aZ_\u00e9\u00c9[`{@");
  EXPECT_EQ(s.ToUpper(), u"AZ_\u00e9\u00c9[`{@");
  EXPECT_EQ(s.ToLower(), u"az_\u00e9\u00c9[`{@");
}

// --- Comparison ---

TEST(XStringTest, CompareLimitsAndLengths) {
  EXPECT_EQ(XString::Compare(u"abc", u"abcd", 3, false), 0);
  EXPECT_EQ(XString::Compare(u"abc", u"abcd", 0, false), -1);
  EXPECT_EQ(XString::Compare(u"abcd", u"abc", 0, false), 1);
  EXPECT_EQ(XString::Compare(u"abc", u"abd"), -1);
  EXPECT_EQ(XString::Compare(u"abd", u"abc"), 1);
  EXPECT_EQ(XString::Compare(u"abc", u"abc"), 0);
  EXPECT_EQ(XString::Compare(u"", u"a"), -1);
  EXPECT_EQ(XString::Compare(u"", u""), 0);
  EXPECT_EQ(XString::Compare(nullptr, u""), 0);
  EXPECT_EQ(XString::Compare(u"a", nullptr), 1);
  EXPECT_EQ(XString::Compare(u"\uffff", u"a"), 1);  // unsigned units
}

TEST(XStringTest, CompareMinusOneIsAPrefixTestAgainstB) {
  EXPECT_EQ(XString::Compare(u"-outfile=x", u"-outfile", -1, false), 0);
  EXPECT_EQ(XString::Compare(u"-OUTFILE=x", u"-outfile", -1, true), 0);
  EXPECT_EQ(XString::Compare(u"-out", u"-outfile", -1, false), -1);
  EXPECT_EQ(XString::Compare(u"abc", u"", -1, false), 1);  // whole strings when b is empty
  EXPECT_EQ(XString::Compare(u"", u"", -1, false), 0);
}

TEST(XStringTest, IgnoreCaseFoldsAsciiDownOnly) {
  EXPECT_TRUE(XString::EqualsNoCase(u"ReplayGain", u"REPLAYGAIN"));
  EXPECT_FALSE(XString::EqualsNoCase(u"\u00c9", u"\u00e9"));
  EXPECT_EQ(XString::Compare(u"_", u"a", 0, true), -1);
  EXPECT_EQ(XString::Compare(u"_", u"A", 0, true), -1);
  EXPECT_EQ(XString::Compare(u"_", u"A", 0, false), 1);
  EXPECT_TRUE(XString::Equals(u"abX", u"ABy", 2, true));
  EXPECT_FALSE(XString::Equals(u"abX", u"ABy", 3, true));
}

TEST(XStringTest, SameTextAndOperatorsAreExact) {
  EXPECT_TRUE(XString::SameText(u"a", u"a"));
  EXPECT_FALSE(XString::SameText(u"a", u"A"));
  EXPECT_FALSE(XString::SameText(u"a", u"ab"));
  EXPECT_TRUE(XString::SameText(nullptr, u""));
  XString s(u"Key");
  EXPECT_TRUE(s == u"Key");
  EXPECT_TRUE(s != u"key");
  EXPECT_TRUE(s == XString(u"Key"));
  EXPECT_TRUE(XString(u"a") < XString(u"b"));
  EXPECT_FALSE(XString(u"b") < XString(u"a"));
  EXPECT_EQ(std::hash<XString>()(s), std::hash<XString>()(XString(u"Key")));
}

// --- Search ---

TEST(XStringTest, FindRangeAndEmptyNeedle) {
  XString s(u"abcde");
  EXPECT_EQ(s.Find(u"", 3), 3);
  EXPECT_EQ(XString(u"ab").Find(u"", 3), 0);
  EXPECT_EQ(s.Find(u"cd"), 3);
  EXPECT_EQ(s.Find(u"cd", 3), 3);
  EXPECT_EQ(s.Find(u"cd", 4), 0);
  EXPECT_EQ(s.Find(u"de", 5), 0);
  EXPECT_EQ(s.Find(u"e", 5), 5);
  EXPECT_EQ(s.Find(u"e", 6), 0);
  EXPECT_EQ(s.Find(u"a", 0), 0);
  EXPECT_EQ(s.Find(u"abcdef"), 0);
  EXPECT_EQ(XString().Find(u""), 0);
}

TEST(XStringTest, FindIgnoringCaseIsAsciiOnly) {
  XString s(u"Hello \u00c9WORLD");
  EXPECT_EQ(s.Find(u"world", 1, true), 8);
  EXPECT_EQ(s.Find(u"world"), 0);
  EXPECT_EQ(s.Find(u"\u00e9world", 1, true), 0);
  EXPECT_EQ(s.Find(u"\u00c9world", 1, true), 7);
}

TEST(XStringTest, FindCharAndFindLast) {
  XString s(u"a.b.c");
  EXPECT_EQ(s.FindChar(u'.'), 2);
  EXPECT_EQ(s.FindChar(u'.', 3), 4);
  EXPECT_EQ(s.FindChar(u'x'), 0);
  EXPECT_EQ(s.FindChar(0, 2), 2);
  EXPECT_EQ(s.FindChar(0, 6), 0);
  EXPECT_EQ(s.FindLast(u"."), 4);
  EXPECT_EQ(s.FindLast(u"B", true), 3);
  EXPECT_EQ(s.FindLast(u"x"), 0);
  EXPECT_EQ(XString(u"aaa").FindLast(u"aa"), 2);
}

TEST(XStringTest, ReverseFindCharScansDown) {
  XString s(u"a/b/c");
  EXPECT_EQ(s.ReverseFindChar(u'/'), 4);
  EXPECT_EQ(s.ReverseFindChar(u'/', 3), 2);
  EXPECT_EQ(s.ReverseFindChar(u'a', 1), 1);
  EXPECT_EQ(s.ReverseFindChar(u'/', 1), 0);
  EXPECT_EQ(s.ReverseFindChar(u'/', 0), 0);
  EXPECT_EQ(s.ReverseFindChar(u'/', 6), 0);
  EXPECT_EQ(s.ReverseFindChar(u'c', 5), 5);
  EXPECT_EQ(XString().ReverseFindChar(u'/'), 0);
}

TEST(XStringTest, EndsWith) {
  XString s(u"song.FLAC");
  EXPECT_TRUE(s.EndsWith(u".FLAC"));
  EXPECT_FALSE(s.EndsWith(u".flac"));
  EXPECT_TRUE(s.EndsWith(u".flac", true));
  EXPECT_TRUE(s.EndsWith(u"song.FLAC"));
  EXPECT_FALSE(s.EndsWith(u"xsong.FLAC"));
  EXPECT_TRUE(s.EndsWith(u""));
  EXPECT_FALSE(s.EndsWith(nullptr));
}

// --- Changing ---

TEST(XStringTest, AppendingGrowsWithItsOwnSpareRoom) {
  XString s;
  EXPECT_EQ(s += u"abc", 4);
  EXPECT_EQ(s.Capacity(), 4 + 25);
  XString t;
  t.Append(u"abcdef");
  EXPECT_EQ(t.Capacity(), 7 + 7 / 3);
  t.Append(u"");
  t.Append(static_cast<const char16_t*>(nullptr));
  EXPECT_EQ(t, u"abcdef");
  t.AppendChar(u'g');
  t.AppendChar(0);
  EXPECT_EQ(t, u"abcdefg");
  t.Append(t);  // appending itself
  EXPECT_EQ(t, u"abcdefgabcdefg");
}

TEST(XStringTest, AppendUniqueAddsOnlyADifferentLastUnit) {
  XString s(u"path");
  s.AppendUnique(u'/');
  s.AppendUnique(u'/');
  EXPECT_EQ(s, u"path/");
  XString e;
  e.AppendUnique(0);
  EXPECT_EQ(e.Size(), 1);
  e.AppendUnique(u'/');
  EXPECT_EQ(e, u"/");
}

TEST(XStringTest, InsertAtEveryValidPlace) {
  XString s(u"ac");
  s.InsertChar(u'b', 2);
  EXPECT_EQ(s, u"abc");
  s.InsertChar(u'<', 1);
  EXPECT_EQ(s, u"<abc");
  s.InsertChar(u'>', s.Size());
  EXPECT_EQ(s, u"<abc>");
  s.InsertChar(u'!', XString::LastChar);
  EXPECT_EQ(s, u"<abc>!");
  s.InsertChar(u'?', 0);
  s.InsertChar(u'?', s.Size() + 1);
  EXPECT_EQ(s, u"<abc>!");
  s.Insert(u"XY", 2);
  EXPECT_EQ(s, u"<XYabc>!");
  s.Insert(u"", 2);
  s.Insert(nullptr, 2);
  EXPECT_EQ(s, u"<XYabc>!");
  XString e;
  e.InsertChar(u'a', 0);
  EXPECT_EQ(e.Size(), 1);
  EXPECT_GE(e.Capacity(), 32);  // the room is made even when nothing is inserted
}

TEST(XStringTest, RemoveAtReturnsTheUnit) {
  XString s(u"abc");
  EXPECT_EQ(s.RemoveAt(0), 0);
  EXPECT_EQ(s.RemoveAt(4), 0);
  EXPECT_EQ(s.RemoveAt(XString::LastChar), u'c');
  EXPECT_EQ(s.RemoveAt(1), u'a');
  EXPECT_EQ(s, u"b");
  EXPECT_EQ(s.RemoveAt(1), u'b');
  EXPECT_TRUE(s.IsEmpty());
}

TEST(XStringTest, RemoveInsideTheString) {
  XString s(u"abcdef");
  s.Remove(2, 3);
  EXPECT_EQ(s, u"adef");
  s.Remove(0, 2);
  s.Remove(5, 5);
  s.Remove(3, 2);
  EXPECT_EQ(s, u"adef");
  s.Remove(4, 4);
  EXPECT_EQ(s, u"ade");
  s.Remove(1, 3);
  EXPECT_TRUE(s.IsEmpty());
}

TEST(XStringTest, RemovePastTheEndSubtractsTheWholeCount) {
  XString s(u"abcdef");
  s.Remove(3, 100);
  EXPECT_TRUE(s.IsEmpty());
  XString t(u"abcdef");
  t.Remove(4, 7);  // four units asked, three there: one more goes from the front part
  EXPECT_EQ(t, u"ab");
}

TEST(XStringTest, ChopLeftAndRight) {
  XString s(u"abcdef");
  s.ChopLeft(0);
  s.ChopRight(0);
  EXPECT_EQ(s, u"abcdef");
  s.ChopLeft(2);
  EXPECT_EQ(s, u"cdef");
  s.ChopRight(1);
  EXPECT_EQ(s, u"cde");
  s.ChopRight(10);
  EXPECT_TRUE(s.IsEmpty());
  XString t(u"abc");
  t.ChopLeft(3);
  EXPECT_TRUE(t.IsEmpty());
}

TEST(XStringTest, TrimTouchesOnlyBlanks) {
  XString s(u"  \tx y\t  ");
  s.TrimLeft();
  EXPECT_EQ(s, u"\tx y\t  ");
  s.TrimRight();
  EXPECT_EQ(s, u"\tx y\t");
  XString blanks(u"   ");
  blanks.TrimRight();
  EXPECT_TRUE(blanks.IsEmpty());
  XString path(u"a//");
  path.TrimRightChar(u'/');
  EXPECT_EQ(path, u"a");
  XString e;
  e.TrimLeft();
  e.TrimRight();
  EXPECT_EQ(e.CStr(), XString::SharedEmpty());
}

TEST(XStringTest, ReplaceNeverSearchesReplacedText) {
  XString s(u"aXa");
  EXPECT_EQ(s.Replace(u"a", u"aa"), 2);
  EXPECT_EQ(s, u"aaXaa");
  XString q(u"say {qt}hi{qt}");
  q.Replace(u"{qt}", u"\"");
  EXPECT_EQ(q, u"say \"hi\"");
  XString r(u"abab");
  r.Replace(u"ab", u"");
  EXPECT_TRUE(r.IsEmpty());
  XString n(u"abc");
  EXPECT_EQ(n.Replace(u"", u"x"), 0);
  EXPECT_EQ(n.Replace(u"zz", u"x"), 0);
  EXPECT_EQ(n, u"abc");
}

TEST(XStringTest, ReplaceIgnoringCaseKeepsTheRestsCase) {
  XString s(u"One {QT}two{qt} Three");
  EXPECT_EQ(s.Replace(u"{Qt}", u"'", true), 2);
  EXPECT_EQ(s, u"One 'two' Three");
  XString t(u"aAbA");
  t.Replace(u"a", u"xa", true);  // the copy gets "xa" unchanged, so it is not hit again
  EXPECT_EQ(t, u"xaxabxa");
  XString self(u"abc");
  self.Replace(self.CStr(), u"z");
  EXPECT_EQ(self, u"z");
}

TEST(XStringTest, SetLengthCutsAndPads) {
  XString s(u"abcdef");
  s.SetLength(-1, u' ', true);
  s.SetLength(6);
  s.SetLength(9);
  EXPECT_EQ(s, u"abcdef");
  s.SetLength(3);
  EXPECT_EQ(s, u"abc");
  s.SetLength(5, u'.', true);
  EXPECT_EQ(s, u"abc..");
  s.SetLength(0, u' ', true);
  EXPECT_TRUE(s.IsEmpty());
}

TEST(XStringTest, ReserveKeepsAndPrepareSizes) {
  XString s(u"keep");
  s.Reserve(100, 10);
  EXPECT_EQ(s.Capacity(), 110);
  EXPECT_EQ(s, u"keep");
  s.Reserve(50, 10);
  EXPECT_EQ(s.Capacity(), 110);
  XString p;
  p.Prepare(0);
  EXPECT_EQ(p.Capacity(), 0);
  p.Prepare(1);
  EXPECT_EQ(p.Capacity(), 1);
  p.Prepare(20);
  EXPECT_EQ(p.Capacity(), 20);
}

// --- Numbers ---

TEST(XStringTest, IntegerText) {
  EXPECT_EQ(XString::FromInt64(0), u"0");
  EXPECT_EQ(XString::FromInt64(-1), u"-1");
  EXPECT_EQ(XString::FromInt64(std::numeric_limits<int64_t>::min()), u"-9223372036854775808");
  EXPECT_EQ(XString::FromInt64(std::numeric_limits<int64_t>::max()), u"9223372036854775807");
  EXPECT_EQ(XString::FromUInt64(0), u"0");
  EXPECT_EQ(XString::FromUInt64(UINT64_MAX), u"18446744073709551615");
}

TEST(XStringTest, HexText) {
  EXPECT_EQ(XString::Hex(0xAB, 4), u"00AB");
  EXPECT_EQ(XString::Hex(0x12345, 2), u"45");
  EXPECT_EQ(XString::Hex(1, 0), u"");
  EXPECT_EQ(XString::Hex(UINT64_MAX, 16), u"FFFFFFFFFFFFFFFF");
  EXPECT_EQ(XString::Hex(0xF, 18), u"00000000000000000F");
  EXPECT_EQ(XString::HexMin(0), u"0");
  EXPECT_EQ(XString::HexMin(0x10), u"10");
  EXPECT_EQ(XString::HexMin(0xdeadbeef), u"DEADBEEF");
  const unsigned char bytes[] = {0x00, 0x1f, 0xa0, 0xff};
  EXPECT_EQ(XString::HexBytes(bytes, 4), u"001FA0FF");
  EXPECT_EQ(XString::HexBytes(bytes, 0), u"");
  EXPECT_EQ(XString::HexBytes(nullptr, 3), u"");
}

TEST(XStringTest, IntegerParsing) {
  EXPECT_EQ(XString(u"  -12abc").ToInt64(), -12);
  EXPECT_EQ(XString(u"+5").ToInt64(), 5);
  EXPECT_EQ(XString(u"--5").ToInt64(), 0);
  EXPECT_EQ(XString(u"5-").ToInt64(), 5);
  EXPECT_EQ(XString(u"").ToInt64(), 0);
  EXPECT_EQ(XString(u"   ").ToInt64(), 0);
  EXPECT_EQ(XString(u"\t5").ToInt64(), 0);
  EXPECT_EQ(XString(u"x5").ToInt64(), 0);
  EXPECT_EQ(XString(u"9223372036854775807").ToInt64(), INT64_MAX);
  EXPECT_EQ(XString(u"18446744073709551615").ToUInt64(), UINT64_MAX);
  EXPECT_EQ(XString(u"-5").ToUInt64(), 0u);
  EXPECT_EQ(XString(u" +7").ToUInt64(), 7u);
}

TEST(XStringTest, BoolAndNanText) {
  EXPECT_TRUE(XString(u"1").ToBool());
  EXPECT_TRUE(XString(u"-1").ToBool());
  EXPECT_TRUE(XString(u"TRUE").ToBool());
  EXPECT_TRUE(XString(u"true").ToBool());
  EXPECT_FALSE(XString(u"true ").ToBool());
  EXPECT_FALSE(XString(u"0").ToBool());
  EXPECT_FALSE(XString(u"yes").ToBool());
  EXPECT_FALSE(XString(u"4294967296").ToBool());  // only the low 32 bits count
  EXPECT_TRUE(XString(u"nan").IsNanText());
  EXPECT_TRUE(XString(u"NaN").IsNanText());
  EXPECT_FALSE(XString(u"nan ").IsNanText());
}

TEST(XStringTest, DoubleParsing) {
  EXPECT_DOUBLE_EQ(XString(u"  3.25 rest").ToDouble(), 3.25);
  EXPECT_DOUBLE_EQ(XString(u"-0.5").ToDouble(), -0.5);
  EXPECT_DOUBLE_EQ(XString(u"+12").ToDouble(), 12.0);
  EXPECT_DOUBLE_EQ(XString(u"12x.5").ToDouble(), 12.0);
  EXPECT_DOUBLE_EQ(XString(u"1.5x").ToDouble(), 1.0);  // a stray last character ends the fraction
  EXPECT_DOUBLE_EQ(XString(u".75").ToDouble(), 0.75);
  EXPECT_DOUBLE_EQ(XString(u"").ToDouble(), 0.0);
  EXPECT_DOUBLE_EQ(XString(u"1.5e3").ToDoubleExp(), 1500.0);
  EXPECT_DOUBLE_EQ(XString(u"25E-2").ToDoubleExp(), 0.25);
  EXPECT_DOUBLE_EQ(XString(u"2.5").ToDoubleExp(), 2.5);
}

TEST(XStringTest, DoublePrinting) {
  EXPECT_EQ(XString::FromDouble(0.5, 0, true), u"1");
  EXPECT_EQ(XString::FromDouble(2.5, 2, false), u"2.5");
  EXPECT_EQ(XString::FromDouble(2.0, 2, false), u"2");
  EXPECT_EQ(XString::FromDouble(2.0, 2, true), u"2.00");
  EXPECT_EQ(XString::FromDouble(1e100, 0, true), u"NaN");
  EXPECT_EQ(XString::FromDouble(-1e100, 0, true), u"NaN");
  EXPECT_EQ(XString::FromDouble(std::nan(""), 2, true), u"NAN");
  EXPECT_EQ(XString::FromDouble(-1.25, 1, true), u"-1.3");
  EXPECT_EQ(XString::FromDouble(0.05, 2, true), u"0.05");
  EXPECT_EQ(XString::FromDouble(0.0, 3, true), u"0.000");
  EXPECT_EQ(XString::FromDouble(123.456, 2, true), u"123.46");
  EXPECT_EQ(XString::FromDouble(1e20, 0, true), u"100000000000000000000");
  EXPECT_EQ(XString::FromDouble(std::numeric_limits<double>::infinity(), 0, true), u"NaN");
}

// --- Formatting ---

TEST(XStringTest, FormatIntegersAndFlags) {
  XString s;
  EXPECT_EQ(s.Format(u"%d|%5d|%-5d|%05d|%+d|% d", 42, 42, 42, -42, 7, 7),
            u"42|   42|42   |-0042|+7| 7");
  EXPECT_EQ(s.Format(u"%u %x %X %#x %o", 4000000000u, 255, 255, 255, 8),
            u"4000000000 ff FF 0xff 10");
  EXPECT_EQ(s.Format(u"%I64d %lld %ld %zu", int64_t(-1) << 40, 5LL, 6L, size_t(7)),
            u"-1099511627776 5 6 7");
  EXPECT_EQ(s.Format(u"%hd %hhu", 70000, 300), u"4464 44");
  EXPECT_EQ(s.Format(u"%*d|%-*d|%.3d", 4, 1, 3, 2, 5), u"   1|2  |005");
  EXPECT_EQ(s.Format(u"100%%"), u"100%");
}

TEST(XStringTest, FormatFloatsAndPointers) {
  XString s;
  EXPECT_EQ(s.Format(u"%.2f %e %g %G", 3.14159, 1500.0, 0.0001, 1e20),
            u"3.14 1.500000e+03 0.0001 1E+20");
  EXPECT_EQ(s.Format(u"%8.3f|%-8.1f|%+.0f", 2.5, 2.5, 2.5), u"   2.500|2.5     |+2");
  EXPECT_EQ(s.Format(u"%Lf", 1.5L), u"1.500000");
  EXPECT_FALSE(s.Format(u"%p", &s).IsEmpty());
}

TEST(XStringTest, FormatTextAndCharacters) {
  XString s;
  EXPECT_EQ(s.Format(u"[%s] [%5s] [%-5s] [%.2s]", u"\u00e9t\u00e9", u"ab", u"ab", u"abc"),
            u"[\u00e9t\u00e9] [   ab] [ab   ] [ab]");
  EXPECT_EQ(s.Format(u"%ls %ws %hs %S", u"w1", u"w2", "n\xc3\xa9", "n2"), u"w1 w2 n\u00e9 n2");
  EXPECT_EQ(s.Format(u"%c%c%3c", u'a', u'\u20ac', u'z'), u"a\u20ac  z");
  EXPECT_EQ(s.Format(u"%s", static_cast<const char16_t*>(nullptr)), u"(null)");
  EXPECT_EQ(XString::Formatted(u"%s=%d", u"k", 1), u"k=1");
}

TEST(XStringTest, FormatBadFormatGivesEmptyText) {
  XString s(u"old");
  int n = 0;
  EXPECT_TRUE(s.Format(u"abc %n", &n).IsEmpty());
  EXPECT_TRUE(s.Format(u"abc %").IsEmpty());
  EXPECT_TRUE(s.Format(u"abc %q").IsEmpty());
  EXPECT_TRUE(s.Format(nullptr).IsEmpty());
}

TEST(XStringTest, FormatLongResultsClimbTheLadder) {
  std::u16string big(3000, u'x');
  XString s;
  s.Format(u"<%s>", big.c_str());
  EXPECT_EQ(s.Length(), 3002);
  EXPECT_EQ(s.CharAt(1), u'<');
  EXPECT_EQ(s.CharAt(3002), u'>');
  std::u16string exact(999, u'y');  // exactly the first limit
  s.Format(u"%s", exact.c_str());
  EXPECT_EQ(s.Length(), 999);
  s.Format(u"%s!", exact.c_str());
  EXPECT_EQ(s.Length(), 1000);
}

TEST(XStringTest, FormatPastTheLadderFallsBackToFormatSlow) {
  std::u16string big(200, u'z');
  // The standard path would pad to 12; the slow one ignores width for %s.
  XString s = FormatLadder(10, 60, u"%d:%12s|%s", 5, u"ab", big.c_str());
  EXPECT_EQ(s.Length(), 2 + 2 + 1 + 200);
  EXPECT_EQ(s.Left(5), u"5:ab|");
  XString fits = FormatLadder(10, 60, u"%d:%12s", 5, u"ab");
  EXPECT_EQ(fits, u"5:          ab");
}

TEST(XStringTest, FormatSlowRepertoire) {
  XString s;
  EXPECT_EQ(s.FormatSlow(u"%d %i %+d %+d", -5, 6, 7, -7), u"-5 6 +7 -7");
  EXPECT_EQ(s.FormatSlow(u"[%5d][%05d][%05d][%+05d]", -42, -42, 42, 42),
            u"[  -42][-0042][00042][+0042]");
  EXPECT_EQ(s.FormatSlow(u"%u|%4u|%04u", 4000000000u, 7u, 7u), u"4000000000|   7|0007");
  EXPECT_EQ(s.FormatSlow(u"%x|%X|%6x|%06X", 255u, 255u, 0xabcu, 0xabcu), u"ff|FF|   abc|000ABC");
  EXPECT_EQ(s.FormatSlow(u"%f|%.2f|%.f|%+.1f|%9.1f", 1.5, 2.0, 2.4, 3.0, 1.25),
            u"1.500000|2.00|2|+3.0|1.3");
  EXPECT_EQ(s.FormatSlow(u"%c%s%%", u'A', u"bc"), u"Abc%");
  EXPECT_EQ(s.FormatSlow(u"%-5ld|", 12), u"   12|");  // unknown characters are skipped
}

TEST(XStringTest, FormatSlowBadFormatsClear) {
  XString s(u"old");
  EXPECT_TRUE(s.FormatSlow(u"abc %").IsEmpty());
  s = u"old";
  EXPECT_TRUE(s.FormatSlow(u"abc %5").IsEmpty());
  s = u"old";
  EXPECT_TRUE(s.FormatSlow(u"%1.2.3f", 1.0).IsEmpty());
}

TEST(XStringTest, FormatMayUseItsOwnTextAsFormat) {
  XString s(u"%d-%d");
  EXPECT_EQ(s.Format(s.CStr(), 1, 2), u"1-2");
  XString t(u"%d+%d");
  EXPECT_EQ(t.FormatSlow(t.CStr(), 3, 4), u"3+4");
}

TEST(XStringTest, FormatOfAHugeWidthEndsInFormatSlow) {
  XString s = FormatLadder(10, 60, u"%200d|%s", 7, u"x");
  EXPECT_EQ(s.Length(), 200 + 2);  // the slow path pads numbers too
  EXPECT_EQ(s.Right(3), u"7|x");
}

TEST(XStringTest, FormatKeepsTheTag) {
  XString s;
  s.SetTag(9);
  s.Format(u"%d", 1);
  EXPECT_EQ(s.Tag(), 9u);
  s.FormatSlow(u"%d", 1);
  EXPECT_EQ(s.Tag(), 9u);
}

// --- Conversions ---

TEST(XStringTest, NarrowConstructionBothWays) {
  EXPECT_EQ(XString("caf\xc3\xa9", true), u"caf\u00e9");
  EXPECT_EQ(XString("caf\xc3\xa9", false), u"caf\u00e9");
  EXPECT_TRUE(XString(static_cast<const char*>(nullptr), true).IsEmpty());
  EXPECT_TRUE(XString("", true).IsEmpty());
  EXPECT_EQ(XString("\xf0\x9f\x8e\xb5!", true), u"\U0001F3B5!");
  EXPECT_EQ(XString("a\xff", true), u"a\uFFFD");
  XString s(u"keep");
  s.AssignNarrow("new");
  EXPECT_EQ(s, u"new");
  s.AssignNarrow(nullptr);
  EXPECT_TRUE(s.IsEmpty());
  EXPECT_EQ(XString::FromUtf8("x\xc3\xa9"), u"x\u00e9");
  EXPECT_EQ(XString::FromUtf8(std::string_view("abc", 2)), u"ab");
}

TEST(XStringTest, NarrowCacheIsReusedAtTheSameSize) {
  XString s(u"\u00e9t\u00e9");
  const char* first = s.ToUtf8();
  EXPECT_STREQ(first, "\xc3\xa9t\xc3\xa9");
  EXPECT_EQ(s.ToUtf8(), first);
  const char* ansi = s.ToAnsi();
  EXPECT_STREQ(ansi, "\xc3\xa9t\xc3\xa9");
  EXPECT_EQ(s.ToAnsi(), ansi);
  EXPECT_STREQ(s.ToNarrow(20127), "?t?");
  EXPECT_EQ(s.ToUtf8String(), "\xc3\xa9t\xc3\xa9");
  EXPECT_STREQ(XString().ToAnsi(), "");
}

TEST(XStringTest, AsciiOnlyReplacesEveryOtherUnit) {
  EXPECT_EQ(XString::AsciiOnly(u"Bj\u00f6rk \U0001F3B5"), u"Bj?rk ??");
  EXPECT_EQ(XString::AsciiOnly(u"plain"), u"plain");
  EXPECT_TRUE(XString::AsciiOnly(nullptr).IsEmpty());
}

TEST(XStringTest, FromBytesNeedsNoTerminator) {
  const char utf8[] = {'a', char(0xc3), char(0xa9), 'z'};
  EXPECT_EQ(XString::FromUtf8Bytes(utf8, 3), u"a\u00e9");
  EXPECT_EQ(XString::FromAnsiBytes(utf8, 4), u"a\u00e9z");
  EXPECT_TRUE(XString::FromUtf8Bytes(utf8, 0).IsEmpty());
  EXPECT_TRUE(XString::FromUtf8Bytes(nullptr, 4).IsEmpty());
  const char16_t wide[] = {u'h', u'i', u'!'};
  EXPECT_EQ(XString::FromWideBytes(wide, 4), u"hi");
  // An odd last byte pairs with the terminator's first byte.
  EXPECT_EQ(XString::FromWideBytes(wide, 5), u"hi!");
  EXPECT_TRUE(XString::FromWideBytes(wide, 0).IsEmpty());
}

// --- Sort order ---

TEST(XStringTest, FoldCharMapsLatinLettersToTheirBase) {
  EXPECT_EQ(XString::FoldChar(u'a'), u'a');
  EXPECT_EQ(XString::FoldChar(0x7F), 0x7F);
  EXPECT_EQ(XString::FoldChar(u'\u00c0'), u'A');
  EXPECT_EQ(XString::FoldChar(u'\u00e9'), u'e');
  EXPECT_EQ(XString::FoldChar(u'\u00c7'), u'C');
  EXPECT_EQ(XString::FoldChar(u'\u0107'), u'c');
  EXPECT_EQ(XString::FoldChar(u'\u013f'), u'L');  // L with middle dot
  EXPECT_EQ(XString::FoldChar(u'\u017e'), u'z');
  EXPECT_EQ(XString::FoldChar(u'\u0178'), u'Y');
}

TEST(XStringTest, FoldCharLettersWithoutDecomposition) {
  const char16_t pairs[][2] = {
      {u'\u0110', u'D'}, {u'\u0111', u'd'}, {u'\u0141', u'L'}, {u'\u0142', u'l'}, {u'\u014a', u'N'},
      {u'\u014b', u'n'}, {u'\u00d8', u'O'}, {u'\u00f8', u'o'}, {u'\u0166', u'T'}, {u'\u0167', u't'},
      {u'\u0131', u'i'}, {u'\u0149', u'n'}, {u'\u00f0', u'o'}};
  for (const auto& pair : pairs) EXPECT_EQ(XString::FoldChar(pair[0]), pair[1]) << int(pair[0]);
}

TEST(XStringTest, FoldCharGivesUnderscoreOutsideTheTable) {
  const char16_t others[] = {u'\u00c6', u'\u00d0', u'\u00d7', u'\u00de', u'\u00df', u'\u00e6',
                             u'\u00f7', u'\u00fe', u'\u00ff', u'\u0124', u'\u0125', u'\u0126',
                             u'\u0127', u'\u0132', u'\u0133', u'\u0138', u'\u0152', u'\u0153',
                             u'\u017f', u'\u00bf', u'\u0180', u'\u20ac', u'\uffff'};
  for (char16_t c : others) EXPECT_EQ(XString::FoldChar(c), u'_') << int(c);
  int mapped = 0;
  for (int c = 0xC0; c < 0x180; ++c) mapped += XString::FoldChar(char16_t(c)) != u'_';
  EXPECT_EQ(mapped, 173);
}

TEST(XStringTest, NaturalCompareOrdersNumbersByValue) {
  EXPECT_EQ(XString::NaturalCompare(u"a2", u"a10"), -1);
  EXPECT_EQ(XString::NaturalCompare(u"a10", u"a2"), 1);
  EXPECT_EQ(XString::NaturalCompare(u"a02", u"a2"), 0);
  EXPECT_EQ(XString::NaturalCompare(u"file9.txt", u"file10.txt"), -1);
  EXPECT_EQ(XString::NaturalCompare(u"x1y2", u"x1y10"), -1);
  EXPECT_EQ(XString::NaturalCompare(u"abc", u"abc"), 0);
  EXPECT_EQ(XString::NaturalCompare(u"", u""), 0);
  EXPECT_EQ(XString::NaturalCompare(u"ab", u"abc"), -1);
  EXPECT_EQ(XString::NaturalCompare(u"abc", u"ab"), 1);
}

TEST(XStringTest, NaturalCompareFoldsThenBreaksTiesExactly) {
  // Letters that fold alike are decided by their exact units at once.
  EXPECT_EQ(XString::NaturalCompare(u"file9.txt", u"File10.txt"), 1);
  EXPECT_EQ(XString::NaturalCompare(u"File10.txt", u"file9.txt"), -1);
  EXPECT_EQ(XString::NaturalCompare(u"\u00e9a", u"eb"), 1);
  EXPECT_EQ(XString::NaturalCompare(u"\u00e9a", u"fa"), -1);  // é sorts with e, before f
  EXPECT_EQ(XString::NaturalCompare(u"B", u"a"), 1);
  EXPECT_EQ(XString::NaturalCompare(u"_", u"a"), -1);
}
