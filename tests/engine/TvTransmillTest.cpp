// Tests that run the transmill program as a process and read its exit code and channels.
#include "tests/engine/TvTestSupport.h"

#include <spawn.h>
#include <sys/wait.h>

#include <string>
#include <vector>

extern char** environ;

namespace {

struct RunResult {
  int exitCode = -1;
  std::string out;  // standard output, decoded from UTF-16LE
  std::string err;  // standard error, decoded from UTF-16LE
};

class TvTransmillTest : public TvTempFolderTest {
 protected:
  // Runs the program with its own home, settings and data folders inside the test's folder.
  RunResult Run(const std::vector<std::string>& args, const std::vector<std::string>& moreEnv = {},
                bool closeStdOut = false) {
    std::vector<std::string> env = {"HOME=" + folder, "XDG_CONFIG_HOME=" + folder + "/config",
                                    "XDG_DATA_HOME=" + folder + "/data", "TMPDIR=" + folder};
    for (char** e = environ; *e; e++) {
      const std::string entry = *e;
      if (entry.rfind("PATH=", 0) == 0 || entry.rfind("LANG=", 0) == 0) env.push_back(entry);
    }
    env.insert(env.end(), moreEnv.begin(), moreEnv.end());
    std::vector<std::string> argStrings = {TV_BIN_DIR "/transmill"};
    argStrings.insert(argStrings.end(), args.begin(), args.end());

    std::vector<char*> argv, envp;
    for (auto& a : argStrings) argv.push_back(a.data());
    argv.push_back(nullptr);
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);

    const std::string outPath = PathOf("stdout.bin"), errPath = PathOf("stderr.bin");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    if (closeStdOut)
      posix_spawn_file_actions_addclose(&actions, 1);
    else
      posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                       0600);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    RunResult result;
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    EXPECT_EQ(spawned, 0);
    if (spawned != 0) return result;
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status)) << "status " << status;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = Utf8(ReadUtf16(outPath));
    result.err = Utf8(ReadUtf16(errPath));
    return result;
  }
};

const char* const kUsage =
    "Usage: Transmill.exe -infile=\"filename\" -outfile=\"filename\" -convert_to=\"codec\" "
    "[codec compression CLI]\r\n";

TEST_F(TvTransmillTest, NoOptionsShowBannerAndUsage) {
  const RunResult r = Run({});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.out.rfind("\r\nTonvera Transmill (c) 20", 0), 0u) << r.out;
  EXPECT_EQ(r.out.substr(r.out.size() - std::string(kUsage).size()), kUsage);
  EXPECT_EQ(r.err, "");
}

TEST_F(TvTransmillTest, CommandFileWithoutOptionsIsAnError) {
  WriteBytes(PathOf("c.tvcmd"), Utf16Bytes("nothing here", true));
  const RunResult r = Run({"-tvcmd=" + PathOf("c.tvcmd")});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err,
            "Error missing infile & outfile & convert_to.  [TvTransmill::ParseCommandLine]\r\n");
  EXPECT_EQ(r.out, "");
}

TEST_F(TvTransmillTest, UnusableCommandFileShowsTheBoxOnStandardError) {
  const RunResult r = Run({"-tvcmd8", PathOf("missing.tvcmd8")});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err, "Trans Mill: Error reading Tv Command File.\r\n");
  EXPECT_EQ(r.out, "");
}

TEST_F(TvTransmillTest, ClosedStandardOutputShowsTheBox) {
  std::filesystem::create_directories(PathOf("Documents"));
  const RunResult r = Run({"-infile=a", "-outfile=b", "-convert_to=c"}, {"TONVERA_DEBUG=1"}, true);
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err, "Console Error: GetStdHandle\r\n");
}

TEST_F(TvTransmillTest, MissingOptionsGiveTheirErrors) {
  struct Case {
    std::vector<std::string> args;
    std::string error;
  };
  const Case cases[] = {
      {{"-infile=a.flac", "-outfile=b.mp3"}, "Error no encoder specified."},
      {{"-outfile=b.mp3", "-convert_to=enc"}, "Error no input file specified"},
      {{"-infile=a.flac", "-convert_to=enc"}, "Error no ouput file specified"},
  };
  for (const Case& c : cases) {
    const RunResult r = Run(c.args);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, c.error + "  [TvTransmill::ParseCommandLine]\r\n");
    EXPECT_EQ(r.out, "");
  }
}

