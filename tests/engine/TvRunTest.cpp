// Whole runs of the transmill program as a child process: exit code, channels, output and the
// calls the test plug-ins saw.
#include "sdk/tv_named.h"
#include "tags/XTagList.h"
#include "tests/engine/TvTestSupport.h"

#include <algorithm>

namespace {

using TvRunTest = ScriptRunTest;
using Lines = std::vector<std::string>;

const std::string kUsage =
    "Usage: Transmill.exe -infile=\"filename\" -outfile=\"filename\" -convert_to=\"codec\" "
    "[codec compression CLI]\r\n";

TEST_F(TvRunTest, ConversionWritesTheOutputAndCallsThePluginsInOrder) {
  // Decoder settings go to the decoder in order, and their option's case matters.
  const ChildResult r =
      Convert(PathOf("out/new.wav"), {"script.blocks=400,400,200E", "TestEnc.get.NeedHQAudio=1"},
              {"-DecoderSet=Alpha", "-decoderset=Gamma", "-DecoderSet=Beta"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("out/new.wav")), StreamBytes(1000));
  EXPECT_EQ(FieldOf("TestEnc ENC_BeginConversion", "source"), PathOf("in.tvt"));
  EXPECT_EQ(FieldOf("TestEnc ENC_BeginConversion", "encoder"), "testenc");
  Lines order;
  const Lines skipped = {"Create", "ENC_Create", "Get", "ENC_Get", "Set", "DecodeBlock"};
  for (const std::string& line : CallsOf()) {
    const size_t from = line.find(' ') + 1;
    const std::string word = line.substr(from, line.find(' ', from) - from);
    if (std::find(skipped.begin(), skipped.end(), word) == skipped.end() &&
        (order.empty() || order.back() != word))
      order.push_back(word);
  }
  EXPECT_EQ(order, (Lines{"Open", "ENC_BeginConversion", "ENC_EncodeBlock", "Close",
                          "ENC_EndConversion", "ENC_Destroy", "Destroy"}));
  EXPECT_EQ(r.out.rfind("\r\nTonvera Transmill (c) 20", 0), 0u);
  EXPECT_EQ(CallsOf("script Set "),
            (Lines{"script Set key=\"Decode As\" index=0 value=0 text1=\"Highest Quality\" -> 1",
                   "script Set key=\"Alpha\" index=0 value=0 text1=null -> 1",
                   "script Set key=\"Beta\" index=0 value=0 text1=null -> 1"}));
}

// Runs that stop at once with exit code 1: the end of standard output (empty when none is
// written) and the whole of standard error.
TEST_F(TvRunTest, OptionFailuresAndHelpGiveTheirTexts) {
  WriteBytes(PathOf("none.tvcmd"), Utf16Le("nothing here", true));
  WriteBytes(PathOf("bad.tvcmd8"), "-outfile=o -errorfile=\"" + PathOf("errors.txt") + "\"");
  const std::string parse = "  [TvTransmill::ParseCommandLine]\r\n";
  const std::string header =
      "Encoding: enc\r\nAudio Source: song.NODEC\r\nAudio Destination: out.mp3\r\n"
      "DSP Effects: a, b\r\n\r\n"
      " 0%-----------25%-----------50%-----------75%-----------100%\r\n Conversion Failed.\r\n";
  const struct {
    Lines args;
    std::string outEnd, err;
  } rows[] = {
      {{"-infile=a.flac", "-outfile=b.mp3"}, "", "Error no encoder specified." + parse},
      {{"-outfile=b.mp3", "-convert_to=enc"}, "", "Error no input file specified" + parse},
      {{"-infile=a.flac", "-convert_to=enc"}, "", "Error no ouput file specified" + parse},
      {{"-tvcmd=" + PathOf("none.tvcmd")},
       "",
       "Error missing infile & outfile & convert_to." + parse},
      {{"-tvcmd8", PathOf("missing.tvcmd8")}, "", "Trans Mill: Error reading Tv Command File.\r\n"},
      {{"-tvcmd8=" + PathOf("bad.tvcmd8")}, "", ""},  // to the error file instead
      {{}, kUsage, ""},
      {{"-silent"}, kUsage, ""},
      {{"-infile=a.flac", "-outfile=b.mp3", "-convert_to=e", "-help"}, kUsage, ""},
      // The header names the run before the decoder fails.
      {{"-infile", "song.NODEC", "-outfile", "out.mp3", "-convert_to", "enc", "-dspeffect1=a=1",
        "-dspeffect2=b="},
       header,
       "Error: Unable to load decoder for file type '.NODEC', codec not installed? visit 'Codec "
       "Shelf'.  [TvTransmill::TvTransmill]\r\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.args.empty() ? "" : row.args[0]);
    const ChildResult r = Run(row.args);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.out.ends_with(row.outEnd)) << r.out;
    EXPECT_EQ(r.out.empty(), row.outEnd.empty());
    EXPECT_EQ(r.err, row.err);
  }
  EXPECT_EQ(ReadBytes(PathOf("errors.txt")), Utf16Le("Error no encoder specified." + parse));
}

TEST_F(TvRunTest, ClosedStandardOutputShowsTheBox) {
  std::filesystem::create_directories(PathOf("Documents"));
  const ChildResult r =
      child.Run({"-infile=a", "-outfile=b", "-convert_to=c"}, {}, {"TONVERA_DEBUG=1"}, true);
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err, "Console Error: GetStdHandle\r\n");
}

