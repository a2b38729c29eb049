// Tests of the option parse, the DSP list and the encoder's command line.
#include "tests/engine/TvTestSupport.h"

#include <string>
#include <vector>

namespace {

const char16_t* const kComplete = u"-infile=in.flac -outfile=out.mp3 -convert_to=enc ";

class TvOptionsTest : public TvRunPhaseTest {
 protected:
  bool ParseWith(const std::u16string& more) {
    return ParseText((std::u16string(kComplete) + more).c_str());
  }
  std::vector<std::string> DspNames() const {
    std::vector<std::string> names;
    for (const auto& entry : run->dspEffects) names.push_back(Utf8(entry->name));
    return names;
  }
  std::string Strip() { return Utf8(TvTransmillTestAccess::Strip(*run)); }
};

TEST_F(TvOptionsTest, CompleteOptionsFillTheRun) {
  ASSERT_TRUE(ParseWith(u""));
  EXPECT_EQ(Utf8(run->inputFile), "in.flac");
  EXPECT_EQ(Utf8(run->outputFile), "out.mp3");
  EXPECT_EQ(Utf8(run->tagLoadFile), "out.mp3");
  EXPECT_EQ(Utf8(run->encoderName), "enc");
  EXPECT_EQ(run->writeTags, 1u);
  EXPECT_EQ(run->silent, 0);
  EXPECT_EQ(run->inputIsStdin, 0u);
  EXPECT_EQ(Out(), "");
  EXPECT_EQ(Err(), "");
}

TEST_F(TvOptionsTest, UsageIsShownEvenWhenSilent) {
  EXPECT_FALSE(ParseText(u"-silent"));
  EXPECT_NE(Out().find("Usage: Transmill.exe"), std::string::npos);
}

TEST_F(TvOptionsTest, HostModeReportsMissingOptionsInsteadOfUsage) {
  run->hostMode = 1;
  EXPECT_FALSE(ParseText(u"-something=else"));
  EXPECT_EQ(Err(),
            "Error missing infile & outfile & convert_to.  [TvTransmill::ParseCommandLine]\r\n");
  EXPECT_EQ(Out(), "");
  EXPECT_NE(LogText().find("*** Error: Error missing infile"), std::string::npos);
}

TEST_F(TvOptionsTest, HelpInHostModeIsAnError) {
  run->hostMode = 1;
  EXPECT_FALSE(ParseWith(u"-help"));
  EXPECT_EQ(Err(),
            "Error missing infile & outfile & convert_to.  [TvTransmill::ParseCommandLine]\r\n");
}

TEST_F(TvOptionsTest, MissingOptionsAreTestedEncoderFirst) {
  EXPECT_FALSE(ParseText(u"-infile=a"));
  EXPECT_EQ(Err(), "Error no encoder specified.  [TvTransmill::ParseCommandLine]\r\n");
}

TEST_F(TvOptionsTest, QuotedDashIsStandardInputUnquotedIsNoValue) {
  ASSERT_TRUE(ParseText(u"-infile=\"-\" -outfile=o -convert_to=c"));
  EXPECT_EQ(run->inputIsStdin, 1u);
  run = TvTransmillTestAccess::Make();
  run->stdErr.OpenCreate(XString(PathOf("err.txt").c_str(), true));
  run->CreateCapturePipes();
  EXPECT_FALSE(ParseText(u"-infile=- -outfile=o -convert_to=c"));
  EXPECT_EQ(Err(), "Error no input file specified  [TvTransmill::ParseCommandLine]\r\n");
}

TEST_F(TvOptionsTest, FirstOfTwoOutputFilesCountsAndBothAreStripped) {
  ASSERT_TRUE(ParseWith(u"-outfile=second.mp3 -q 5"));
  EXPECT_EQ(Utf8(run->outputFile), "out.mp3");
  EXPECT_EQ(Strip(), " -q=\"5\"");
}

TEST_F(TvOptionsTest, CapitalisedOptionsAreFoundAndStripped) {
  ASSERT_TRUE(ParseText(u"-InFile=a -OUTFILE=b -Convert_To=c -NoIdTag -decoderset=x -Vbr"));
  EXPECT_EQ(Utf8(run->inputFile), "a");
  EXPECT_EQ(run->writeTags, 0u);
  EXPECT_EQ(Strip(), " -Vbr");
}

TEST_F(TvOptionsTest, EveryOwnOptionIsStrippedAndOthersPass) {
  ASSERT_TRUE(ParseWith(
      u"-tvcmd=a -tvcmd8=b -evtquit=q -evtafterconvseterror=e -evtwatchdog=w -priority=low "
      u"-silent -errorfile= -processor=2 -sourcefreq=1 -sourcebits=2 -sourcechannels=3 "
      u"-sourcelength=4 -idtags=t -noidtag -tag=\"a=b\" -shrbytesencoded=s -batchid=3 "
      u"-tmpfolder=/t -fntousefortagloaddec=f -DecoderSet=k -dsppreset=p -dspeffect1=\"x=1\" "
      u"-sourceisfloat -help2 -b=\"a b\""));
  EXPECT_EQ(Strip(), " -sourceisfloat -help2 -b=\"a b\"");
  EXPECT_EQ(Strip().rfind(" -", 0), 0u);
}

TEST_F(TvOptionsTest, EncoderLineIsEmptyWithOnlyOwnOptions) {
  ASSERT_TRUE(ParseWith(u""));
  EXPECT_EQ(Strip(), "");
  EXPECT_NE(LogText().find("->->  [TvTransmill::StripTransmillCmds]"), std::string::npos);
  EXPECT_NE(LogText().find("<-<-  [TvTransmill::StripTransmillCmds]"), std::string::npos);
}

TEST_F(TvOptionsTest, ValuesWithQuotesAreNotEscaped) {
  ASSERT_TRUE(ParseWith(u"-x=\"a{qt}b\""));
  EXPECT_EQ(Strip(), " -x=\"a{qt}b\"");
}

TEST_F(TvOptionsTest, OpeningQuoteOnlyGivesEmptyValueAndLaterOptions) {
  ASSERT_TRUE(ParseWith(u"-x=\"abc -y=1"));
  EXPECT_EQ(Strip(), " -x -y=\"1\"");
}

TEST_F(TvOptionsTest, TagLoadFileFollowsItsOption) {
  ASSERT_TRUE(ParseWith(u"-fntousefortagloaddec=t.flac"));
  EXPECT_EQ(Utf8(run->tagLoadFile), "t.flac");
  run = TvTransmillTestAccess::Make();
  ASSERT_TRUE(ParseWith(u"-fntousefortagloaddec"));
  EXPECT_EQ(Utf8(run->tagLoadFile), "");
}

TEST_F(TvOptionsTest, HostModeIsAlwaysSilent) {
  run->hostMode = 1;
  ASSERT_TRUE(ParseWith(u""));
  EXPECT_EQ(run->silent, 1);
}

TEST_F(TvOptionsTest, ValuesKeptForLaterPhases) {
  ASSERT_TRUE(
      ParseWith(u"-silent -evtquit=Q -evtafterconvseterror=E -evtwatchdog=W "
                u"-processor=3 -shrbytesencoded=S -tmpfolder=\"/a b\" -batchid=42"));
  EXPECT_EQ(run->silent, 1);
  EXPECT_EQ(Utf8(run->quitEventName), "Q");
  EXPECT_EQ(Utf8(run->afterConvErrorEventName), "E");
  EXPECT_EQ(Utf8(run->watchdogEventName), "W");
  EXPECT_EQ(run->processorNumber, 3u);
  EXPECT_EQ(Utf8(run->bytesEncodedShareName), "S");
  EXPECT_EQ(Utf8(run->tmpFolder), "/a b/");
  EXPECT_EQ(run->batchId, 42u);
  EXPECT_EQ(run->batchAuto, 0);
  run = TvTransmillTestAccess::Make();
  ASSERT_TRUE(ParseWith(u"-tmpfolder=/x/"));
  EXPECT_EQ(Utf8(run->tmpFolder), "/x/");
}

TEST_F(TvOptionsTest, EmptyValuesCountAsAbsent) {
  ASSERT_TRUE(ParseWith(u"-evtquit -tmpfolder -batchid -processor"));
  EXPECT_EQ(Utf8(run->quitEventName), "");
  EXPECT_EQ(Utf8(run->tmpFolder), "");
  EXPECT_EQ(run->batchId, 0u);
  EXPECT_EQ(run->processorNumber, 0u);
}

TEST_F(TvOptionsTest, BatchIdWithoutDigitsReadsAsZero) {
  ASSERT_TRUE(ParseWith(u"-batchid=abc"));
  EXPECT_EQ(run->batchId, 0u);
  EXPECT_EQ(run->batchAuto, 0);
}

TEST_F(TvOptionsTest, AutomaticBatchComposesTheEffectsWithQuotesEscaped) {
  ASSERT_TRUE(ParseWith(u"-batchid=AuTo -dspeffect1=\"a=x{qt}y\" -dspeffect2=\"b=\""));
  EXPECT_EQ(run->batchAuto, 1);
  EXPECT_EQ(Utf8(run->batchCommand), " -dspeffect1=\"a=x{qt}y\" -dspeffect2=\"b=\"");
}

TEST_F(TvOptionsTest, ErrorFileReceivesErrorsAsUtf16) {
  const XString path(PathOf("errors ü.txt").c_str(), true);
  run->Parse(XString(u"-infile=a -outfile=b -errorfile=\"") + path + u"\"", 1);
  EXPECT_FALSE(TvTransmillTestAccess::Parse(*run));
  EXPECT_EQ(run->errorFileGiven, 1);
  run->RelayStep();
  EXPECT_EQ(Utf8(ReadUtf16(PathOf("errors ü.txt"))),
            "Error no encoder specified.  [TvTransmill::ParseCommandLine]\r\n");
  EXPECT_EQ(Err(), "");
}

TEST_F(TvOptionsTest, ErrorFileThatCannotBeMadeLosesTheText) {
  run->Parse(
      XString(u"-infile=a -errorfile=\"") + XString(PathOf("no/such/e.txt").c_str(), true) + u"\"",
      1);
  EXPECT_FALSE(TvTransmillTestAccess::Parse(*run));
  EXPECT_EQ(run->errorFileGiven, 1);
  EXPECT_FALSE(run->stdErr.IsOpen());
  EXPECT_EQ(Err(), "");
}

TEST_F(TvOptionsTest, DspNumbersEndAtTheFirstGap) {
  ASSERT_TRUE(ParseWith(u"-dspeffect1=a=b -dspeffect3=c=d"));
  ASSERT_EQ(run->dspEffects.size(), 1u);
  EXPECT_EQ(Utf8(run->dspEffects[0]->name), "a");
  EXPECT_EQ(Utf8(run->dspEffects[0]->options), "b");
  EXPECT_EQ(run->dspEffects[0]->binding, nullptr);
  EXPECT_TRUE(run->dspEffects[0]->enabled);
  EXPECT_FALSE(run->dspEffects[0]->isLive);
  EXPECT_EQ(Strip(), " -dspeffect3=\"c=d\"");
}

TEST_F(TvOptionsTest, DspValueWithoutEqualsIsSkippedButTheListGoesOn) {
  ASSERT_TRUE(ParseWith(u"-dspeffect1=a= -dspeffect2=plain -dspeffect3=\"c=x=y\""));
  EXPECT_EQ(DspNames(), (std::vector<std::string>{"a", "c"}));
  EXPECT_EQ(Utf8(run->dspEffects[0]->options), "");
  EXPECT_EQ(Utf8(run->dspEffects[1]->options), "x=y");
  // Only as many numbers are the engine's own as the chain has members.
  EXPECT_EQ(Strip(), " -dspeffect3=\"c=x=y\"");
}

TEST_F(TvOptionsTest, DspOptionsTurnQuoteEscapesIntoQuotes) {
  ASSERT_TRUE(ParseWith(u"-DSPEffect1=\"Gain=-g {qt}3 dB{qt}\""));
  ASSERT_EQ(run->dspEffects.size(), 1u);
  EXPECT_EQ(Utf8(run->dspEffects[0]->name), "Gain");
  EXPECT_EQ(Utf8(run->dspEffects[0]->options), "-g \"3 dB\"");
}

TEST_F(TvOptionsTest, ReplayGainExactlyNamedGoesLast) {
  ASSERT_TRUE(
      ParseWith(u"-dspeffect1=ReplayGain=x -dspeffect2=a= -dspeffect3=replaygain=y "
                u"-dspeffect4=b= -dspeffect5=ReplayGain=z"));
  EXPECT_EQ(DspNames(),
            (std::vector<std::string>{"a", "replaygain", "b", "ReplayGain", "ReplayGain"}));
  EXPECT_EQ(Utf8(run->dspEffects[3]->options), "x");
  EXPECT_EQ(Utf8(run->dspEffects[4]->options), "z");
}

TEST_F(TvOptionsTest, ThousandDspEffectsInOrderAndAllStripped) {
  std::u16string text;
  for (int i = 1; i <= 1000; i++) {
    const std::string n = std::to_string(i);
    text += XString((" -dspeffect" + n + "=fx" + n + "=o").c_str(), true).CStr();
  }
  ASSERT_TRUE(ParseWith(text));
  ASSERT_EQ(run->dspEffects.size(), 1000u);
  EXPECT_EQ(Utf8(run->dspEffects[999]->name), "fx1000");
  EXPECT_EQ(Strip(), "");
}

TEST_F(TvOptionsTest, PresetFileComesBeforeTheOptions) {
  WriteBytes(PathOf("p.txt"),
             Utf16Bytes("-dspeffect1=\"p=1\" -dspeffect2=\"ReplayGain=\" -dspeffect3=\"q=2\"\r\n"
                        "-dspeffect4=\"second=line\"",
                        true));
  const XString preset(PathOf("p.txt").c_str(), true);
  ASSERT_TRUE(ParseWith(std::u16string(u"-dspeffect1=c=3 -dsppreset=\"") + preset.CStr() + u"\""));
  EXPECT_EQ(DspNames(), (std::vector<std::string>{"p", "q", "c", "ReplayGain"}));
  // Only the engine's own list counts for stripping, and the chain has four members.
  EXPECT_EQ(Strip(), "");
}

TEST_F(TvOptionsTest, PresetThatCannotBeReadIsIgnored) {
  WriteBytes(PathOf("empty.txt"), "");
  for (const std::string name : {"missing.txt", "empty.txt"}) {
    run = TvTransmillTestAccess::Make();
    const XString preset(PathOf(name).c_str(), true);
    ASSERT_TRUE(ParseWith(std::u16string(u"-dspeffect1=c= -dsppreset=\"") + preset.CStr() + u"\""));
    EXPECT_EQ(DspNames(), (std::vector<std::string>{"c"})) << name;
  }
}

TEST_F(TvOptionsTest, UnknownOptionsReachTheEncoderInOrder) {
  ASSERT_TRUE(ParseWith(u"-V 2 --abr -m=\"j s\" -sourceisfloat"));
  run->Add(u"help", u"");
  EXPECT_EQ(Strip(), " -V=\"2\" -abr -m=\"j s\" -sourceisfloat -help");
}

}  // namespace
