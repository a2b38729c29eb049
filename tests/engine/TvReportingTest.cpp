// Console output: the header with its scale, the 60-mark bar, and the encoding details in the log.
#include "tests/engine/TvTestSupport.h"

namespace {

using TvReportingTest = TvRunPhaseTest;

size_t Marks(const std::string& text) { return std::count(text.begin(), text.end(), '*'); }

TEST_F(TvReportingTest, BarReachesSixtyMarksAndRoundsDown) {
  run->ResetProgress();
  run->DrawBar(1);
  EXPECT_EQ(Marks(Out()), 0u);
  run->DrawBar(2);
  EXPECT_EQ(Marks(Out()), 1u);
  run->DrawBar(50);
  EXPECT_EQ(Marks(Out()), 30u);
  run->DrawBar(100);
  EXPECT_EQ(Out(), std::string(60, '*'));
  run->DrawBar(101);
  EXPECT_EQ(Marks(Out()), 60u);
}

TEST_F(TvReportingTest, BarNeverGoesBackUntilReset) {
  run->DrawBar(40);
  run->DrawBar(10);
  EXPECT_EQ(Marks(Out()), 24u);
  run->ResetProgress();
  run->DrawBar(10);
  EXPECT_EQ(Marks(Out()), 30u);
}

TEST_F(TvReportingTest, HeaderEndsWithTheScaleAndOneBlank) {
  ASSERT_TRUE(ParseText("-infile=a.wav -outfile=b.mp3 -convert_to=lame -dspeffect1=Vol=2"));
  run->PrintHeader();
  const std::string scale = " 0%-----------25%-----------50%-----------75%-----------100%";
  EXPECT_EQ(scale.size(), 60u);
  EXPECT_EQ(Out(),
            "Encoding: lame\r\nAudio Source: a.wav\r\nAudio Destination: b.mp3\r\n"
            "DSP Effects: Vol\r\n\r\n" +
                scale + "\r\n ");
}

TEST_F(TvReportingTest, SourceOnStandardInputIsNamedSo) {
  ASSERT_TRUE(ParseText("-infile=\"-\" -outfile=b.mp3 -convert_to=lame"));
  run->PrintHeader();
  EXPECT_NE(Out().find("Audio Source: Standard Input\r\n"), std::string::npos);
  EXPECT_EQ(Out().find("DSP Effects"), std::string::npos);
}

TEST_F(TvReportingTest, EncodingDetailsGoToTheLogOnly) {
  ASSERT_TRUE(
      ParseText("-infile=a -outfile=b -convert_to=lame -dspeffect1=Vol=2 "
                "-dspeffect2=\"Norm=-a 1\""));
  run->dspEffects[0]->isLive = true;
  run->LogEncodingDetails(XString(u"-V 2"));
  EXPECT_EQ(LogText(),
            "Encoding To: lame\r\nEncoder Cmd Line: -V 2\r\nDSP Effects:\r\n"
            "    Vol: 2\r\n    Norm (non-live): -a 1\r\n\r\n");
  EXPECT_EQ(Out(), "");
}

}  // namespace
