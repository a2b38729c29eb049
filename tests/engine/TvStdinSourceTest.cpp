// Tests of standard-input audio: the "source..." options, the idtags file and block reading.
#include "tests/engine/TvTestSupport.h"

namespace {

using TvStdinSourceTest = TvRunPhaseTest;

// The tag file is kept whole; an empty or missing one gives no tags and no error.
TEST_F(TvStdinSourceTest, TagFileIsKeptWholeAsTheSourceTags) {
  const std::string tags("\x02\x00\x00\x00tagbytes", 12);
  WriteBytes(PathOf("tags.bin"), tags);
  WriteBytes(PathOf("empty.bin"), "");
  for (std::string name : {"tags.bin", "empty.bin", "missing.bin"}) {
    run->Clear();
    run->Parse(X(("-idtags=\"" + PathOf(name) + "\"")), 1);
    TvOpenInfo info = {};
    TvTransmillTestAccess::ReadStdinTags(*run, &info);
    const std::string got(static_cast<const char*>(info.idTags), info.idTagsSize);
    EXPECT_EQ(got, name == "tags.bin" ? tags : "") << name;
  }
  EXPECT_EQ(Err(), "");
}

// Waiting bytes come in whole frames; the end brings what is left, a cut frame too.
TEST_F(TvStdinSourceTest, WaitingWholeFramesComeAsOneBlockAndTheEndBringsTheRest) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  Src().stdinPipe.Attach(ends[0], XInvalidHandle);
  Src().stdinFormat.SetPCM(2, 1000, 16);  // 4000 bytes a second
  const std::string bytes = StreamBytes(403);
  ASSERT_EQ(write(ends[1], bytes.data(), 402), 402);
  TvAudioBlock block{};
  EXPECT_TRUE(TvTransmillTestAccess::ReadStdinBlock(*run, &block));
  EXPECT_EQ(block.byteCount, 400u);
  EXPECT_EQ(block.endOfStream, 0u);
  EXPECT_EQ(block.msDuration, 100u);
  EXPECT_EQ(block.bitRate, 32000u);
  EXPECT_EQ(block.format.Format.nBlockAlign, 4u);
  Dst().bytesEncoded = 4000;
  EXPECT_EQ(write(ends[1], bytes.data() + 402, 1), 1);
  close(ends[1]);
  EXPECT_TRUE(TvTransmillTestAccess::ReadStdinBlock(*run, &block));
  EXPECT_EQ(block.msPosition, 1000u);
  EXPECT_EQ(block.endOfStream, 1u);
  EXPECT_EQ(std::string(static_cast<const char*>(block.data), block.byteCount), bytes.substr(400));
}

}  // namespace
