// Progress and host lines: the console bar's marks, and which host lines are sent when.
#include "tests/engine/TvTestSupport.h"

namespace {

using TvHostLinesTest = TvRunPhaseTest;

TEST_F(TvHostLinesTest, BarRoundsDownStopsAtSixtyAndGoesBackOnlyAfterAReset) {
  const struct {
    uint32_t percent;
    size_t marks;
  } steps[] = {{1, 0}, {2, 1}, {40, 24}, {10, 24}, {100, 60}, {101, 60}};
  for (const auto& step : steps) {
    run->DrawBar(step.percent);
    EXPECT_EQ(Out(), std::string(step.marks, '*')) << step.percent;
  }
  run->ResetProgress();
  run->DrawBar(10);
  EXPECT_EQ(Out(), std::string(66, '*'));
}

TEST_F(TvHostLinesTest, ActionsNameTheOutputWithoutFolderAndExtension) {
  Opts().hostMode = 1;
  run->SendAction(XString(u"Rendering For DSPs..."));
  run->SendEncodingAction(XString(u"/music/a.b/Song.v2.flac"));
  run->SendTagWritingAction(XString(u"/music/x/Track 01.mp3"));
  run->SendFileName(XString(u"/music/x/Track 01.cue"));
  EXPECT_EQ(Out(),
            "MSGTO: tVH: Action: Rendering For DSPs...\r\n"
            "MSGTO: tVH: Action: Encoding 'Song.v2'\r\n"
            "MSGTO: tVH: Action: Writing ID Tags 'Track 01'\r\n"
            "MSGTO: tVH: FileName: /music/x/Track 01.cue\r\n");
}

TEST_F(TvHostLinesTest, PercentDoneOnlyRisesNeverSaysZeroAndStopsAtOneHundred) {
  Opts().hostMode = 1;
  run->ResetProgress();
  for (uint32_t p : {0u, 1u, 1u, 0u, 50u, 49u, 250u, 100u}) run->ShowProgress(p);
  EXPECT_EQ(Out(),
            "MSGTO: tVH: PCDone: 1 %\r\nMSGTO: tVH: PCDone: 50 %\r\n"
            "MSGTO: tVH: PCDone: 100 %\r\n");
}

TEST_F(TvHostLinesTest, ActionTextsAreSentOnceAndKeepMemoriesOfTheirOwn) {
  Opts().hostMode = 1;
  for (const char16_t* text : {u"Reading", u"Reading"}) run->SendActionInput(text);
  run->SendActionOutput(u"Reading");
  run->SendActionInput(u"reading");
  EXPECT_EQ(Out(),
            "MSGTO: tVH: ActionInput: Reading\r\nMSGTO: tVH: ActionOutput: Reading\r\n"
            "MSGTO: tVH: ActionInput: reading\r\n");
}

}  // namespace
