// The Communicate dialogue: rounds, the record a plug-in sees, and where its requests go.
#include "engine/TvCommunicate.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"
#include "tests/engine/TvTestSupport.h"

#include <string>
#include <vector>

namespace {

// A scripted plug-in: each round of "Communicate" takes the next request, until none is left.
struct FakePlugin {
  struct Request {
    const char16_t* target;
    const char16_t* verb;
    const char16_t* key;
  };
  std::vector<Request> script;
  TvPluginValue inner{};               // the value a request carries
  std::vector<TvPluginValue> asked;    // the record at each Communicate, as the engine made it
  std::vector<TvPluginValue> results;  // the record at each CommunicateResult
  std::vector<std::u16string> calls;   // Get and Set of other keys: "get:key" / "set:key"
  int32_t answer = 7;
  std::string* order = nullptr;  // gets `name` at each round of this plug-in's
  char name = '?';

  int32_t Get(const char16_t* key, TvPluginValue* value) {
    if (XString::SameText(key, TV_KEY_COMMUNICATE)) {
      if (order) *order += name;
      asked.push_back(*value);
      const size_t round = static_cast<size_t>(value->index);
      if (round >= script.size()) return 0;
      value->text1 = script[round].target;
      value->text2 = script[round].verb;
      value->text3 = script[round].key;
      value->data = &inner;
      return 1;
    }
    calls.push_back(u"get:" + std::u16string(key));
    return answer;
  }
  int32_t Set(const char16_t* key, TvPluginValue* value) {
    if (XString::SameText(key, TV_KEY_COMMUNICATE_RESULT)) {
      results.push_back(*value);
      return 1;
    }
    calls.push_back(u"set:" + std::u16string(key));
    return answer;
  }
};

TEST(TvCommunicateTest, RoundsCountUpAndTheResultComesBackBesideTheRequest) {
  FakePlugin decoder, encoder;
  decoder.script = {{u"encoder", u"GET", u"Bitrate"}, {u"Encoder", u"set", u"Mode"}};
  encoder.answer = 320;
  uint32_t failed = 0;
  const uint32_t rounds = TvRunDialogue(TvPeerOf(decoder), TvPeerOf(decoder), TvPeerOf(encoder),
                                        true, TV_PHASE_BEFORE_OPEN, failed);
  EXPECT_EQ(rounds, 2u);
  ASSERT_EQ(decoder.asked.size(), 3u);
  for (int r = 0; r < 3; r++) {
    const TvPluginValue& v = decoder.asked[r];
    EXPECT_EQ(v.index, r);
    EXPECT_EQ(v.value, 1);  // the run is well so far
    EXPECT_TRUE(XString::SameText(v.text1, u"BeforeOpen"));
    EXPECT_EQ(v.data, nullptr);
  }
  EXPECT_EQ(encoder.calls, (std::vector<std::u16string>{u"get:Bitrate", u"set:Mode"}));
  EXPECT_TRUE(decoder.calls.empty());
  ASSERT_EQ(decoder.results.size(), 2u);
  const TvPluginValue& r = decoder.results[0];
  EXPECT_EQ(r.value, 320);
  EXPECT_TRUE(XString::SameText(r.text1, u"encoder"));
  EXPECT_TRUE(XString::SameText(r.text3, u"Bitrate"));
  EXPECT_EQ(r.data, &decoder.inner);

  FakePlugin late;
  failed = 1;
  TvRunDialogue(TvPeerOf(late), TvPeerOf(late), TvPeerOf(encoder), true, TV_PHASE_END_ENCODING,
                failed);
  EXPECT_EQ(late.asked.at(0).value, 0);
}

// Only the reachable parties are asked, and only with a known target and verb.
TEST(TvCommunicateTest, UnreachableOrMalformedRequestsGiveZero) {
  FakePlugin decoder, encoder;
  encoder.script = {{u"decoder", u"get", u"Key"},  {u"Somebody", u"get", u"Key"},
                    {u"Encoder", nullptr, u"Key"}, {u"Encoder", u"poke", u"Key"},
                    {nullptr, u"get", u"Key"},     {u"Encoder", u"get", u"Own"}};
  uint32_t failed = 0;
  TvRunDialogue(TvPeerOf(encoder), TvPeerOf(decoder), TvPeerOf(encoder), false,
                TV_PHASE_BEFORE_ENCODING, failed);
  EXPECT_TRUE(decoder.calls.empty());
  std::vector<int32_t> values;
  for (const TvPluginValue& r : encoder.results) values.push_back(r.value);
  EXPECT_EQ(values, (std::vector<int32_t>{0, 0, 0, 0, 0, 7}));  // a plug-in may ask itself
  EXPECT_EQ(encoder.calls, (std::vector<std::u16string>{u"get:Own"}));
}

class TvCommunicatePhaseTest : public TvRunPhaseTest {};

TEST_F(TvCommunicatePhaseTest, DecoderAsksFirstThenEncoderButNotForStandardInput) {
  FakePlugin decoder, encoder;
  std::string order;
  decoder.order = encoder.order = &order;
  decoder.name = 'd';
  encoder.name = 'e';
  run->Communicate(TV_PHASE_BEFORE_OPEN, TvPeerOf(decoder), TvPeerOf(encoder));
  EXPECT_EQ(order, "de");
  Opts().inputIsStdin = 1;
  order.clear();
  run->Communicate(TV_PHASE_BEFORE_OPEN, TvPeerOf(decoder), TvPeerOf(encoder));
  EXPECT_EQ(order, "e");
}

}  // namespace
