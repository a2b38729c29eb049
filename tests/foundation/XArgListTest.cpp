// The option list: the tokeniser, separated items, look-ups and the text forms.
#include "foundation/XArgList.h"

#include "tests/foundation/Fixtures.h"
#include "tests/sdk/support/NamedPeer.h"

namespace {

// "key=value|key=value", with a check that keys and values stay in step.
std::string Rendered(const XArgList& args) {
  EXPECT_EQ(args.keys.Count(), args.values.Count());
  std::string out;
  for (int32_t i = 0; i < args.keys.Count(); ++i)
    out += (i ? "|" : "") + U8(args.keys[i]) + "=" + U8(args.values[i]);
  return out;
}

}  // namespace

TEST(XArgListTest, TokeniserRules) {
  const struct {
    const char16_t* text;
    int32_t start;
    const char* pairs;
  } cases[] = {
      {u"-a=1 -b \"x y\" --c -d=\"-e\" -f", 1, "a=1|b=x y|c=|d=-e|f="},
      {u"-name\"value\"", 1, "name=value"},
      // A lone dash is dropped and the scan goes on.
      {u"-a - -b", 1, "a=|b="},
      // An unterminated quote gives an empty value.
      {u"-a=\"x", 1, "a="},
      {u"-a=\"x-y z", 1, "a=|y=z"},
      // A value cannot start with a minus unless quoted.
      {u"-gain -3", 1, "gain=|3="},
      {u"-gain \"-3\"", 1, "gain=-3"},
      // Text outside options is passed over.
      {u"loose words -a 1 more words", 1, "a=1"},
      {u"word-x", 1, "x="},
      {u"---", 1, "-="},
      {u"-a===b", 1, "a=b"},
      {u"-===x", 1, ""},
      // The start position counts from 1; 0 is the same as 1.
      {u"\"/opt/my-prog/transmill\" -in=a", 25, "in=a"},
      {u"-a -b", 2, "b="},
      {u"-a -b", 0, "a=|b="},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Rendered(XArgList(c.text, c.start)), c.pairs) << U8(c.text) << " from " << c.start;
  EXPECT_EQ(Rendered(XArgList(static_cast<const char16_t*>(nullptr))), "");
}

TEST(XArgListTest, TextFormsQuoteEveryValueOrOnlyWhereNeeded) {
  XArgList args(u"-a=1 -b \"x y\" --c -d=\"-e\" -Mixed=Case");
  EXPECT_EQ(args.ToText(), u"-a=\"1\" -b=\"x y\" -c -d=\"-e\" -Mixed=\"Case\"");
  XArgList command(u"-out=\"a b.flac\" -q=5 -flag");
  EXPECT_EQ(command.ToCommandText(), u"-out=\"a b.flac\" -q=5 -flag");
}

TEST(XArgListTest, LookupsChooseCase) {
  XArgList args(u"-Name=x -name=y");
  EXPECT_EQ((Ints{args.Has(u"NAME"), args.Has(u"NAME", false)}), (Ints{1, 0}));
  XString key(u"k"), value(u"stale");
  EXPECT_TRUE(args.Get(u"name", value, false));
  EXPECT_EQ(value, u"y");
  EXPECT_FALSE(args.Get(u"absent", value));
  EXPECT_TRUE(value.IsEmpty());
  EXPECT_TRUE(args.GetAt(1, key, value));
  EXPECT_EQ(Joined({key, value}), "name|y");
  EXPECT_FALSE(args.GetAt(2, key, value));
}

TEST(XArgListTest, AddRemoveAndCopyKeepTheListsInStep) {
  XArgList args(u"");
  args.Add(u"x", u"1", 4);
  args.Add(XString(u"y"), XString(u""));
  args.Add(u"z", u"3");
  args.RemoveAt(1);
  args.RemoveAt(5);
  EXPECT_EQ(Rendered(args), "x=1|z=3");
  EXPECT_EQ(args.values[0].Tag(), 4u);
}

TEST(XArgListTest, ParseListReadsSeparatedItemsUpToOneWithoutADash) {
  XArgList args(u"-stale");
  args.ParseList(ListOf({u"-a=1", u"--b", u"two words", u"-c", u"-d", u"", u"x-e=f=g", u"-h"}));
  EXPECT_EQ(Rendered(args), "a=1|b=two words|c=|d=|e=f=g|h=");
  args.ParseList(ListOf({u"-a=1", u"-b=2", u"plain", u"-c"}));
  EXPECT_EQ(Rendered(args), "a=1|b=2");
}

TEST(XArgListTest, ParseArgvStopsAtTheCountOrANullItem) {
  const char* argv[] = {"/usr/bin/trans-mill", "-a=\xC3\xB6", "-b", "c d", nullptr};
  XArgList args(u"");
  args.ParseArgv(4, argv, 0);
  EXPECT_EQ(Rendered(args), "mill=|a=\u00f6|b=c d");
  args.ParseArgv(9, argv, 2);  // a null item ends the arguments
  EXPECT_EQ(Rendered(args), "b=c d");
}

TEST(XArgListTest, DefaultConstructionReadsTheProcessArguments) {
  std::string output;
  EXPECT_EQ(named_peer::RunPeer(std::string(TV_TEST_BIN_DIR) + "/ArgListEcho",
                                {"-in=x y.wav", "--Level", "-q", "5", "plain", "-never"}, &output),
            0);
  EXPECT_EQ(output, "in=x y.wav|Level=|q=5|\n");
}
