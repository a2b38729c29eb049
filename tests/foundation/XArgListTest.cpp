// The option list: the tokeniser, separated items, look-ups and the text forms.
#include "foundation/XArgList.h"

#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <random>

#include <string>
#include <utility>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<std::u16string, std::u16string>>;

Pairs PairsOf(const XArgList& args) {
  Pairs out;
  EXPECT_EQ(args.keys.Count(), args.values.Count());
  for (int32_t i = 0; i < args.keys.Count(); ++i)
    out.emplace_back(args.keys[i].View(), args.values[i].View());
  return out;
}

Pairs Parsed(const char16_t* text, int32_t start = 1) { return PairsOf(XArgList(text, start)); }

XStringList ListOf(std::initializer_list<const char16_t*> texts) {
  XStringList list;
  for (const char16_t* t : texts) list.Add(t);
  return list;
}

}  // namespace

TEST(XArgListTest, ParsesTheUsualForms) {
  EXPECT_EQ(Parsed(u"-a=1 -b \"x y\" --c -d=\"-e\" -f"),
            (Pairs{{u"a", u"1"}, {u"b", u"x y"}, {u"c", u""}, {u"d", u"-e"}, {u"f", u""}}));
}

TEST(XArgListTest, ValueSpellingsGiveTheSamePair) {
  Pairs expected{{u"name", u"value"}};
  EXPECT_EQ(Parsed(u"-name value"), expected);
  EXPECT_EQ(Parsed(u"-name=value"), expected);
  EXPECT_EQ(Parsed(u"-name = value"), expected);
  EXPECT_EQ(Parsed(u"--name=\"value\""), expected);
  EXPECT_EQ(Parsed(u"-name\"value\""), expected);
}

TEST(XArgListTest, ALoneDashIsDroppedAndTheScanGoesOn) {
  EXPECT_EQ(Parsed(u"-a - -b"), (Pairs{{u"a", u""}, {u"b", u""}}));
  EXPECT_EQ(Parsed(u"-a -- -b=2"), (Pairs{{u"a", u""}, {u"b", u"2"}}));
}

TEST(XArgListTest, UnterminatedQuoteGivesAnEmptyValue) {
  EXPECT_EQ(Parsed(u"-a=\"x"), (Pairs{{u"a", u""}}));
  EXPECT_EQ(Parsed(u"-a=\"x-y z"), (Pairs{{u"a", u""}, {u"y", u"z"}}));
  EXPECT_EQ(Parsed(u"\""), Pairs{});
  EXPECT_EQ(Parsed(u"-\""), Pairs{});
}

TEST(XArgListTest, AValueCannotStartWithAMinusUnlessQuoted) {
  EXPECT_EQ(Parsed(u"-gain -3"), (Pairs{{u"gain", u""}, {u"3", u""}}));
  EXPECT_EQ(Parsed(u"-gain \"-3\""), (Pairs{{u"gain", u"-3"}}));
  EXPECT_EQ(Parsed(u"-gain=1-3"), (Pairs{{u"gain", u"1-3"}}));
}

TEST(XArgListTest, TextOutsideOptionsIsPassedOver) {
  EXPECT_EQ(Parsed(u"loose words -a 1 more words"), (Pairs{{u"a", u"1"}}));
  EXPECT_EQ(Parsed(u"word-x"), (Pairs{{u"x", u""}}));
  EXPECT_EQ(Parsed(u"nothing here"), Pairs{});
}

TEST(XArgListTest, EmptyAndNullTextGiveNoOptions) {
  EXPECT_EQ(Parsed(u""), Pairs{});
  EXPECT_EQ(PairsOf(XArgList(static_cast<const char16_t*>(nullptr))), Pairs{});
}

TEST(XArgListTest, OnlyDashes) {
  EXPECT_EQ(Parsed(u"-"), Pairs{});
  EXPECT_EQ(Parsed(u"--"), Pairs{});
  EXPECT_EQ(Parsed(u"- - --  -"), Pairs{});
  EXPECT_EQ(Parsed(u"---"), (Pairs{{u"-", u""}}));
  EXPECT_EQ(Parsed(u"----"), (Pairs{{u"--", u""}}));
}

