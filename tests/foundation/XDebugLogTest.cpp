// Tests of the debug log: markers and indentation, reports on the channels, start-up, threads.
#include "foundation/XDebugLog.h"
#include "tests/foundation/Fixtures.h"

#include <fcntl.h>
#include <unistd.h>
#include <list>

#include <set>
#include <sstream>
#include <thread>

#include "foundation/XEvent.h"
#include "foundation/XFile.h"
#include "foundation/XTextCodec.h"

namespace {

// UTF-16LE bytes as UTF-8 text.
std::string FromUtf16(const std::string& bytes) {
  EXPECT_EQ(bytes.size() % 2, 0u);
  std::u16string units(bytes.size() / 2, u'\0');
  memcpy(units.data(), bytes.data(), units.size() * 2);
  return XUtf16ToUtf8(units);
}

std::string ReadUtf16File(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return FromUtf16(std::string(std::istreambuf_iterator<char>(in), {}));
}

std::string ReadPipe(int fd) {
  std::string bytes;
  char buffer[4096];
  for (ssize_t got; (got = read(fd, buffer, sizeof buffer)) > 0;) bytes.append(buffer, size_t(got));
  return FromUtf16(bytes);
}

// A unique folder, with the user's folders, settings and temporary files pointed into it; the
// home has no documents folder yet.
class XDebugLogTest : public testing::Test {
 protected:
  void SetUp() override {
    dir = scratch.Folder();
    for (const char* sub : {"/home", "/config", "/data", "/tmp"})
      std::filesystem::create_directories(dir + sub);
    const std::pair<const char*, std::string> redirected[] = {{"HOME", dir + "/home"},
                                                              {"XDG_CONFIG_HOME", dir + "/config"},
                                                              {"XDG_DATA_HOME", dir + "/data"},
                                                              {"TMPDIR", dir + "/tmp"}};
    for (const auto& [name, value] : redirected) saved.emplace_back(name, value.c_str());
    saved.emplace_back("TONVERA_DEBUG", nullptr);
    logPath = dir + "/log.txt";
    logFd = open(logPath.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    ASSERT_GE(logFd, 0);
    ASSERT_EQ(pipe2(errorPipe, O_CLOEXEC | O_NONBLOCK), 0);
    ASSERT_EQ(pipe2(infoPipe, O_CLOEXEC | O_NONBLOCK), 0);
    context = {errorPipe[1], infoPipe[1], logFd};
  }
  void TearDown() override {
    XSetLogContext({2, -1, -1});
    for (int fd : {logFd, errorPipe[0], errorPipe[1], infoPipe[0], infoPipe[1]}) close(fd);
    saved.clear();
  }

  std::string Logged() { return ReadUtf16File(logPath); }

  ScratchFolder scratch;
  std::list<ScopedEnv> saved;
  std::string dir, logPath;
  int logFd = -1;
  int errorPipe[2] = {-1, -1};
  int infoPipe[2] = {-1, -1};
  TvHostContext context = {};
};

}  // namespace

TEST_F(XDebugLogTest, NestedTracesIndentByTwoBlanksPerLevel) {
  Log(u"->->", context, "Outer");
  Log(u"one", context, "Outer");
  Log(u"->-> entering", context, "Inner");
  Log(u"two", context);
  Log(u"<-<-", context, "Inner");
  Log(u"<-<- leaving", context, "Outer");
  // Pieces without a line end form one line with one indentation and the last one's place.
  Log(u"->->", context, "F");
  Log(u"a", context, "Ignored", false);
  Log(u"b", context, "Ignored", false);
  Log(u"c", context, "Last");
  Log(u"<-<-", context, "F");
  EXPECT_EQ(Logged(),
            "->->  [Outer]\r\n"
            "  one  [Outer]\r\n"
            "  ->-> entering  [Inner]\r\n"
            "    two\r\n"
            "  <-<-  [Inner]\r\n"
            "<-<- leaving  [Outer]\r\n"
            "->->  [F]\r\n  abc  [Last]\r\n<-<-  [F]\r\n");
}

TEST_F(XDebugLogTest, ErrorAndInformationGoToLogAndToTheirPipes) {
  Log(u"->->", context, "Run");
  LogError(u"Unable to open file", context, "TvTransmill::OpenDecoder");
  LogInfo(u"Gr\u00fc\u00dfe", context);
  Log(u"<-<-", context, "Run");
  EXPECT_EQ(Logged(),
            "->->  [Run]\r\n"
            "*** Error: Unable to open file  [TvTransmill::OpenDecoder]\r\n"
            "*** Information: Gr\xC3\xBC\xC3\x9F"
            "e\r\n"
            "<-<-  [Run]\r\n");
  EXPECT_EQ(ReadPipe(errorPipe[0]), "Unable to open file  [TvTransmill::OpenDecoder]\r\n");
  EXPECT_EQ(ReadPipe(infoPipe[0]),
            "Gr\xC3\xBC\xC3\x9F"
            "e\r\n");
}

TEST_F(XDebugLogTest, StartByTheEnvironmentKeepsTheSettingAndByTheSettingIsOneShot) {
  const char16_t* key = u"Software\\Morlane\\Tonvera";
  for (bool byEnvironment : {true, false}) {
    SCOPED_TRACE(byEnvironment);
    if (byEnvironment) setenv("TONVERA_DEBUG", "1", 1);
    if (!byEnvironment) unsetenv("TONVERA_DEBUG");
    XRegistry::WriteDWORD(1, u"Debug", XRegistry::RootCurrentUser, key);
    XFile file;
    XEvent watch;
    ASSERT_TRUE(StartDebugLog(file, watch));
    EXPECT_EQ(XLogContext().logHandle, file.Handle());
    std::string path = file.path.ToUtf8String();
    // The environment's log goes to the documents, made when missing, the setting's to a
    // temporary file.
    EXPECT_EQ(path.rfind(dir + (byEnvironment ? "/home/Documents/TVDebug-" : "/tmp/DBG"), 0), 0u);
    EXPECT_TRUE(byEnvironment || (watch.IsOpen() && path.ends_with(".TXT"))) << path;
    XSetLogContext({2, -1, -1});
    EXPECT_EQ(XRegistry::ReadDWORD(u"Debug", XRegistry::RootCurrentUser, key),
              byEnvironment ? 1u : 0u);
  }
  XFile none;
  XEvent noWatch;
  EXPECT_FALSE(StartDebugLog(none, noWatch));
  EXPECT_FALSE(none.IsOpen());
  EXPECT_EQ(XLogContext().logHandle, -1);
  // A requested log that cannot be created is no log.
  setenv("TONVERA_DEBUG", "1", 1);
  std::filesystem::remove_all(dir + "/home/Documents");
  std::ofstream(dir + "/home/Documents") << "a file where the folder should be";
  EXPECT_FALSE(StartDebugLog(none, noWatch));
  EXPECT_FALSE(none.IsOpen());
}

TEST_F(XDebugLogTest, RequestNeedsAValueAndLaterFileNamesCountUp) {
  EXPECT_FALSE(IsDebugRequested());
  setenv("TONVERA_DEBUG", "", 1);
  EXPECT_FALSE(IsDebugRequested());
  setenv("TONVERA_DEBUG", "0", 1);  // the value itself isn't looked at
  EXPECT_TRUE(IsDebugRequested());
  std::string first = U8(DebugFileName()), second = U8(DebugFileName());
  // The first name of a process has no counter; every later one the count before it.
  std::string stem = dir + "/home/Documents/TVDebug-" + std::to_string(getpid());
  unsigned before =
      first == stem + ".txt" ? 0 : unsigned(std::stoul(first.substr(stem.size() + 1)));
  EXPECT_EQ(first.rfind(stem, 0), 0u) << first;
  EXPECT_EQ(second, stem + "+" + std::to_string(before + 1) + ".txt");
}