TEST_F(TvTransmillTest, HelpWinsOverCompleteOptions) {
  const RunResult r = Run({"-infile=a.flac", "-outfile=b.mp3", "-convert_to=enc", "-help"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_NE(r.out.find(kUsage), std::string::npos);
}

TEST_F(TvTransmillTest, CompleteOptionsStopAtTheDecoder) {
  const RunResult r = Run({"-infile", "song.NODEC", "-outfile", "out.mp3", "-convert_to", "enc",
                           "-dspeffect1=a=1", "-dspeffect2=b="});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err,
            "Error: Unable to load decoder for file type '.NODEC', codec not installed? visit "
            "'Codec Shelf'.  [TvTransmill::TvTransmill]\r\n");
  const std::string header =
      "Encoding: enc\r\nAudio Source: song.NODEC\r\nAudio Destination: out.mp3\r\n"
      "DSP Effects: a, b\r\n\r\n"
      " 0%-----------25%-----------50%-----------75%-----------100%\r\n Conversion Failed.\r\n";
  ASSERT_GE(r.out.size(), header.size());
  EXPECT_EQ(r.out.substr(r.out.size() - header.size()), header);
  EXPECT_EQ(r.out.rfind("\r\nTonvera Transmill (c) 20", 0), 0u);
}

TEST_F(TvTransmillTest, StandardInputStopsAtTheEncoder) {
  const RunResult r = Run({"-infile=-", "-outfile=o.wav", "-convert_to=Lame Enc", "-silent"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err, "Error: Unable to load encoder 'Lame Enc'.  [TvTransmill::TvTransmill]\r\n");
  EXPECT_EQ(r.out, "");
}

TEST_F(TvTransmillTest, HostRunIsSilentAndReportsOnStandardError) {
  WriteBytes(PathOf("c.tvcmd8"), "-infile=\"x.nodec\" -outfile=\"y.mp3\" -convert_to=enc");
  const RunResult r = Run({"-tvcmd8=" + PathOf("c.tvcmd8")});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_NE(r.err.find("file type '.nodec'"), std::string::npos) << r.err;
}

TEST_F(TvTransmillTest, UnusualPathsSurviveArgumentsAndFiles) {
  // Quotes can stand in an argument but not inside a quoted value of a command file.
  const std::string quoted = PathOf("a b \"q\" ü 🎵");
  const std::string plain = PathOf("c d ü 🎵");
  ASSERT_TRUE(std::filesystem::create_directory(quoted));
  ASSERT_TRUE(std::filesystem::create_directory(plain));
  WriteBytes(quoted + "/cmd file.tvcmd8",
             "\xEF\xBB\xBF-infile=\"" + plain +
                 "/sóng 🎶.nodecoder\" -outfile=\"x.mp3\" -convert_to=enc "
                 "-errorfile=\"" +
                 plain + "/err 🎵.txt\"");
  const RunResult host = Run({"-tvcmd8", quoted + "/cmd file.tvcmd8"});
  EXPECT_EQ(host.exitCode, 1);
  EXPECT_EQ(host.err, "");
  EXPECT_EQ(Utf8(ReadUtf16(plain + "/err 🎵.txt")),
            "Error: Unable to load decoder for file type '.nodecoder', codec not installed? visit "
            "'Codec Shelf'.  [TvTransmill::TvTransmill]\r\n");

  const std::string source = quoted + "/sóng 🎶.nodecoder";
  const RunResult console =
      Run({"-infile", source, "-outfile=" + quoted + "/o.mp3", "-convert_to=e"});
  EXPECT_EQ(console.exitCode, 1);
  EXPECT_NE(console.out.find("\r\nAudio Source: " + source + "\r\n"), std::string::npos)
      << console.out;
  EXPECT_NE(console.out.find("\r\nAudio Destination: " + quoted + "/o.mp3\r\n"), std::string::npos);
}

TEST_F(TvTransmillTest, DebugLogTellsWhyTheCommandFileFailed) {
  std::filesystem::create_directories(PathOf("Documents"));
  WriteBytes(PathOf("empty.tvcmd"), "");
  const RunResult r = Run({"-tvcmd=" + PathOf("empty.tvcmd")}, {"TONVERA_DEBUG=1"});
  EXPECT_EQ(r.exitCode, 1);
  std::string log;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    if (entry.path().filename().string().rfind("TVDebug-", 0) == 0)
      log = Utf8(ReadUtf16(entry.path().string()));
  EXPECT_NE(log.find("Splitting Command Line:"), std::string::npos) << log;
  EXPECT_NE(log.find("Error TvCmd File is Empty."), std::string::npos) << log;
}

}  // namespace
