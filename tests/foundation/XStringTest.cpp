// XString: storage rules, positions, searching, changing, numbers, formatting and sort order.
#include "foundation/XString.h"

#include <cmath>
#include <limits>

#include "tests/foundation/Fixtures.h"

namespace {

XString FormatLadder(int first, int giveUp, const char16_t* fmt, ...) {
  XString result;
  va_list args;
  va_start(args, fmt);
  result.FormatLadderV(first, giveUp, fmt, args);
  va_end(args);
  return result;
}

const XString abcdef(u"abcdef");

}  // namespace

TEST(XStringTest, AssignCutsALongerSourceAndMeasuresOnZero) {
  XString s[5];
  s[0].Assign(u"abcdef", 4);
  s[1].Assign(u"xy", 0);
  s[2].Assign(u"pq", XString::LastChar);
  s[3] = u"x";
  s[3].Assign(nullptr, 5);
  s[4] = abcdef;
  s[4].Assign(s[4].CStr() + 2);  // a source inside the string itself
  EXPECT_EQ(Joined({s[0], s[1], s[2], s[3], s[4]}), "abc|xy|pq||cdef");
}

TEST(XStringTest, CharAtCountsFromOne) {
  XString s(u"abc");
  EXPECT_EQ((Ints{s.CharAt(0), s.CharAt(1), s.CharAt(3), s.CharAt(4), s.CharAt(-1),
                  s.CharAt(XString::LastChar), XString().CharAt(XString::LastChar)}),
            (Ints{0, 'a', 'c', 0, 0, 'c', 0}));
}

TEST(XStringTest, MidAndRightAtTheEdges) {
  const XString& s = abcdef;
  EXPECT_EQ(Joined({s.Mid(2, 4), s.Mid(1, 6), s.Mid(4, 100), s.Mid(6, 6), s.Mid(7, 9), s.Mid(0, 3),
                    s.Mid(4, 3), s.Mid(5, XString::LastChar), s.Right(0), s.Right(1), s.Right(6),
                    s.Right(7), s.Right(-1)}),
            "bcd|abcdef|def|f||||ef||f|abcdef|abcdef|");
}

TEST(XStringTest, CompareLimitsLengthsAndCase) {
  auto cmp = [](const char16_t* a, const char16_t* b, int n = 0, bool fold = false) {
    return XString::Compare(a, b, n, fold);
  };
  EXPECT_EQ((Ints{cmp(u"abc", u"abcd", 3), cmp(u"abc", u"abcd"), cmp(u"abcd", u"abc"),
                  cmp(u"abc", u"abd"), cmp(u"abd", u"abc"), cmp(u"abc", u"abc"), cmp(u"", u"a"),
                  cmp(u"", u""), cmp(nullptr, u""), cmp(u"a", nullptr), cmp(u"\uffff", u"a")}),
            (Ints{0, -1, 1, -1, 1, 0, -1, 0, 0, 1, 1}));
  // -1 compares as far as b goes: a prefix test; an empty b compares whole strings.
  EXPECT_EQ((Ints{cmp(u"-outfile=x", u"-outfile", -1), cmp(u"-OUTFILE=x", u"-outfile", -1, true),
                  cmp(u"-out", u"-outfile", -1), cmp(u"abc", u"", -1), cmp(u"", u"", -1)}),
            (Ints{0, 0, -1, 1, 0}));
  // Case is folded down, so '_' sorts before letters either way.
  EXPECT_EQ((Ints{cmp(u"_", u"a", 0, true), cmp(u"_", u"A", 0, true), cmp(u"_", u"A")}),
            (Ints{-1, -1, 1}));
}

TEST(XStringTest, FindAtTheEdgesOfTheRange) {
  XString s(u"abcde");
  XString mixed(u"Hello \u00c9WORLD");
  EXPECT_EQ((Ints{s.Find(u"", 3), XString(u"ab").Find(u"", 3), s.Find(u"cd"), s.Find(u"cd", 3),
                  s.Find(u"cd", 4), s.Find(u"de", 5), s.Find(u"e", 5), s.Find(u"e", 6),
                  s.Find(u"a", 0), s.Find(u"abcdef"), XString().Find(u""),
                  mixed.Find(u"world", 1, true), mixed.Find(u"world"),
                  mixed.Find(u"\u00e9world", 1, true), mixed.Find(u"\u00c9world", 1, true)}),
            (Ints{3, 0, 3, 3, 0, 0, 5, 0, 0, 0, 0, 8, 0, 0, 7}));
}