// Runs that fail: the error text, the output left behind ("-" for none, "*" for any), and the
// plug-in calls made ("+Export") or not made ("-Export").
TEST_F(TvRunTest, FailedRunsReportAndStopWhereTheyMust) {
  WriteBytes(PathOf("in.xyz"), "x");
  const std::string in = "-infile=" + PathOf("in.tvt"), out = "-outfile=" + PathOf("o.wav");
  const struct {
    Lines args, config;
    std::string error, output, calls;
  } rows[] = {
      {{"-infile=" + PathOf("in.xyz"), out, "-convert_to=testenc"},
       {},
       "Error: Unable to load decoder for file type '.xyz', codec not installed? visit 'Codec "
       "Shelf'.",
       "-",
       "-ENC_"},
      {{in, out, "-convert_to=NoSuchEnc"},
       {},
       "Error: Unable to load encoder 'NoSuchEnc'.",
       "-",
       "+Destroy -Open"},
      {{in, out, "-convert_to=testenc", "-dspeffect1=NoSuchDsp=x"},
       {},
       "Error: Unable to load DSP Effect 'NoSuchDsp'.",
       "-",
       "-Open"},
      {{in, out, "-convert_to=testenc"},
       {"script.fail.Open=1", "script.error.Open=Test decoder cannot open the file."},
       "Test decoder cannot open the file.",
       "-",
       "+ENC_Destroy -ENC_BeginConversion -Close"},
      {{in, out, "-convert_to=testenc"},
       {"TestEnc.fail.ENC_BeginConversion=1",
        "TestEnc.error.ENC_BeginConversion=Test encoder cannot begin."},
       "",
       "*",
       "+ENC_Destroy -DecodeBlock -Close -ENC_EndConversion"},
      {{in, out, "-convert_to=testenc"},
       {"script.blocks=400,401,400E"},
       "Error: Audio data contains incomplete samples mid-stream.",
       StreamBytes(400),
       "+Close +ENC_EndConversion"},
      {{in, out, "-convert_to=testenc"},
       {"TestEnc.output=0"},
       "Encoder output file does not exist: " + PathOf("o.wav"),
       "-",
       "+ENC_EndConversion"},
      {{"-infile=-", out, "-convert_to=testenc", "-sourcechannels=2", "-sourcebits=16"},
       {},
       "Error: RIFF WAVE StdInput not supported yet.",
       "-",
       "-ENC_BeginConversion"},
  };
  for (const auto& row : rows) {
    std::filesystem::remove(PathOf("o.wav"));
    Lines config = {"script.blocks=400E"};
    config.insert(config.end(), row.config.begin(), row.config.end());
    const ChildResult r = Run(row.args, config);
    const std::string name = row.args.back() + " " + config.back();
    EXPECT_EQ(r.exitCode, 1) << name;
    EXPECT_NE(r.err.find(row.error), std::string::npos) << name << ": " << r.err;
    EXPECT_EQ(Has("o.wav"), row.output != "-") << name;
    if (row.output != "-" && row.output != "*") {
      EXPECT_EQ(ReadBytes(PathOf("o.wav")), row.output) << name;
    }
    std::istringstream calls(row.calls);
    for (std::string call; calls >> call;)
      EXPECT_EQ(Called(call.substr(1)), call[0] == '+') << name << " " << call;
  }
  input.kind = ChildInput::kClosed;
  const ChildResult closed = Run({"-infile=-", out, "-convert_to=testenc", "-sourcefreq=1000"});
  EXPECT_EQ(closed.exitCode, 1);
  EXPECT_NE(closed.err.find("Error: Cannot open StdInput for audio reading."), std::string::npos);
}

