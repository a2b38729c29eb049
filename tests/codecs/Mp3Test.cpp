// What only the MP3 plug-ins do: gapless MP3 to MP3 through float; lame and mpg123 are the
// referees.
#include "tests/codecs/CodecPlugins.h"

namespace {

class Mp3Test : public ConversionTest {};

TEST_F(Mp3Test, Mp3ToMp3StaysGapless) {
  if (!Built("decoder", "mp3") || !Built("encoder", "mp3")) GTEST_SKIP() << "MP3 not built";
  Sh("sox -n -r 44100 -c 2 -b 16 src.wav synth 1.5 sine 440 sine 660 gain -3 && lame --quiet -V2 "
     "src.wav vbr.mp3");
  ASSERT_EQ(Transmill("vbr.mp3", "again.mp3", "-convert_to=mp3 -b 192").exitCode, 0);
  Sh("mpg123 -q -w again.wav again.mp3");
  EXPECT_EQ(Samples("again.wav"), 66150);
}

}  // namespace
