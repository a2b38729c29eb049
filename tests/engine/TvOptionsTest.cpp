// The option parse: the values the run keeps, the DSP list and the encoder's command line.
#include "tests/engine/TvTestSupport.h"

namespace {

const std::string kComplete = "-infile=in.flac -outfile=out.mp3 -convert_to=enc ";

class TvOptionsTest : public TvRunPhaseTest {
 protected:
  bool ParseWith(const std::string& more) { return ParseText(kComplete + more); }
  std::vector<std::string> Chain() const {
    std::vector<std::string> entries;
    for (const auto& entry : Dsps().effects)
      entries.push_back(U8(entry->name) + "=" + U8(entry->options));
    return entries;
  }
  std::string Strip() { return U8(TvTransmillTestAccess::Strip(*run)); }
};

// What reaches the encoder: everything but the engine's own options, in order; and the DSP chain
// those options make.
TEST_F(TvOptionsTest, EncoderLineKeepsOnlyForeignOptionsAndTheChainItsEffects) {
  const struct {
    std::string options, line;
    std::vector<std::string> chain;
  } rows[] = {
      {"", "", {}},
      {"-outfile=second.mp3 -q 5", " -q=\"5\"", {}},
      {"-NoIdTag -decoderset=x -Vbr -OUTFILE=b", " -Vbr", {}},
      {"-tvcmd=a -tvcmd8=b -evtquit=q -evtafterconvseterror=e -evtwatchdog=w -priority=low "
       "-silent -errorfile= -processor=2 -sourcefreq=1 -sourcebits=2 -sourcechannels=3 "
       "-sourcelength=4 -idtags=t -noidtag -tag=\"a=b\" -shrbytesencoded=s -batchid=3 "
       "-tmpfolder=/t -fntousefortagloaddec=f -DecoderSet=k -dsppreset=p -dspeffect1=\"x=1\" "
       "-sourceisfloat -help2 -b=\"a b\"",
       " -sourceisfloat -help2 -b=\"a b\"",
       {"x=1"}},
      {"-x=\"a{qt}b\"", " -x=\"a{qt}b\"", {}},
      {"-x=\"abc -y=1", " -x -y=\"1\"", {}},  // an opening quote alone gives an empty value
      {"-V 2 --abr -m=\"j s\"", " -V=\"2\" -abr -m=\"j s\"", {}},
      // The chain stops at the first gap, and only as many numbers are the engine's own as the
      // chain has members.
      {"-dspeffect1=a=b -dspeffect3=c=d", " -dspeffect3=\"c=d\"", {"a=b"}},
      {"-dspeffect1=a= -dspeffect2=plain -dspeffect3=\"c=x=y\"",
       " -dspeffect3=\"c=x=y\"",
       {"a=", "c=x=y"}},
      {"-DSPEffect1=\"Gain=-g {qt}3 dB{qt}\"", "", {"Gain=-g \"3 dB\""}},
      // ReplayGain goes last, in any case.
      {"-dspeffect1=ReplayGain=x -dspeffect2=a= -dspeffect3=replaygain=y -dspeffect4=b= "
       "-dspeffect5=ReplayGain=z",
       "",
       {"a=", "replaygain=y", "b=", "ReplayGain=x", "ReplayGain=z"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.options);
    run = TvTransmillTestAccess::Make();
    ASSERT_TRUE(ParseWith(row.options));
    EXPECT_EQ(Chain(), row.chain);
    EXPECT_EQ(Strip(), row.line);
  }
  run->Add(u"help", u"");
  EXPECT_EQ(Strip(), " -help");
}

TEST_F(TvOptionsTest, ValuesAreKeptForLaterPhases) {
  ASSERT_TRUE(ParseText("-InFile=a -OUTFILE=b -Convert_To=c -outfile=second -silent -batchid=42"));
  EXPECT_EQ(U8(Opts().outputFile), "b");
  EXPECT_EQ(U8(Opts().tagLoadFile), "b");
  EXPECT_EQ(Opts().silent, 1);
  EXPECT_EQ(Opts().batchId, 42u);
  EXPECT_EQ(Opts().batchAuto, 0);
  EXPECT_EQ(Out() + Err(), "");

  run = TvTransmillTestAccess::Make();
  ASSERT_TRUE(ParseWith("-tmpfolder=/x/ -fntousefortagloaddec=t.flac -batchid=abc"));
  EXPECT_EQ(U8(Opts().tmpFolder), "/x/");
  EXPECT_EQ(U8(Opts().tagLoadFile), "t.flac");
  EXPECT_EQ(Opts().batchId, 0u);
}

TEST_F(TvOptionsTest, AutomaticBatchComposesTheEffectsWithQuotesEscaped) {
  ASSERT_TRUE(ParseWith("-batchid=AuTo -dspeffect1=\"a=x{qt}y\" -dspeffect2=\"b=\""));
  EXPECT_EQ(Opts().batchAuto, 1);
  EXPECT_EQ(U8(Opts().batchCommand), " -dspeffect1=\"a=x{qt}y\" -dspeffect2=\"b=\"");
}

TEST_F(TvOptionsTest, ErrorFileThatCannotBeMadeLosesTheText) {
  EXPECT_FALSE(ParseText("-infile=a -errorfile=\"" + PathOf("no/such/e.txt") + "\""));
  EXPECT_EQ(Opts().errorFileGiven, 1);
  EXPECT_FALSE(Io().stdErr.IsOpen());
}

TEST_F(TvOptionsTest, PresetFileComesBeforeTheOptionsAndAnUnreadableOneIsIgnored) {
  WriteBytes(PathOf("p.txt"),
             Utf16Le("-dspeffect1=\"p=1\" -dspeffect2=\"ReplayGain=\" -dspeffect3=\"q=2\"\r\n"
                     "-dspeffect4=\"second=line\"",
                     true));
  ASSERT_TRUE(ParseWith("-dspeffect1=c=3 -dsppreset=\"" + PathOf("p.txt") + "\""));
  EXPECT_EQ(Chain(), (std::vector<std::string>{"p=1", "q=2", "c=3", "ReplayGain="}));
  EXPECT_EQ(Strip(), "");  // the chain has four members, so four numbers are the engine's
  run = TvTransmillTestAccess::Make();
  ASSERT_TRUE(ParseWith("-dspeffect1=c= -dsppreset=\"" + PathOf("missing.txt") + "\""));
  EXPECT_EQ(Chain(), (std::vector<std::string>{"c="}));
}

}  // namespace