TEST(XStringTest, FindCharFindLastReverseFindCharAndEndsWith) {
  XString s(u"a.b.c");
  XString p(u"a/b/c");
  EXPECT_EQ((Ints{s.FindChar(u'.'), s.FindChar(u'.', 3), s.FindChar(u'x'), s.FindChar(0, 2),
                  s.FindChar(0, 6), s.FindLast(u"."), s.FindLast(u"B", true), s.FindLast(u"x"),
                  XString(u"aaa").FindLast(u"aa")}),
            (Ints{2, 4, 0, 2, 0, 4, 3, 0, 2}));
  EXPECT_EQ(
      (Ints{p.ReverseFindChar(u'/'), p.ReverseFindChar(u'/', 3), p.ReverseFindChar(u'a', 1),
            p.ReverseFindChar(u'/', 1), p.ReverseFindChar(u'/', 0), p.ReverseFindChar(u'/', 6),
            p.ReverseFindChar(u'c', 5), XString().ReverseFindChar(u'/')}),
      (Ints{4, 2, 1, 0, 0, 0, 5, 0}));
  XString e(u"song.FLAC");
  EXPECT_EQ((Ints{e.EndsWith(u".FLAC"), e.EndsWith(u".flac"), e.EndsWith(u".flac", true),
                  e.EndsWith(u"song.FLAC"), e.EndsWith(u"xsong.FLAC"), e.EndsWith(u""),
                  e.EndsWith(nullptr)}),
            (Ints{1, 0, 1, 1, 0, 1, 0}));
}

TEST(XStringTest, AppendAddsOnlyWhatIsThere) {
  XString t;
  EXPECT_EQ(t += u"abc", 4);
  t.Append(u"def");
  t.Append(u"");
  t.Append(static_cast<const char16_t*>(nullptr));
  t.AppendChar(u'g');
  t.AppendChar(0);
  t.Append(t);  // appending itself
  EXPECT_EQ(t, u"abcdefgabcdefg");
}

TEST(XStringTest, EditsAtTheEdges) {
  using Edit = void (*)(XString&);
  const struct {
    const char16_t* start;
    Edit edit;
    const char* result;
  } cases[] = {
      {u"ac", [](XString& s) { s.InsertChar(u'b', 2); }, "abc"},
      {u"ac", [](XString& s) { s.InsertChar(u'>', s.Size()); }, "ac>"},
      {u"ac", [](XString& s) { s.InsertChar(u'?', 0); }, "ac"},
      {u"ac", [](XString& s) { s.InsertChar(u'?', s.Size() + 1); }, "ac"},
      {u"ac", [](XString& s) { s.Insert(u"XY", 2); }, "aXYc"},
      {u"a", [](XString& s) { s.AppendUnique(u'/'), s.AppendUnique(u'/'); }, "a/"},
      {u"", [](XString& s) { s.AppendUnique(0), s.AppendUnique(u'/'); }, "/"},
      {u"abcdef", [](XString& s) { s.Remove(2, 3); }, "adef"},
      {u"abcdef", [](XString& s) { s.Remove(3, 2); }, "abcdef"},
      {u"abcdef", [](XString& s) { s.Remove(0, 2); }, "abcdef"},
      {u"abcdef", [](XString& s) { s.Remove(7, 7); }, "abcdef"},
      {u"abcdef", [](XString& s) { s.Remove(6, 6); }, "abcde"},
      {u"abcdef", [](XString& s) { s.Remove(3, 100); }, ""},
      // Four units asked, three there: one more goes from the front part.
      {u"abcdef", [](XString& s) { s.Remove(4, 7); }, "ab"},
      {u"abcdef", [](XString& s) { s.ChopLeft(2); }, "cdef"},
      {u"abcdef", [](XString& s) { s.ChopRight(1); }, "abcde"},
      {u"  \tx y\t  ", [](XString& s) { s.TrimLeft(); }, "\tx y\t  "},
      {u"  \tx y\t  ", [](XString& s) { s.TrimRight(); }, "  \tx y\t"},
      {u"a//", [](XString& s) { s.TrimRightChar(u'/'); }, "a"},
      {u"abcdef", [](XString& s) { s.SetLength(3); }, "abc"},
      {u"abc", [](XString& s) { s.SetLength(5, u'.', true); }, "abc.."},
  };
  for (const auto& c : cases) {
    XString s(c.start);
    c.edit(s);
    EXPECT_EQ(U8(s), c.result) << U8(c.start) << " case " << (&c - cases);
    EXPECT_EQ(s.Size(), s.Length() + 1);
  }
}