TEST_F(TvRunTest, RawPassHandsTheSourceToTheEncoder) {
  const ChildResult r = Convert(PathOf("o.wav"), {"TestEnc.get.SendRawUnCompressed=1"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(CallsOf("script Open"),
            Lines{"script Open file=\"" + PathOf("in.tvt") + "\" level=28 -> 1"});
  EXPECT_EQ(FieldOf("TestEnc ENC_BeginConversion", "output"), PathOf("o.wav"));
  EXPECT_FALSE(Called("script DecodeBlock"));
  const ChildResult quiet =
      Convert(PathOf("p.wav"), {"TestEnc.get.SendRawUnCompressed=1", "script.fail.Open=1"});
  EXPECT_EQ(quiet.exitCode, 0) << quiet.err;
  EXPECT_FALSE(Called("TestEnc ENC_BeginConversion"));
  EXPECT_FALSE(Has("p.wav"));
}

TEST_F(TvRunTest, PumpPollsEmptyBlocksAndDropsAnIncompleteLastOne) {
  ChildResult r = Convert(PathOf("o.wav"), {"script.blocks=e,e,e,e,e,e,400,e,400,E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(CallsOf("script DecodeBlock").size(), 10u);
  EXPECT_EQ(EncodedBlocks(),
            (Lines{"bytes=400 pos=0 eos=0", "bytes=400 pos=100 eos=0", "bytes=0 pos=200 eos=1"}));
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(800));

  r = Convert(PathOf("p.wav"), {"script.blocks=400,400,401E"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadBytes(PathOf("p.wav")), StreamBytes(800));
  EXPECT_NE(r.out.find("Information: Audio data contains incomplete samples at end."),
            std::string::npos);
}

TEST_F(TvRunTest, FailedConversionLeavesTheExistingOutputAsItWas) {
  const std::vector<Lines> failures = {
      {"script.blocks=400,F"},
      {"script.blocks=400,400E", "TestEnc.fail.ENC_EncodeBlock=2-2"},
      {"script.blocks=400E", "TestEnc.fail.ENC_EndConversion=1"},
      {"script.blocks=400E", "TestEnc.write=0"}};
  for (size_t i = 0; i < failures.size(); i++) {
    WriteBytes(PathOf("o.wav"), std::string("old\0bytes", 9));
    const ChildResult f = Convert(PathOf("o.wav"), failures[i]);
    EXPECT_EQ(f.exitCode, i == 3 ? 0 : 1) << i << f.err;  // an empty output is no failure
    EXPECT_EQ(ReadBytes(PathOf("o.wav")), std::string("old\0bytes", 9)) << i;
    EXPECT_FALSE(Has("o.wav.tmp.wav")) << i;
  }
}

TEST_F(TvRunTest, StandardInputIsReadInWholeFramesToItsEnd) {
  const Lines stereo16 = {"-sourcefreq=1000", "-sourcechannels=2", "-sourcebits=16"};
  const struct {
    ChildInput::Kind kind;
    size_t size, kept;  // a cut frame at the end is dropped, and nothing before it
    Lines options;
    std::string format;
  } rows[] = {
      {ChildInput::kPipe, 40000, 40000, stereo16, "1/2/1000/16/4"},
      {ChildInput::kFile, 12003, 12000, stereo16, "1/2/1000/16/4"},
      {ChildInput::kPipe, 11, 11, {"-sourcefreq=8000"}, "1/0/8000/0/1"},
  };
  for (const auto& row : rows) {
    input.kind = row.kind;
    input.bytes = StreamBytes(row.size);
    input.path = PathOf("raw.pcm");
    WriteBytes(input.path, input.bytes);
    Lines args = {"-infile=-", "-outfile=" + PathOf("o.wav"), "-convert_to=testenc"};
    args.insert(args.end(), row.options.begin(), row.options.end());
    const ChildResult r = Run(args);
    SCOPED_TRACE(row.size);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(row.kept));
    EXPECT_EQ(FieldOf("TestEnc ENC_BeginConversion", "format"), row.format);
  }
  input.kind = ChildInput::kNull;
  const ChildResult r =
      Run({"-infile=-", "-outfile=" + PathOf("e.wav"), "-convert_to=testenc", "-sourcefreq=1000"});
  EXPECT_NE(r.out.find("Audio Source: Standard Input\r\n"), std::string::npos) << r.out;
  EXPECT_EQ(EncodedBlocks(), Lines{"bytes=0 pos=0 eos=1"});
  EXPECT_NE(r.err.find("Encoder created a blank file: " + PathOf("e.wav")), std::string::npos);
}

TEST_F(TvRunTest, AfterConversionErrorEventFailsAFinishedRun) {
  const std::string name = "tvtest-afterconv-" + std::to_string(getpid());
  XEvent event;
  ASSERT_TRUE(event.Create(X(name).CStr()));
  event.Set();
  const ChildResult r = HostConvert(PathOf("o.wav"), {"script.blocks=400E"},
                                    "-evtafterconvseterror=\"" + name + "\"");
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(ReadBytes(PathOf("o.wav")), StreamBytes(400));  // a new output is left as written
}

class TvTagRunTest : public ScriptRunTest {
 protected:
  const std::string kTagging = "script Set key=\"IDTags\"";
  ChildResult Tagged(const std::string& output, const Lines& config, const Lines& args = {}) {
    Lines settings = {"TestEnc.writetags=1", "script.blocks=400,600E",
                      "script.save.IDTags=" + PathOf("tags.bin")};
    settings.insert(settings.end(), config.begin(), config.end());
    Lines all = {"-tag=Artist=A"};
    all.insert(all.end(), args.begin(), args.end());
    return Convert(output, settings, all);
  }
  std::string Artist() const {
    const std::string bytes = ReadBytes(PathOf("tags.bin"));
    XTagList list;
    list.FromBlock(bytes.data(), static_cast<int64_t>(bytes.size()));
    return U8(list.GetValue(XString(u"Artist")));
  }
};

TEST_F(TvTagRunTest, TagsAreWrittenAfterASuccessOrIntoAFailedDirectOutput) {
  const std::string out = PathOf("old.wav");
  WriteBytes(out, "old");
  ChildResult r = Tagged(out, {});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(FieldOf(kTagging, "text1"), out);
  EXPECT_EQ(Artist(), "A");
  EXPECT_NE(r.out.find("Writing ID Tags: Done\r\n"), std::string::npos) << r.out;

  WriteBytes(out, "old");
  EXPECT_EQ(Tagged(out, {"TestEnc.fail.ENC_EncodeBlock=2-2"}).exitCode, 1);
  EXPECT_EQ(ReadBytes(out), "old");
  EXPECT_FALSE(Called(kTagging));
  EXPECT_EQ(Tagged(PathOf("direct.wav"), {"TestEnc.fail.ENC_EncodeBlock=2-2"}).exitCode, 1);
  EXPECT_EQ(CallsOf(kTagging).size(), 1u);

  const struct {
    std::string name, config, arg;
  } none[] = {{"a.wav", "TestEnc.writetags=0", "-x"},
              {"b.wav", "TestEnc.writetags=1", "-noidtag"},
              {"sub/c.IGNORE", "TestEnc.output=0", "-x"},
              {"old.wav", "TestEnc.write=0", "-x"}};
  for (const auto& row : none) {
    r = Tagged(PathOf(row.name), {row.config}, {row.arg});
    EXPECT_EQ(r.exitCode, 0) << row.name << r.err;
    EXPECT_FALSE(Called(kTagging)) << row.name;
    EXPECT_EQ(r.out.find("Writing ID Tags"), std::string::npos) << row.name;
    EXPECT_FALSE(Has("sub")) << row.name;
  }

  // Tagging is tried ten times.
  r = Tagged(PathOf("retry.wav"), {"script.fail.Set.IDTags=1-10"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(CallsOf(kTagging).size(), 10u);
  EXPECT_NE(r.err.find("Unable to tag file '" + PathOf("retry.wav") + "'"), std::string::npos);
  EXPECT_EQ(r.out.find("Done"), std::string::npos);
}

}  // namespace