TEST(XArgListTest, RunsOfEqualSigns) {
  EXPECT_EQ(Parsed(u"-a===b"), (Pairs{{u"a", u"b"}}));
  EXPECT_EQ(Parsed(u"-a= = =b -c=="), (Pairs{{u"a", u"b"}, {u"c", u""}}));
  EXPECT_EQ(Parsed(u"-===x"), Pairs{});
  EXPECT_EQ(Parsed(u"====="), Pairs{});
  EXPECT_EQ(Parsed(u"-a=x=y"), (Pairs{{u"a", u"x=y"}}));
  EXPECT_EQ(Parsed(u"-a=\"\" -b"), (Pairs{{u"a", u""}, {u"b", u""}}));
}

TEST(XArgListTest, StartSkipsTheBeginning) {
  const char16_t* line = u"\"/opt/my-prog/transmill\" -in=a";
  EXPECT_EQ(Parsed(line, 1).size(), 2u);  // "-prog/transmill\"" counts as a key
  EXPECT_EQ(Parsed(line, 25), (Pairs{{u"in", u"a"}}));
  EXPECT_EQ(Parsed(u"-a -b", 2), (Pairs{{u"b", u""}}));
  EXPECT_EQ(Parsed(u"-a -b", 0), (Pairs{{u"a", u""}, {u"b", u""}}));
  EXPECT_EQ(Parsed(u"-a -b", 100), Pairs{});
}

TEST(XArgListTest, ThousandsOfOptions) {
  XString text;
  for (int i = 0; i < 5000; ++i) text.Append(XString::Formatted(u"-k%d=\"v %d\" ", i, i));
  XArgList args(text);
  ASSERT_EQ(args.Count(), 5000);
  XString value;
  EXPECT_TRUE(args.Get(u"K4999", value));
  EXPECT_EQ(value, u"v 4999");
  EXPECT_EQ(args.IndexOf(u"k2500"), 2500);
}

TEST(XArgListTest, RandomOptionTextGivesWellFormedKeys) {
  std::mt19937 random(99);
  for (int round = 0; round < 3000; ++round) {
    std::u16string text;
    size_t length = random() % 60;
    for (size_t i = 0; i < length; ++i) text += u"-=\" ax"[random() % 6];
    XArgList args(text.c_str());
    ASSERT_EQ(args.keys.Count(), args.values.Count());
    for (int32_t i = 0; i < args.Count(); ++i) {
      ASSERT_FALSE(args.keys[i].IsEmpty()) << std::string(text.begin(), text.end());
      for (char16_t c : args.keys[i].View()) ASSERT_TRUE(c != u'"' && c != u'=' && c != u' ');
    }
  }
}

TEST(XArgListTest, ToTextParsesBackToTheSamePairs) {
  XArgList args(u"-a=1 -b \"x y\" --c -d=\"-e\" -Mixed=Case");
  EXPECT_EQ(args.ToText(), u"-a=\"1\" -b=\"x y\" -c -d=\"-e\" -Mixed=\"Case\"");
  EXPECT_EQ(PairsOf(XArgList(args.ToText())), PairsOf(args));
  EXPECT_TRUE(XArgList(u"").ToText().IsEmpty());
}

TEST(XArgListTest, ToCommandTextQuotesOnlyValuesThatNeedIt) {
  XArgList args(u"-out=\"a b.flac\" -q=5 -flag");
  EXPECT_EQ(args.ToCommandText(), u"-out=\"a b.flac\" -q=5 -flag");
  EXPECT_EQ(PairsOf(XArgList(args.ToCommandText())), PairsOf(args));
}

TEST(XArgListTest, LookupsChooseCase) {
  XArgList args(u"-Name=x -name=y");
  EXPECT_EQ(args.IndexOf(u"NAME"), 0);
  EXPECT_EQ(args.IndexOf(u"name", false), 1);
  EXPECT_FALSE(args.Has(u"NAME", false));
  EXPECT_TRUE(args.Has(u"nAmE"));
  XString value(u"stale");
  EXPECT_TRUE(args.Get(u"name", value, false));
  EXPECT_EQ(value, u"y");
  EXPECT_FALSE(args.Get(u"absent", value));
  EXPECT_TRUE(value.IsEmpty());
}

TEST(XArgListTest, GetAtGuardsTheEnd) {
  XArgList args(u"-a=1 -b=2");
  XString key, value;
  EXPECT_TRUE(args.GetAt(1, key, value));
  EXPECT_EQ(key, u"b");
  EXPECT_EQ(value, u"2");
  EXPECT_FALSE(args.GetAt(2, key, value));
  EXPECT_TRUE(key.IsEmpty());
  EXPECT_TRUE(value.IsEmpty());
  key = u"k";
  EXPECT_FALSE(args.GetAt(-1, key, value));
  EXPECT_TRUE(key.IsEmpty());
}

