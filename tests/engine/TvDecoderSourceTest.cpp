// Tests of the read-back source: the file that non-live rendering leaves, half a second a block.
#include "tests/engine/TvTestSupport.h"

#include <cstring>

namespace {

class TvDecoderSourceTest : public TvRunPhaseTest {
 protected:
  // A raw file of count bytes in a 1000 Hz, 16-bit stereo format (4000 bytes a second).
  void ReadBackFile(size_t count, bool extensible = false) {
    WriteBytes(PathOf("raw.bin"), StreamBytes(count));
    ASSERT_TRUE(Dsps().tempFile.OpenRead(X(PathOf("raw.bin"))));
    Dsps().tempLength = count;
    Dsps().tempFormat.SetPCM(2, 1000, 16);
    if (extensible) Dsps().tempFormat.ToExtensible();
  }
  TvAudioBlock Read(bool expectOk = true) {
    TvAudioBlock block;
    std::memset(&block, 0, sizeof(block));
    EXPECT_EQ(TvTransmillTestAccess::ReadBackBlock(*run, &block), expectOk);
    return block;
  }
};

TEST_F(TvDecoderSourceTest, LongerFileComesInHalfSecondsWithPositions) {
  ReadBackFile(5000, true);
  TvAudioBlock block = Read();
  EXPECT_EQ(block.byteCount, 2000u);
  EXPECT_EQ(block.msDuration, 500u);
  EXPECT_EQ(block.bitRate, 32000u);
  EXPECT_EQ(block.format.Format.wFormatTag, TV_FORMAT_EXTENSIBLE);
  Dst().bytesEncoded += block.byteCount;
  Read();
  Dst().bytesEncoded += 2000;
  block = Read();
  EXPECT_EQ(block.msPosition, 1000u);
  EXPECT_EQ(block.byteCount, 1000u);
  EXPECT_EQ(block.endOfStream, 1u);
  EXPECT_EQ(std::string(static_cast<const char*>(block.data), 1000),
            StreamBytes(5000).substr(4000));
}

TEST_F(TvDecoderSourceTest, FileThatEndsEarlyIsAReadError) {
  ReadBackFile(100);
  Dsps().tempLength = 4000;  // more than the file holds
  Read();
  const TvAudioBlock block = Read(false);
  EXPECT_EQ(block.byteCount, 0u);
  EXPECT_NE(Err().find("Error reading back from temporary DSP file."), std::string::npos) << Err();
  EXPECT_EQ(tvExitFlag, 1);
  tvExitFlag = 0;
}

}  // namespace
