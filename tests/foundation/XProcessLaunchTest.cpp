// Tests of process start: exit codes, time-outs, command lines, folders and inherited handles.
#include "foundation/XProcessLaunch.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>

#include "foundation/XTextCodec.h"
#include "tests/foundation/Fixtures.h"

namespace {

class XProcessLaunchTest : public XFileTestFolder {
 protected:
  XProcessLaunch Shell(const std::string& script) {
    XProcessLaunch launch;
    launch.programPath = u"/bin/sh";
    launch.arguments = X("-c \"" + script + "\"");
    launch.wait = true;
    return launch;
  }
};

bool IsGone(int pid) { return kill(pid, 0) != 0 && errno == ESRCH; }

}  // namespace

TEST_F(XProcessLaunchTest, TimeOutKillsTheChildOnlyWhenAsked) {
  for (bool terminate : {false, true}) {
    XProcessLaunch launch = Shell("sleep 5");
    launch.timeout = 100;
    launch.terminateOnTimeout = terminate;
    EXPECT_EQ(FailedWith(launch.Run()), XErrTimeout);
    ASSERT_GT(launch.processId, 0);
    EXPECT_EQ(IsGone(launch.processId), terminate);
    EXPECT_EQ(launch.exitCode == 128u + SIGKILL, terminate);
    kill(launch.processId, SIGKILL);
  }
}

TEST_F(XProcessLaunchTest, ArgumentsKeepBlanksAndNonAsciiText) {
  std::ofstream(Native("args.sh")) << "printf '%s\\n' \"$@\" > \"$(dirname \"$0\")/out.txt\"\n";
  XProcessLaunch launch = Shell("");
  launch.arguments =
      X("\"" + folder + "/args.sh\" \"a b\" \"Gr\xC3\xBC\xC3\x9F\x65 \xE6\x97\xA5\" plain \"\"");
  ASSERT_TRUE(launch.Run());
  EXPECT_EQ(Get("out.txt"), "a b\nGr\xC3\xBC\xC3\x9F\x65 \xE6\x97\xA5\nplain\n\n");
}

TEST_F(XProcessLaunchTest, FullCommandLineWinsOverProgramAndArguments) {
  XProcessLaunch launch;
  launch.commandLine = u"sh -c \"exit 4\"";
  launch.arguments = u"-c \"exit 9\"";
  launch.wait = true;
  ASSERT_TRUE(launch.Run());  // found through PATH
  EXPECT_EQ(launch.exitCode, 4u);
}

TEST_F(XProcessLaunchTest, WorkingFolderIsTheChildsCurrentFolder) {
  XProcessLaunch launch = Shell("pwd > here.txt");
  launch.workingFolder = X(folder);
  ASSERT_TRUE(launch.Run());
  EXPECT_EQ(Get("here.txt"), std::filesystem::canonical(folder).string() + "\n");
}

TEST_F(XProcessLaunchTest, HandlesReachTheChildOnlyWhenInherited) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);  // without close-on-exec: inheritable
  std::string script = "test -e /proc/self/fd/" + std::to_string(fds[1]);
  for (bool inherit : {true, false}) {
    XProcessLaunch launch = Shell(script);
    launch.inheritHandles = inherit;
    ASSERT_TRUE(launch.Run());
    EXPECT_EQ(launch.exitCode, inherit ? 0u : 1u);
  }
  close(fds[0]);
  close(fds[1]);
}

TEST_F(XProcessLaunchTest, BadRequestsFailWithAReason) {
  XProcessLaunch missing = Shell(""), empty;
  missing.programPath = X(folder + "/no such program");
  empty.commandLine = u"   ";
  EXPECT_EQ(FailedWith(missing.Run()), XErrFileNotFound);
  EXPECT_EQ(FailedWith(empty.Run()), XErrInvalidParameter);
}

TEST(XSplitCommandLineTest, QuotesGroupAndBackslashesEscapeOnlyBeforeQuotes) {
  using List = std::vector<std::u16string>;
  const std::pair<const char16_t*, List> cases[] = {
      {u"", {}},
      {u"\"\"", {u""}},
      {u"  a  \"b c\"\td ", {u"a", u"b c", u"d"}},
      {u"a\\\"b", {u"a\"b"}},
      {u"a\\\\\"b c\"", {u"a\\b c"}},
      {u"\"open to the end", {u"open to the end"}},
  };
  for (const auto& [line, items] : cases) EXPECT_EQ(XSplitCommandLine(line), items);
}
