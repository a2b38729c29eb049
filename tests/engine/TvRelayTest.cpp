// The output relay: error text from any thread or writer fails the run; nothing is lost at the end.
#include "foundation/XDebugLog.h"
#include "tests/engine/TvTestSupport.h"

#include <atomic>
#include <thread>

namespace {

class TvRelayTest : public TvRunPhaseTest {
 protected:
  // Waits (bounded) until the relay has raised the failed flag.
  bool FailedSoon() const {
    for (int i = 0; i < 2000; i++) {
      if (std::atomic_ref<uint32_t>(Dst().conversion.failed).load()) return true;
      usleep(5000);
    }
    return false;
  }
  static void WriteRaw(intptr_t handle, const std::string& bytes) {
    ASSERT_EQ(write(static_cast<int>(handle), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }
};

TEST_F(TvRelayTest, ErrorFromAnotherThreadFailsTheRunAndReachesStandardError) {
  ASSERT_TRUE(run->StartOutputRelay());
  std::thread plugin([this] { LogError(u"Error: boom", Io().logHandles, "Plugin::Work"); });
  plugin.join();
  EXPECT_TRUE(FailedSoon());
  run.reset();  // stops the relay
  EXPECT_EQ(FromUtf16Le(ReadBytes(PathOf("err.txt"))), "Error: boom  [Plugin::Work]\r\n");
}

TEST_F(TvRelayTest, RawBytesOnTheWriteEndFailTheRunAndPassUnchanged) {
  // A plug-in may write anything, even an odd count of bytes with no line end.
  const std::string bytes("A\0B", 3);
  std::thread plugin([&] { WriteRaw(Io().logHandles.errorHandle, bytes); });
  plugin.join();
  EXPECT_TRUE(run->RelayStep());
  EXPECT_EQ(Dst().conversion.failed, 1u);
  EXPECT_EQ(ReadBytes(PathOf("err.txt")), bytes);
}

// Information starts on a new line and never fails the run; silent drops it but keeps errors.
TEST_F(TvRelayTest, InformationNeverFailsAndSilentDropsIt) {
  LogInfo(u"Note", Io().logHandles, "F");
  EXPECT_TRUE(run->RelayStep());
  EXPECT_EQ(Dst().conversion.failed, 0u);
  EXPECT_EQ(Out(), "\r\nNote  [F]\r\n\r\n");
  EXPECT_FALSE(run->RelayStep());
  Opts().silent = 1;
  LogInfo(u"quiet", Io().logHandles);
  LogError(u"loud", Io().logHandles);
  EXPECT_EQ(Out(), "\r\nNote  [F]\r\n\r\n");
  EXPECT_EQ(Err(), "loud\r\n");
  EXPECT_EQ(Dst().conversion.failed, 1u);
}

TEST_F(TvRelayTest, TextWrittenJustBeforeTheEndStillArrives) {
  Opts().hostMode = 1;
  ASSERT_TRUE(run->StartOutputRelay());
  // More than a pipe holds, so the writer has to wait for the relay more than once.
  std::string big;
  for (int i = 0; i < 20000; i++) big += Utf16Le("0123456789");
  std::thread plugin([&] { WriteRaw(Io().logHandles.infoHandle, big); });
  plugin.join();
  LogError(u"last words", Io().logHandles);
  run.reset();
  EXPECT_EQ(ReadBytes(PathOf("out.txt")), big);
  EXPECT_EQ(FromUtf16Le(ReadBytes(PathOf("err.txt"))), "last words\r\n");
}

}  // namespace