TEST(XStringTest, ReplaceNeverSearchesReplacedText) {
  XString s(u"aXa");
  EXPECT_EQ(s.Replace(u"a", u"aa"), 2);
  XString q(u"say {qt}hi{qt}");
  q.Replace(u"{qt}", u"\"");
  XString r(u"abab");
  r.Replace(u"ab", u"");
  XString n(u"abc");
  EXPECT_EQ(n.Replace(u"", u"x") + n.Replace(u"zz", u"x"), 0);
  XString c(u"One {QT}two{qt} Three");
  EXPECT_EQ(c.Replace(u"{Qt}", u"'", true), 2);
  XString t(u"aAbA");
  t.Replace(u"a", u"xa", true);  // the copy gets "xa" unchanged, so it is not hit again
  XString self(u"abc");
  self.Replace(self.CStr(), u"z");
  EXPECT_EQ(Joined({s, q, r, n, c, t, self}), "aaXaa|say \"hi\"||abc|One 'two' Three|xaxabxa|z");
}

TEST(XStringTest, IntegerAndHexText) {
  const unsigned char bytes[] = {0x00, 0x1f, 0xa0, 0xff};
  EXPECT_EQ(Joined({XString::FromInt64(0), XString::FromInt64(-1),
                    XString::FromInt64(std::numeric_limits<int64_t>::min()),
                    XString::FromInt64(std::numeric_limits<int64_t>::max()), XString::FromUInt64(0),
                    XString::FromUInt64(UINT64_MAX)}),
            "0|-1|-9223372036854775808|9223372036854775807|0|18446744073709551615");
  EXPECT_EQ(Joined({XString::Hex(0xAB, 4), XString::Hex(0x12345, 2), XString::Hex(1, 0),
                    XString::Hex(UINT64_MAX, 16), XString::Hex(0xF, 18), XString::HexMin(0),
                    XString::HexMin(0x10), XString::HexMin(0xdeadbeef), XString::HexBytes(bytes, 4),
                    XString::HexBytes(bytes, 0), XString::HexBytes(nullptr, 3)}),
            "00AB|45||FFFFFFFFFFFFFFFF|00000000000000000F|0|10|DEADBEEF|001FA0FF||");
}

TEST(XStringTest, IntegerParsing) {
  auto i64 = [](const char16_t* s) { return XString(s).ToInt64(); };
  auto u64 = [](const char16_t* s) { return int64_t(XString(s).ToUInt64()); };
  EXPECT_EQ((Ints{i64(u"  -12abc"), i64(u"+5"), i64(u"--5"), i64(u"5-"), i64(u""), i64(u"   "),
                  i64(u"\t5"), i64(u"x5"), i64(u"9223372036854775807"), u64(u"-5"), u64(u" +7")}),
            (Ints{-12, 5, 0, 5, 0, 0, 0, 0, INT64_MAX, 0, 7}));
  EXPECT_EQ(XString(u"18446744073709551615").ToUInt64(), UINT64_MAX);
  // Only the low 32 bits of a number count.
  EXPECT_EQ((Ints{XString(u"-1").ToBool(), XString(u"TRUE").ToBool(), XString(u"true ").ToBool(),
                  XString(u"4294967296").ToBool(), XString(u"NaN").IsNanText()}),
            (Ints{1, 1, 0, 0, 1}));
}

TEST(XStringTest, DoubleParsing) {
  // A stray last character ends the fraction.
  const std::pair<const char16_t*, double> plain[] = {
      {u"  3.25 rest", 3.25}, {u"-0.5", -0.5}, {u"+12", 12}, {u"12x.5", 12},
      {u".75", 0.75},         {u"", 0},        {u"1.5x", 1}};
  for (const auto& [text, value] : plain) EXPECT_DOUBLE_EQ(XString(text).ToDouble(), value);
  for (const auto& [text, value] : {std::pair{u"1.5e3", 1500.0}, {u"25E-2", 0.25}, {u"2.5", 2.5}})
    EXPECT_DOUBLE_EQ(XString(text).ToDoubleExp(), value);
}

TEST(XStringTest, DoublePrinting) {
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Joined({XString::FromDouble(0.5, 0, true), XString::FromDouble(2.5, 2, false),
                    XString::FromDouble(2.0, 2, false), XString::FromDouble(2.0, 2, true),
                    XString::FromDouble(-1e100, 0, true),
                    XString::FromDouble(std::nan(""), 2, true), XString::FromDouble(-1.25, 1, true),
                    XString::FromDouble(1e20, 0, true), XString::FromDouble(inf, 0, true)}),
            "1|2.5|2|2.00|NaN|NAN|-1.3|100000000000000000000|NaN");
}

