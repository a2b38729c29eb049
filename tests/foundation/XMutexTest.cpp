// XMutex: create-or-open by name, recursion, time-outs and release on close.
#include "foundation/XMutex.h"
#include "tests/foundation/Fixtures.h"

#include "foundation/XTextCodec.h"
#include "tests/sdk/support/NamedPeer.h"

using namespace named_peer;

namespace {
std::u16string Wide(const std::string& text) { return XUtf8ToUtf16(text); }
}  // namespace

TEST(XMutexTest, SecondCreateOfANameReportsExisted) {
  std::u16string name = Wide(UniqueName("mtx"));
  XMutex first(name.c_str());
  EXPECT_FALSE(first.AlreadyExisted());
  XMutex second(name.c_str());
  EXPECT_TRUE(second.AlreadyExisted());
  EXPECT_EQ(XGetLastError(), XErrAlreadyExists);
}

TEST(XMutexTest, HeldMutexTimesOutInAnotherProcessUntilUnlocked) {
  std::string name = UniqueName("mtx");
  XMutex mutex(Wide(name).c_str());
  ASSERT_TRUE(mutex.TryLock());
  EXPECT_TRUE(mutex.IsHeld());
  mutex.Lock();
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", name, "20"}), 3);
  mutex.Unlock();
  EXPECT_FALSE(mutex.IsHeld());
  // Locked twice: still held by this thread after one unlock.
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", name, "20"}), 3);
  mutex.Unlock();
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", name, "20000"}), 0);
}

TEST(XMutexTest, TryLockOnAMutexHeldElsewhereTimesOut) {
  std::string name = UniqueName("mtx");
  XMutex mutex(Wide(name).c_str());
  Peer holder(CPeer(), {"mutex-hold", name});
  ASSERT_TRUE(holder.WaitFor("ready"));
  EXPECT_FALSE(mutex.TryLock(10));
  EXPECT_EQ(XGetLastError(), XErrTimeout);
  EXPECT_FALSE(mutex.IsHeld());
}

TEST(XMutexTest, CloseReleasesAHeldMutex) {
  std::string name = UniqueName("mtx");
  XMutex keeper(Wide(name).c_str());
  XMutex mutex(Wide(name).c_str());
  mutex.Lock();
  mutex.Close();
  EXPECT_FALSE(mutex.IsHeld());
  EXPECT_FALSE(mutex.IsOpen());
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", name, "20000"}), 0);
}

TEST(XMutexTest, CreateUniqueAndCreateFromTicksOpenTheNamedMutex) {
  XMutex a, b;
  EXPECT_EQ(a.CreateUnique(u"mutTest").Length(), 7 + 32);
  EXPECT_TRUE(a.IsOpen());
  XString ticks = b.CreateFromTicks(u"mutTvTestBatch", 255u);
  EXPECT_TRUE(b.IsOpen());
  EXPECT_LE(ticks.From(15).ToUInt64(), 255u);
}
