// Tests of whole conversion runs: the transmill program with scripted plug-ins as a child process.
#include "tests/engine/TvChildRun.h"

#include <algorithm>
#include <csignal>
#include <sstream>

namespace {

using TvRunTest = TvScriptRunTest;

TEST_F(TvRunTest, SuccessfulConversionWritesTheOutputAndSaysSo) {
  const TvChildResult r = Convert(PathOf("out/new.wav"), {"TVTEST_BLOCKS=400,400,200E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(ReadBytes(PathOf("out/new.wav")), StreamBytes(0, 1000));
  EXPECT_EQ(CallsOf("ENC_BeginConversion"),
            std::vector<std::string>{"ENC_BeginConversion " + PathOf("out/new.wav")});
  EXPECT_EQ(CallsOf("Source"), std::vector<std::string>{"Source " + PathOf("in.tvt")});
  EXPECT_EQ(CallsOf("ExtraInfo"), std::vector<std::string>{"ExtraInfo _encoder=testenc"});
  EXPECT_TRUE(Called("Close"));
  EXPECT_TRUE(Called("ENC_EndConversion"));
  EXPECT_TRUE(Called("ENC_Destroy"));
  EXPECT_TRUE(Called("Destroy"));
  EXPECT_EQ(r.out.find("Conversion Failed."), std::string::npos);
}

TEST_F(TvRunTest, ClosingLineTellsTimeAndSpeedUnlessSilent) {
  // Two waits for data make the pump's time at least 50 ms.
  const std::vector<std::string> env = {"TVTEST_BLOCKS=e,e,e,400E", "TVTEST_LENGTH_MS=60000"};
  const TvChildResult r = Convert(PathOf("o.wav"), env);
  EXPECT_EQ(r.exitCode, 0) << r.err;
  const size_t line = r.out.find(" \r\n\r\nConversion completed in ");  // behind the bar
  ASSERT_NE(line, std::string::npos) << r.out;
  EXPECT_NE(r.out.find(" realtime encoding\r\n", line), std::string::npos) << r.out;
  const TvChildResult quiet = Convert(PathOf("p.wav"), env, {"-silent"});
  EXPECT_EQ(quiet.exitCode, 0) << quiet.err;
  EXPECT_EQ(quiet.out, "");
}

TEST_F(TvRunTest, PluginsAreCalledInTheirOrder) {
  Convert(PathOf("o.wav"), {"TVTEST_BLOCKS=4E"});
  std::vector<std::string> order;
  for (const std::string& line : Calls()) {
    const std::string word = line.substr(0, line.find(' '));
    // Notes of the encoder about what it was given, and the repeated calls, are left out.
    const std::vector<std::string> skipped = {"Source", "ExtraInfo", "Format", "ENC_Get",
                                              "DecodeBlock"};
    if (std::find(skipped.begin(), skipped.end(), word) == skipped.end()) order.push_back(word);
  }
  const std::vector<std::string> expected = {"Open",   "ENC_BeginConversion", "ENC_EncodeBlock",
                                             "Close",  "ENC_EndConversion",   "ENC_Destroy",
                                             "Destroy"};
  EXPECT_EQ(order, expected);
}

TEST_F(TvRunTest, UnknownInputTypeStopsBeforeTheEncoder) {
  WriteBytes(PathOf("in.xyz"), "x");
  const TvChildResult r =
      Run({"-infile=" + PathOf("in.xyz"), "-outfile=" + PathOf("o.wav"), "-convert_to=testenc"}, {},
          {"TVTEST_CALLS=" + PathOf("calls.txt")});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Error: Unable to load decoder for file type '.xyz', codec not installed? "
                       "visit 'Codec Shelf'."),
            std::string::npos)
      << r.err;
  EXPECT_FALSE(Called("ENC_"));
  EXPECT_FALSE(Has("o.wav"));
}

TEST_F(TvRunTest, MissingEncoderIsReportedByName) {
  const TvChildResult r =
      Run({"-infile=" + PathOf("in.tvt"), "-outfile=" + PathOf("o.wav"), "-convert_to=NoSuchEnc"},
          {}, {"TVTEST_CALLS=" + PathOf("calls.txt")});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Error: Unable to load encoder 'NoSuchEnc'."), std::string::npos) << r.err;
  EXPECT_FALSE(Called("Open"));
  EXPECT_TRUE(Called("Destroy"));
  EXPECT_FALSE(Has("o.wav"));
}

TEST_F(TvRunTest, EncoderNameIgnoresCase) {
  const TvChildResult r = Convert(PathOf("o.wav"), {"TVTEST_BLOCKS=8E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
}

TEST_F(TvRunTest, DecoderThatCannotOpenLeavesNothing) {
  const TvChildResult r = Convert(PathOf("o.wav"), {"TVTEST_DECODER_OPEN=0"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Test decoder cannot open the file."), std::string::npos);
  EXPECT_FALSE(Called("ENC_BeginConversion"));
  EXPECT_FALSE(Called("Close"));
  EXPECT_TRUE(Called("ENC_Destroy"));
  EXPECT_FALSE(Has("o.wav"));
}

TEST_F(TvRunTest, DspThatCannotLoadStopsBeforeTheSource) {
  const TvChildResult r = Convert(PathOf("o.wav"), {}, {"-dspeffect1=NoSuchDsp=x"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Error: Unable to load DSP Effect 'NoSuchDsp'."), std::string::npos)
      << r.err;
  EXPECT_FALSE(Called("Open"));
  EXPECT_FALSE(Has("o.wav"));
}

TEST_F(TvRunTest, EncoderThatCannotBeginKeepsWhatItMadeAndSkipsTheFinish) {
  const TvChildResult r = Convert(PathOf("o.wav"), {"TVTEST_ENCODER_BEGIN=0"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_TRUE(Has("o.wav"));
  EXPECT_FALSE(Called("DecodeBlock"));
  EXPECT_FALSE(Called("Close"));
  EXPECT_FALSE(Called("ENC_EndConversion"));
  EXPECT_TRUE(Called("ENC_Destroy"));
}

TEST_F(TvRunTest, RawPassHandsTheSourceToTheEncoder) {
  const TvChildResult r = Convert(PathOf("o.wav"), {"TVTEST_RAW=1"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(CallsOf("Open"), std::vector<std::string>{"Open " + PathOf("in.tvt") + " 28"});
  EXPECT_EQ(CallsOf("ENC_BeginConversion"),
            std::vector<std::string>{"ENC_BeginConversion " + PathOf("o.wav")});
  EXPECT_TRUE(Called("Close"));
  EXPECT_FALSE(Called("ExtraInfo"));  // the decoder's own properties, of which it gave none
  EXPECT_FALSE(Called("DecodeBlock"));
  EXPECT_FALSE(Called("ENC_EndConversion"));
}

TEST_F(TvRunTest, RawPassWhoseDecoderCannotOpenEndsQuietly) {
  const TvChildResult r =
      Convert(PathOf("o.wav"), {"TVTEST_RAW=1", "TVTEST_DECODER_OPEN=0", "TVTEST_QUIET=1"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_FALSE(Called("ENC_BeginConversion"));
  EXPECT_FALSE(Has("o.wav"));
}

TEST_F(TvRunTest, DecoderSetOptionsGoToTheDecoderInOrderAndCaseMatters) {
  Convert(PathOf("o.wav"), {"TVTEST_BLOCKS=4E", "TVTEST_HQ=1"},
          {"-DecoderSet=Alpha", "-decoderset=Gamma", "-DecoderSet=Beta"});
  std::vector<std::string> sets = CallsOf("Set ");
  const std::vector<std::string> expected = {"Set Decode As=Highest Quality 0", "Set Alpha= 0",
                                             "Set Beta= 0"};
  EXPECT_EQ(sets, expected);
}

TEST_F(TvRunTest, EmptyBlocksArePolledAgainAndNeverEncoded) {
  const TvChildResult r = Convert(PathOf("o.wav"), {"TVTEST_BLOCKS=e,e,e,e,e,e,400,e,400,E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(CallsOf("DecodeBlock").size(), 10u);
  const std::vector<std::string> expected = {"ENC_EncodeBlock 400 at 0 end 0",
                                             "ENC_EncodeBlock 400 at 100 end 0",
                                             "ENC_EncodeBlock 0 at 200 end 1"};
  EXPECT_EQ(CallsOf("ENC_EncodeBlock"), expected);
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(0, 800));
}

TEST_F(TvRunTest, IncompleteLastBlockIsDroppedWholeAndTheRunSucceeds) {
  const TvChildResult r = Convert(PathOf("o.wav"), {"TVTEST_BLOCKS=400,400,401E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(CallsOf("ENC_EncodeBlock").size(), 2u);
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(0, 800));
  EXPECT_NE(r.out.find("Information: Audio data contains incomplete samples at end."),
            std::string::npos);
  EXPECT_TRUE(Called("ENC_EndConversion"));
}

TEST_F(TvRunTest, IncompleteBlockMidStreamFailsAndKeepsTheNewPartialOutput) {
  const TvChildResult r = Convert(PathOf("o.wav"), {"TVTEST_BLOCKS=400,401,400E"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Error: Audio data contains incomplete samples mid-stream."),
            std::string::npos);
  EXPECT_EQ(CallsOf("ENC_EncodeBlock").size(), 1u);
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(0, 400));
  EXPECT_TRUE(Called("Close"));
  EXPECT_TRUE(Called("ENC_EndConversion"));
  EXPECT_NE(r.out.find("Conversion Failed."), std::string::npos);
}

TEST_F(TvRunTest, ExistingOutputIsReplacedOnlyByACompleteConversion) {
  WriteBytes(PathOf("o.wav"), "old bytes");
  const TvChildResult r = Convert(PathOf("o.wav"), {"TVTEST_BLOCKS=400,8E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(CallsOf("ENC_BeginConversion"),
            std::vector<std::string>{"ENC_BeginConversion " + PathOf("o.wav.tmp.wav")});
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(0, 408));
  EXPECT_FALSE(Has("o.wav.tmp.wav"));
}

TEST_F(TvRunTest, FailedOrEmptyConversionLeavesTheExistingOutputByteForByte) {
  const std::vector<std::vector<std::string>> cases = {
      {"TVTEST_BLOCKS=400,F"},
      {"TVTEST_BLOCKS=400,400E", "TVTEST_ENCODE_FAIL_AT=2"},
      {"TVTEST_BLOCKS=400E", "TVTEST_ENCODER_END=0"},
      {"TVTEST_BLOCKS=400E", "TVTEST_DECODER_CLOSE=0"},
      {"TVTEST_BLOCKS=400E", "TVTEST_ENCODER_WRITES=0"}};
  for (size_t i = 0; i < cases.size(); i++) {
    WriteBytes(PathOf("o.wav"), std::string("old\0bytes", 9));
    const TvChildResult r = Convert(PathOf("o.wav"), cases[i]);
    EXPECT_EQ(r.exitCode, i == 4 ? 0 : 1) << i << r.err;
    EXPECT_EQ(ReadBytes(PathOf("o.wav")), std::string("old\0bytes", 9)) << i;
    EXPECT_FALSE(Has("o.wav.tmp.wav")) << i;
  }
}

TEST_F(TvRunTest, IgnoreOutputMakesNoFolderAndNoSizeCheck) {
  const TvChildResult r =
      Convert(PathOf("sub/o.IGNORE"), {"TVTEST_BLOCKS=400E", "TVTEST_ENCODER_CREATES=0"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(CallsOf("ENC_BeginConversion"),
            std::vector<std::string>{"ENC_BeginConversion " + PathOf("sub/o.IGNORE")});
  EXPECT_FALSE(Has("sub"));
  EXPECT_EQ(r.err, "");
}

TEST_F(TvRunTest, MissingOutputIsReportedAfterTheEncoderEnds) {
  const TvChildResult r =
      Convert(PathOf("o.wav"), {"TVTEST_BLOCKS=400E", "TVTEST_ENCODER_CREATES=0"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Encoder output file does not exist: " + PathOf("o.wav")), std::string::npos)
      << r.err;
}

class TvStdinRunTest : public TvRunTest {
 protected:
  TvChildResult ConvertStdin(const std::vector<std::string>& moreArgs) {
    std::vector<std::string> args = {"-infile=-", "-outfile=" + PathOf("o.wav"),
                                     "-convert_to=testenc"};
    args.insert(args.end(), moreArgs.begin(), moreArgs.end());
    return Run(args, input, {"TVTEST_CALLS=" + PathOf("calls.txt")});
  }
  const std::vector<std::string> stereo16 = {"-sourcefreq=1000", "-sourcechannels=2",
                                             "-sourcebits=16"};
};

TEST_F(TvStdinRunTest, PipeInOddPiecesArrivesWhole) {
  input.kind = TvChildInput::kPipe;
  input.bytes = StreamBytes(0, 40000);
  input.chunk = 1001;
  const TvChildResult r = ConvertStdin(stereo16);
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), input.bytes);
  EXPECT_EQ(CallsOf("Source"), std::vector<std::string>{"Source -"});
  EXPECT_FALSE(Called("Open"));
  EXPECT_FALSE(Called("Close"));
  EXPECT_NE(r.out.find("Audio Source: Standard Input"), std::string::npos);
}

TEST_F(TvStdinRunTest, FileRedirectIsReadToItsEnd) {
  WriteBytes(PathOf("raw.pcm"), StreamBytes(0, 12000));
  input.kind = TvChildInput::kFile;
  input.path = PathOf("raw.pcm");
  const TvChildResult r = ConvertStdin(stereo16);
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(0, 12000));
}

TEST_F(TvStdinRunTest, EmptyStreamGivesTheEncoderOneEmptyEndBlock) {
  input.kind = TvChildInput::kNull;
  const TvChildResult r = ConvertStdin(stereo16);
  EXPECT_EQ(CallsOf("ENC_EncodeBlock"), std::vector<std::string>{"ENC_EncodeBlock 0 at 0 end 1"});
  EXPECT_NE(r.err.find("Encoder created a blank file: " + PathOf("o.wav")), std::string::npos)
      << r.err;
}

TEST_F(TvStdinRunTest, FloatOptionMarksTheFormatByItsPresence) {
  input.kind = TvChildInput::kPipe;
  input.bytes = StreamBytes(0, 800);
  const TvChildResult r =
      ConvertStdin({"-sourcefreq=1000", "-sourcechannels=2", "-sourcebits=32", "-sourceisfloat"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(CallsOf("Format"), std::vector<std::string>{"Format 3 2 1000 32 8"});
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), input.bytes);
}

TEST_F(TvStdinRunTest, RateAloneGivesOneByteFrames) {
  input.kind = TvChildInput::kPipe;
  input.bytes = StreamBytes(0, 11);
  const TvChildResult r = ConvertStdin({"-sourcefreq=8000"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(CallsOf("Format"), std::vector<std::string>{"Format 1 0 8000 0 1"});
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), input.bytes);
}

TEST_F(TvStdinRunTest, MissingRateIsAnError) {
  const TvChildResult r = ConvertStdin({"-sourcechannels=2", "-sourcebits=16"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Error: RIFF WAVE StdInput not supported yet."), std::string::npos) << r.err;
  EXPECT_FALSE(Called("ENC_BeginConversion"));
}

TEST_F(TvStdinRunTest, ClosedStandardInputIsAnError) {
  input.kind = TvChildInput::kClosed;
  const TvChildResult r = ConvertStdin(stereo16);
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.err.find("Error: Cannot open StdInput for audio reading."), std::string::npos)
      << r.err;
}

TEST_F(TvStdinRunTest, IncompleteSampleAtTheEndOfThePipeIsDropped) {
  input.kind = TvChildInput::kPipe;
  input.bytes = StreamBytes(0, 4002);
  input.chunk = 4001;  // the second piece completes no frame; the end comes with it
  input.pauseMs = 300;
  const TvChildResult r = ConvertStdin(stereo16);
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("Information: Audio data contains incomplete samples at end."),
            std::string::npos);
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(0, 4000));
}

}  // namespace

namespace {

// A whole conversion through the real wave decoder and encoder.
class TvWaveRunTest : public TvChildRunTest {
 protected:
  static void Put(std::string& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; i++) out.push_back(static_cast<char>(value >> (8 * i)));
  }
  // A 16-bit stereo RIFF WAVE file with the given samples.
  static std::string WaveFile(const std::string& samples, uint32_t rate) {
    std::string file = "RIFF";
    Put(file, static_cast<uint32_t>(36 + samples.size()), 4);
    file += "WAVEfmt ";
    Put(file, 16, 4);
    Put(file, 1, 2);
    Put(file, 2, 2);
    Put(file, rate, 4);
    Put(file, rate * 4, 4);
    Put(file, 4, 2);
    Put(file, 16, 2);
    file += "data";
    Put(file, static_cast<uint32_t>(samples.size()), 4);
    return file + samples;
  }
  // The bytes of the "data" chunk of a RIFF file; empty when there is none.
  static std::string DataChunk(const std::string& file) {
    for (size_t at = 12; at + 8 <= file.size();) {
      const uint32_t size = static_cast<uint8_t>(file[at + 4]) |
                            static_cast<uint8_t>(file[at + 5]) << 8 |
                            static_cast<uint8_t>(file[at + 6]) << 16 |
                            static_cast<uint32_t>(static_cast<uint8_t>(file[at + 7])) << 24;
      if (file.compare(at, 4, "data") == 0) return file.substr(at + 8, size);
      at += 8 + size + (size & 1);
    }
    return std::string();
  }
};

TEST_F(TvWaveRunTest, WaveToWaveKeepsEverySample) {
  if (!std::filesystem::exists(TV_BIN_DIR "/decoder/pcm.so") ||
      !std::filesystem::exists(TV_BIN_DIR "/encoder/wav.so"))
    GTEST_SKIP() << "the wave plug-ins are not built";
  InstallPlugin(TV_BIN_DIR "/decoder/pcm.so", "decoder", "pcm.so");
  InstallPlugin(TV_BIN_DIR "/encoder/wav.so", "encoder", "wav.so");
  std::string samples;
  for (uint32_t frame = 0; frame < 44100 * 3 / 2; frame++) {
    Put(samples, (frame * 37) & 0xFFFF, 2);
    Put(samples, (0x8000 + frame * 11) & 0xFFFF, 2);
  }
  WriteBytes(PathOf("in.wav"), WaveFile(samples, 44100));
  const TvChildResult r =
      Run({"-infile=" + PathOf("in.wav"), "-outfile=" + PathOf("out/o.wav"), "-convert_to=wav"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.err, "");
  const std::string output = ReadBytes(PathOf("out/o.wav"));
  EXPECT_EQ(output.compare(0, 4, "RIFF"), 0);
  EXPECT_TRUE(DataChunk(output) == samples)
      << DataChunk(output).size() << " bytes of " << samples.size();
}

}  // namespace

namespace {

// Runs in host mode, with a command file, and runs that a host stops or marks failed.
class TvHostRunTest : public TvRunTest {
 protected:
  TvChildResult HostConvert(const std::string& output, const std::vector<std::string>& env,
                            const std::string& moreOptions = "") {
    WriteBytes(PathOf("c.tvcmd8"), "-infile=\"" + PathOf("in.tvt") + "\" -outfile=\"" + output +
                                       "\" -convert_to=testenc " + moreOptions);
    std::vector<std::string> fullEnv = {"TVTEST_CALLS=" + PathOf("calls.txt")};
    fullEnv.insert(fullEnv.end(), env.begin(), env.end());
    return Run({"-tvcmd8=" + PathOf("c.tvcmd8")}, input, fullEnv);
  }
  // A name no other test uses at the same time.
  std::string UniqueName(const std::string& what) const {
    return "tvtest-" + what + "-" + std::filesystem::path(folder).filename().string();
  }
  static std::vector<int> PercentsSent(const std::string& out) {
    std::vector<int> percents;
    const std::string mark = "PCDone: ";
    for (size_t at = out.find(mark); at != std::string::npos; at = out.find(mark, at + 1))
      percents.push_back(std::atoi(out.c_str() + at + mark.size()));
    return percents;
  }
};

TEST_F(TvHostRunTest, PercentDoneNeverGoesDown) {
  const TvChildResult r = HostConvert(
      PathOf("o.wav"), {"TVTEST_LENGTH_MS=1000", "TVTEST_BLOCKS=400@900,400@100,400@950,4@50,E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(PercentsSent(r.out), (std::vector<int>{90, 95})) << r.out;
}

TEST_F(TvHostRunTest, PositionPastTheLengthCountsAsAHundred) {
  const TvChildResult r =
      HostConvert(PathOf("o.wav"), {"TVTEST_LENGTH_MS=0", "TVTEST_BLOCKS=400@0,400,E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(PercentsSent(r.out), (std::vector<int>{100})) << r.out;
}

TEST_F(TvHostRunTest, ConsoleBarNeverGoesBack) {
  const TvChildResult r = Convert(
      PathOf("o.wav"), {"TVTEST_LENGTH_MS=1000", "TVTEST_BLOCKS=400@900,400@100,400@950,E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '*'), 57) << r.out;
}

TEST_F(TvHostRunTest, QuitDuringThePumpStillFinishesAndKeepsTheOldOutput) {
  WriteBytes(PathOf("o.wav"), "old bytes");
  const std::string quit = UniqueName("quit");
  XEvent event;  // held open, so the name lives until the test has looked
  ASSERT_TRUE(event.Create(XString(quit.c_str(), true).CStr()));
  const TvChildResult r =
      HostConvert(PathOf("o.wav"), {"TVTEST_QUIT_AT=1", "TVTEST_BLOCKS=400,400,400,400E"},
                  "-evtquit=\"" + quit + "\"");
  EXPECT_TRUE(event.IsSet());
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(CallsOf("ENC_EncodeBlock").size(), 1u);
  EXPECT_TRUE(Called("Close"));
  EXPECT_TRUE(Called("ENC_EndConversion"));
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), "old bytes");
  EXPECT_FALSE(Has("o.wav.tmp.wav"));
  EXPECT_EQ(CallsOf("Set EventQuit"), std::vector<std::string>{"Set EventQuit=" + quit + " 0"});
}

TEST_F(TvHostRunTest, AfterConversionErrorEventFailsAFinishedRun) {
  const std::string name = UniqueName("afterconv");
  XEvent event;
  ASSERT_TRUE(event.Create(XString(name.c_str(), true).CStr()));
  event.Set();
  const TvChildResult r = HostConvert(PathOf("o.wav"), {"TVTEST_BLOCKS=400E"},
                                      "-evtafterconvseterror=\"" + name + "\"");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(0, 400));  // a new output is left as written
}

}  // namespace

namespace {

TEST_F(TvRunTest, LongestTemporaryNameIs259CharactersAndStillReplaces) {
  const std::string prefix = PathOf("");
  const std::string name = prefix + std::string(256 - prefix.size() - 4, 'n') + ".wav";
  ASSERT_EQ(name.size(), 256u);
  WriteBytes(name, "old");
  const TvChildResult r = Convert(name, {"TVTEST_BLOCKS=400E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  const std::string temp = name.substr(0, 251) + ".tmp.wav";
  EXPECT_EQ(temp.size(), 259u);
  EXPECT_EQ(CallsOf("ENC_BeginConversion"),
            std::vector<std::string>{"ENC_BeginConversion " + temp});
  EXPECT_EQ(ReadBytes(name), StreamBytes(0, 400));
  EXPECT_FALSE(std::filesystem::exists(temp));
}

TEST_F(TvRunTest, DebugLogFramesThePumpAndChecksTheOutputSize) {
  std::filesystem::create_directories(PathOf("Documents"));
  const TvChildResult r = Convert(PathOf("o.wav"), {"TVTEST_BLOCKS=400E", "TONVERA_DEBUG=1"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  std::string log;
  for (const auto& entry : std::filesystem::directory_iterator(PathOf("Documents")))
    if (entry.path().filename().string().rfind("TVDebug-", 0) == 0)
      log = Utf8(ReadUtf16(entry.path()));
  const size_t begin = log.find("============= CONVERSION BEGIN =============");
  const size_t end = log.find("============= CONVERSION END =============");
  const size_t check = log.find("File Size Check : 400 bytes   Filename: " + PathOf("o.wav"));
  const size_t exit =
      log.find("File Size Check (trans mill exit): 400 bytes   Filename: " + PathOf("o.wav"));
  EXPECT_NE(begin, std::string::npos) << log;
  EXPECT_LT(begin, end);
  EXPECT_LT(end, check);
  EXPECT_LT(check, exit);
  EXPECT_NE(exit, std::string::npos);
}

}  // namespace
