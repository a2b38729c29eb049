// Tests of standard-input audio: the "source..." options, the idtags file and block reading.
#include "tests/engine/TvTestSupport.h"

#include <cstring>

namespace {

class TvStdinSourceTest : public TvRunPhaseTest {
 protected:
  void TearDown() override {
    if (writeEnd >= 0) close(writeEnd);
    TvRunPhaseTest::TearDown();
  }
  // The run reads the read end of a fresh pipe; the test writes to writeEnd.
  void AttachPipe(uint16_t channels, uint32_t rate, uint16_t bits) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    Src().stdinPipe.Attach(ends[0], XInvalidHandle);
    writeEnd = ends[1];
    Src().stdinFormat.SetPCM(channels, rate, bits);
  }
  void Write(size_t count) {
    std::string bytes(count, '\0');
    for (size_t i = 0; i < count; i++) bytes[i] = static_cast<char>(written + i);
    written += count;
    ASSERT_EQ(write(writeEnd, bytes.data(), count), static_cast<ssize_t>(count));
  }
  void EndStream() {
    close(writeEnd);
    writeEnd = -1;
  }
  TvAudioBlock Read() {
    TvAudioBlock block;
    std::memset(&block, 0, sizeof(block));
    EXPECT_TRUE(TvTransmillTestAccess::ReadStdinBlock(*run, &block));
    return block;
  }
  std::string Bytes(const TvAudioBlock& block) const {
    return std::string(static_cast<const char*>(block.data), block.byteCount);
  }

  int writeEnd = -1;
  size_t written = 0;
};

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
  AttachPipe(2, 1000, 16);  // 4000 bytes a second
  Write(402);
  TvAudioBlock block = Read();
  EXPECT_EQ(block.byteCount, 400u);
  EXPECT_EQ(block.endOfStream, 0u);
  EXPECT_EQ(block.msDuration, 100u);
  EXPECT_EQ(block.bitRate, 32000u);
  EXPECT_EQ(block.format.Format.nBlockAlign, 4u);
  Dst().bytesEncoded = 4000;
  Write(1);
  EndStream();
  block = Read();
  EXPECT_EQ(block.msPosition, 1000u);
  EXPECT_EQ(block.endOfStream, 1u);
  EXPECT_EQ(Bytes(block), "\x90\x91\x92");
}

}  // namespace
