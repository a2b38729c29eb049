// Tests of the InfoPeek watcher, run as the real program on a log that grows.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "foundation/XEvent.h"
#include "foundation/XLastError.h"
#include "foundation/XTextCodec.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestText.h"

namespace {

class InfoPeekTest : public testing::Test {
 protected:
  void Append(const std::string& bytes) {
    ASSERT_TRUE(log.write(bytes.data(), bytes.size()).flush());
  }

  ScratchFolder scratch;
  std::string program = std::string(TV_BIN_DIR) + "/InfoPeek";
  std::string logPath = scratch.Folder() + "/DBG-test.TXT";
  std::ofstream log{logPath, std::ios::binary};
  std::string eventName =
      "TvDGB-test-" + std::to_string(getpid()) + "-" + std::to_string(XTickCount());
  std::vector<std::string> arguments = {"-DebugWatch=" + eventName, "-DebugFile=" + logPath};
};

}  // namespace

TEST_F(InfoPeekTest, FollowsTheGrowingLogAsUtf8UntilTheEventIsGone) {
  auto event = std::make_unique<XEvent>(XUtf8ToUtf16(eventName).c_str());
  ASSERT_FALSE(event->AlreadyExisted());
  Append(Utf16Le("->->  [Main]\r\n"));
  ChildProcess watcher(program, arguments);
  ASSERT_EQ(watcher.ReadLine(), "->->  [Main]");

  // A line that arrives in pieces: an odd byte, a surrogate pair and its CR LF cut in two.
  std::string line = Utf16Le("  Gr\u00fc\u00dfe \U0001F3B5 done\r\n");
  size_t cuts[] = {0, 5, line.find(Utf16Le("\U0001F3B5")) + 2, line.size() - 2, line.size()};
  for (size_t i = 0; i + 1 < std::size(cuts); ++i) {
    Append(line.substr(cuts[i], cuts[i + 1] - cuts[i]));
    usleep(150000);
  }
  EXPECT_EQ(watcher.ReadLine(), "  Gr\u00fc\u00dfe \U0001F3B5 done");

  Append(Utf16Le("<-<-  [Main]\r\n"));
  event.reset();  // the writer is gone: the watcher shows the rest and ends
  EXPECT_EQ(watcher.ReadLine(), "<-<-  [Main]");
  EXPECT_EQ(watcher.ReadLine(), "");
  EXPECT_EQ(watcher.Wait(), 0);
}

TEST_F(InfoPeekTest, WithoutItsEventItShowsWhatThereIsAndEnds) {
  Append(Utf16Le("only line\r\nand a CR that no LF follows\r"));
  std::string output;
  EXPECT_EQ(RunChild(program, arguments, &output), 0);
  EXPECT_EQ(output, "only line\nand a CR that no LF follows\r\n");  // the last line ends here
}

TEST_F(InfoPeekTest, BadArgumentsGiveUsageAndExitCodeOne) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"-DebugWatch=x"}, "Usage: InfoPeek"},
      {{"-DebugFile=y"}, "Usage: InfoPeek"},
      {{"-Other=1", "-DebugFile=y"}, "Usage: InfoPeek"},
      {{"-DebugWatch", "-DebugFile=y"}, "Usage: InfoPeek"},
      {{"-DebugWatch=" + eventName, "-DebugFile=" + logPath + ".absent"}, "cannot open"}};
  for (const auto& [args, message] : cases) {
    std::string output;
    EXPECT_EQ(RunChild(program, args, &output, true), 1) << output;
    EXPECT_NE(output.find(message), std::string::npos) << output;
  }
}
