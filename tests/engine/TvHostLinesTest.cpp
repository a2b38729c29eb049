// Host lines on standard output: exact UTF-16LE bytes, and which of them are sent when.
#include "tests/engine/TvTestSupport.h"

namespace {

class TvHostLinesTest : public TvRunPhaseTest {
 protected:
  void SetUp() override {
    TvRunPhaseTest::SetUp();
    run->hostMode = 1;
    run->silent = 1;
  }
};

TEST_F(TvHostLinesTest, LinesAreUtf16LeWithoutMarkEndedByCrLf) {
  run->SendMsLen(4294967296000ull);
  const std::string expected = Utf16Le("MSGTO: tVH: msLen: 4294967296000\r\n");
  EXPECT_EQ(ReadBytes(PathOf("out.txt")), expected);
}

TEST_F(TvHostLinesTest, ActionsNameTheOutputWithoutFolderAndExtension) {
  run->SendAction(XString(u"Rendering For DSPs..."));
  run->SendAction(XString(u"Running DSP Effect Volume"));
  run->SendAction(XString());
  run->SendEncodingAction(XString(u"/music/a.b/Song.v2.flac"));
  run->SendTagWritingAction(XString(u"/music/x/Track 01.mp3"));
  run->SendFileName(XString(u"/music/x/Track 01.cue"));
  EXPECT_EQ(Out(),
            "MSGTO: tVH: Action: Rendering For DSPs...\r\n"
            "MSGTO: tVH: Action: Running DSP Effect Volume\r\n"
            "MSGTO: tVH: Action: \r\n"
            "MSGTO: tVH: Action: Encoding 'Song.v2'\r\n"
            "MSGTO: tVH: Action: Writing ID Tags 'Track 01'\r\n"
            "MSGTO: tVH: FileName: /music/x/Track 01.cue\r\n");
}

TEST_F(TvHostLinesTest, PercentDoneOnlyRisesAndNeverSaysZero) {
  run->ResetProgress();
  for (uint32_t p : {0u, 1u, 1u, 0u, 50u, 49u, 99u}) run->ShowProgress(p);
  EXPECT_EQ(Out(),
            "MSGTO: tVH: PCDone: 1 %\r\n"
            "MSGTO: tVH: PCDone: 50 %\r\n"
            "MSGTO: tVH: PCDone: 99 %\r\n");
}

TEST_F(TvHostLinesTest, PercentDoneStopsAtOneHundred) {
  run->SendPercentDone(100);
  run->SendPercentDone(250);
  EXPECT_EQ(Out(), "MSGTO: tVH: PCDone: 100 %\r\n");
  run->ResetProgress();
  run->SendPercentDone(3);
  EXPECT_EQ(Out(), "MSGTO: tVH: PCDone: 100 %\r\nMSGTO: tVH: PCDone: 3 %\r\n");
}

TEST_F(TvHostLinesTest, ActionTextsAreSentOnceAndKeepMemoriesOfTheirOwn) {
  run->SendActionInput(u"Reading");
  run->SendActionInput(u"Reading");
  run->SendActionOutput(u"Reading");
  run->SendActionInput(u"reading");
  run->SendActionInput(nullptr);
  run->SendActionInput(u"");
  run->SendActionOutput(u"Reading");
  EXPECT_EQ(Out(),
            "MSGTO: tVH: ActionInput: Reading\r\n"
            "MSGTO: tVH: ActionOutput: Reading\r\n"
            "MSGTO: tVH: ActionInput: reading\r\n");
}

TEST_F(TvHostLinesTest, NothingIsSentOutsideHostMode) {
  run->hostMode = 0;
  run->SendMsLen(5);
  run->SendAction(XString(u"x"));
  run->SendActionInput(u"x");
  run->SendPercentDone(10);
  EXPECT_EQ(ReadBytes(PathOf("out.txt")), "");
  // A console run draws the bar instead.
  run->silent = 0;
  run->ShowProgress(10);
  EXPECT_EQ(Out(), "******");
}

}  // namespace
