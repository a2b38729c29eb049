// A host drives the real transmill program: command file, UTF-16LE lines, events and counter.
#include "sdk/tv_named.h"
#include "tests/engine/TvTestHost.h"

#include <atomic>

namespace {

class TvHostProtocolTest : public TvTempFolderTest {
 protected:
  void SetUp() override {
    TvTempFolderTest::SetUp();
    app = PathOf("app");
    for (const char* sub : {"decoder", "encoder", "DSPs"})
      std::filesystem::create_directories(app + "/" + sub);
    // Plug-ins are looked for beside the program's real path, so the program is copied.
    std::filesystem::copy_file(TV_BIN_DIR "/transmill", app + "/transmill");
  }

  // Names of this test's events and counter, unique on the machine.
  std::string Name(const char* what) const {
    return "tvhost-" + std::filesystem::path(folder).filename().string() + "-" + what;
  }
  std::string ControlOptions() const {
    return " -evtquit=\"" + Name("quit") + "\" -evtwatchdog=\"" + Name("alive") +
           "\" -shrbytesencoded=\"" + Name("bytes") + "\"";
  }
  // A UTF-16LE command file, with a byte-order mark as editors write it.
  std::string WriteCommandFile(const std::string& options) {
    const std::string path = PathOf("job.tvcmd");
    WriteBytes(path, Utf16Bytes(options, true));
    return "-tvcmd=" + path;
  }

  std::string app;
  TvTestHost host;
};

TEST_F(TvHostProtocolTest, FailureArrivesAsUtf16LeErrorTextAndExitCodeOne) {
  tv_event* quit = tv_event_create(Name("quit").c_str(), nullptr);
  ASSERT_NE(quit, nullptr);
  const std::string option =
      WriteCommandFile("-infile=\"" + PathOf("song.xyz") + "\" -outfile=\"" + PathOf("o.wav") +
                       "\" -convert_to=wav" + ControlOptions());
  ASSERT_TRUE(host.Start(app + "/transmill", option, folder));
  EXPECT_EQ(host.Finish(), 1);
  const std::string expected = Utf16Bytes(
      "Error: Unable to load decoder for file type '.xyz', codec not installed? "
      "visit 'Codec Shelf'.  [TvTransmill::TvTransmill]\r\n",
      false);
  EXPECT_EQ(host.ErrBytes(), expected);
  EXPECT_EQ(host.OutBytes(), "");  // host mode: no banner, no closing line
  EXPECT_EQ(tv_event_is_set(quit), 0);
  tv_event_close(quit);
}

TEST_F(TvHostProtocolTest, BadOptionsInAUtf8FileAreReportedOnTheErrorFile) {
  WriteBytes(PathOf("job.tvcmd8"), "-outfile=o -errorfile=\"" + PathOf("errors.txt") + "\"");
  ASSERT_TRUE(host.Start(app + "/transmill", "-tvcmd8=" + PathOf("job.tvcmd8"), folder));
  EXPECT_EQ(host.Finish(), 1);
  EXPECT_EQ(ReadBytes(PathOf("errors.txt")),
            Utf16Bytes("Error no encoder specified.  [TvTransmill::ParseCommandLine]\r\n", false));
  EXPECT_EQ(host.ErrBytes(), "");
}

}  // namespace