TEST(XStringTest, FormatNumbersTextAndFlags) {
  XString s;
  EXPECT_EQ(s.Format(u"%d|%5d|%-5d|%05d|%+d|% d", 42, 42, 42, -42, 7, 7),
            u"42|   42|42   |-0042|+7| 7");
  EXPECT_EQ(s.Format(u"%u %x %X %#x %o", 4000000000u, 255, 255, 255, 8),
            u"4000000000 ff FF 0xff 10");
  EXPECT_EQ(s.Format(u"%*d|%-*d|%.3d|100%%", 4, 1, 3, 2, 5), u"   1|2  |005|100%");
  EXPECT_EQ(s.Format(u"%.2f %e %g %G", 3.14159, 1500.0, 0.0001, 1e20),
            u"3.14 1.500000e+03 0.0001 1E+20");
  EXPECT_EQ(s.Format(u"[%s] [%5s] [%-5s] [%.2s]", u"\u00e9t\u00e9", u"ab", u"ab", u"abc"),
            u"[\u00e9t\u00e9] [   ab] [ab   ] [ab]");
  EXPECT_EQ(s.Format(u"%ls %ws %hs %S", u"w1", u"w2", "n\xc3\xa9", "n2"), u"w1 w2 n\u00e9 n2");
  EXPECT_EQ(s.Format(u"%s", static_cast<const char16_t*>(nullptr)), u"(null)");
}

TEST(XStringTest, BadFormatsGiveEmptyText) {
  int n = 0;
  for (const char16_t* bad : {u"abc %n", u"abc %", u"abc %q", (const char16_t*)nullptr}) {
    XString s(u"old");
    EXPECT_TRUE(s.Format(bad, &n).IsEmpty()) << (bad ? U8(bad) : "null");
  }
}

TEST(XStringTest, FormatPastTheLadderFallsBackToFormatSlow) {
  std::u16string big(200, u'z');
  // The standard path would pad to 12; the slow one ignores width for %s.
  XString s = FormatLadder(10, 60, u"%d:%12s|%s", 5, u"ab", big.c_str());
  EXPECT_EQ(U8(s), "5:ab|" + std::string(200, 'z'));
  EXPECT_EQ(FormatLadder(10, 60, u"%d:%12s", 5, u"ab"), u"5:          ab");
}

TEST(XStringTest, NarrowConstructionBothWays) {
  XString s(u"keep");
  s.AssignNarrow("new");
  XString cleared(u"keep");
  cleared.AssignNarrow(nullptr);
  EXPECT_EQ(Joined({XString("caf\xc3\xa9", true), XString("caf\xc3\xa9", false),
                    XString(static_cast<const char*>(nullptr), true), XString("", true),
                    XString("\xf0\x9f\x8e\xb5!", true), XString("a\xff", true), s, cleared,
                    XString::FromUtf8("x\xc3\xa9"), XString::FromUtf8(std::string_view("abc", 2))}),
            "caf\u00e9|caf\u00e9|||\U0001F3B5!|a\uFFFD|new||x\u00e9|ab");
}

TEST(XStringTest, AsciiOnlyAndFromBytes) {
  const char utf8[] = {'a', char(0xc3), char(0xa9), 'z'};
  const char16_t wide[] = {u'h', u'i', u'!'};
  // An odd last byte of wide text pairs with the terminator's first byte.
  EXPECT_EQ(Joined({XString::AsciiOnly(u"Bj\u00f6rk \U0001F3B5"), XString::AsciiOnly(u"plain"),
                    XString::AsciiOnly(nullptr), XString::FromUtf8Bytes(utf8, 3),
                    XString::FromAnsiBytes(utf8, 4), XString::FromUtf8Bytes(utf8, 0),
                    XString::FromUtf8Bytes(nullptr, 4), XString::FromWideBytes(wide, 4),
                    XString::FromWideBytes(wide, 5), XString::FromWideBytes(wide, 0)}),
            "Bj?rk ??|plain||a\u00e9|a\u00e9z|||hi|hi!|");
}

TEST(XStringTest, NaturalCompareOrdersNumbersByValueThenExactly) {
  auto nat = [](const char16_t* a, const char16_t* b) { return XString::NaturalCompare(a, b); };
  EXPECT_EQ((Ints{nat(u"a2", u"a10"), nat(u"a10", u"a2"), nat(u"a02", u"a2"),
                  nat(u"file9.txt", u"file10.txt"), nat(u"x1y2", u"x1y10"), nat(u"abc", u"abc"),
                  nat(u"", u""), nat(u"ab", u"abc"), nat(u"abc", u"ab")}),
            (Ints{-1, 1, 0, -1, -1, 0, 0, -1, 1}));
  // Letters that fold alike are decided by their exact units at once; é sorts with e.
  EXPECT_EQ(
      (Ints{nat(u"file9.txt", u"File10.txt"), nat(u"File10.txt", u"file9.txt"),
            nat(u"\u00e9a", u"eb"), nat(u"\u00e9a", u"fa"), nat(u"B", u"a"), nat(u"_", u"a")}),
      (Ints{1, -1, 1, -1, 1, -1}));
}