TEST(XArgListTest, AddRemoveAndCopyKeepTheListsInStep) {
  XArgList args(u"");
  args.Add(u"x", u"1", 4);
  args.Add(XString(u"y"), XString(u""));
  args.Add(u"z", u"3");
  args.RemoveAt(1);
  args.RemoveAt(5);
  EXPECT_EQ(PairsOf(args), (Pairs{{u"x", u"1"}, {u"z", u"3"}}));
  EXPECT_EQ(args.values[0].Tag(), 4u);
  XArgList copy(u"-old");
  copy = args;
  args.RemoveAt(0);
  EXPECT_EQ(PairsOf(copy), (Pairs{{u"x", u"1"}, {u"z", u"3"}}));
  copy.Parse(u"-n");
  EXPECT_EQ(PairsOf(copy), (Pairs{{u"n", u""}}));
}

TEST(XArgListTest, ParseListReadsSeparatedItems) {
  XArgList args(u"-stale");
  args.ParseList(ListOf({u"-a=1", u"--b", u"two words", u"-c", u"-d", u"", u"x-e=f=g", u"-h"}));
  EXPECT_EQ(PairsOf(args), (Pairs{{u"a", u"1"},
                                  {u"b", u"two words"},
                                  {u"c", u""},
                                  {u"d", u""},
                                  {u"e", u"f=g"},
                                  {u"h", u""}}));
}

TEST(XArgListTest, ParseListStopsAtAnItemWithoutADash) {
  XArgList args(u"");
  args.ParseList(ListOf({u"-a=1", u"-b=2", u"plain", u"-c"}));
  EXPECT_EQ(PairsOf(args), (Pairs{{u"a", u"1"}, {u"b", u"2"}}));
  args.ParseList(ListOf({u"plain", u"-c"}));
  EXPECT_EQ(args.Count(), 0);
  args.ParseList(ListOf({u"-", u"--", u"-=v"}));
  EXPECT_EQ(PairsOf(args), (Pairs{{u"", u""}, {u"", u""}, {u"", u"v"}}));
}

TEST(XArgListTest, ParseArgvReadsUtf8FromTheFirstIndex) {
  const char* argv[] = {"/usr/bin/trans-mill",  "-infile=-", "-outfile", "a b.flac",
                        "-artist=Bj\xC3\xB6rk", nullptr};
  XArgList args(u"");
  args.ParseArgv(5, argv, 1);
  EXPECT_EQ(PairsOf(args),
            (Pairs{{u"infile", u"-"}, {u"outfile", u"a b.flac"}, {u"artist", u"Bj\u00f6rk"}}));
  args.ParseArgv(5, argv, 0);
  EXPECT_EQ(args.keys[0], u"mill");
  args.ParseArgv(3, argv, 5);
  EXPECT_EQ(args.Count(), 0);
  args.ParseArgv(3, nullptr, 1);
  EXPECT_EQ(args.Count(), 0);
  args.ParseArgv(9, argv, 4);  // a null item ends the arguments
  EXPECT_EQ(args.Count(), 1);
}

TEST(XArgListTest, SplitArgsFreeFunction) {
  XStringList list = SplitArgs(u"a \"b c\"");
  ASSERT_EQ(list.Count(), 2);
  EXPECT_EQ(list[1], u"b c");
}

TEST(XArgListTest, DefaultConstructionReadsTheProcessArguments) {
  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 1);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
  std::string program = std::string(TV_TEST_BIN_DIR) + "/ArgListEcho";
  const char* argv[] = {program.c_str(), "-in=x y.wav", "--Level", "-q", "5",
                        "plain",         "-never",      nullptr};
  pid_t child = 0;
  int spawned = posix_spawn(&child, program.c_str(), &actions, nullptr,
                            const_cast<char* const*>(argv), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipeEnds[1]);
  ASSERT_EQ(spawned, 0);
  std::string output;
  char chunk[256];
  for (ssize_t n; (n = read(pipeEnds[0], chunk, sizeof(chunk))) > 0;)
    output.append(chunk, size_t(n));
  close(pipeEnds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(output, "in=x y.wav|Level=|q=5|\n");
}
