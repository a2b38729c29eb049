// XSharedMem: the counter block and its mutex, shared with other processes.
#include "foundation/XSharedMem.h"
#include "tests/foundation/Fixtures.h"

#include "foundation/XTextCodec.h"
#include "tests/sdk/support/NamedPeer.h"

using namespace named_peer;

namespace {
std::u16string Wide(const std::string& text) { return XUtf8ToUtf16(text); }
}  // namespace

TEST(XSharedMemTest, WrittenHereIsReadByTheCApiAndTheOtherWayRound) {
  std::string name = UniqueName("cnt");
  XSharedMem share;
  bool existed = true;
  ASSERT_TRUE(share.Create(Wide(name).c_str(), 8, &existed));
  EXPECT_FALSE(existed);
  uint64_t value = 123456789012345ull;
  ASSERT_TRUE(share.Write(&value));
  std::string output;
  EXPECT_EQ(RunPeer(CPeer(), {"counter-read", name}, &output), 0);
  EXPECT_EQ(output, "existed=1\nvalue=123456789012345\n");
  ASSERT_EQ(RunPeer(CPeer(), {"counter-write", name, "42"}), 0);
  ASSERT_TRUE(share.Read(&value));
  EXPECT_EQ(value, 42u);
}

TEST(XSharedMemTest, LockKeepsTheMutexAcrossWritesUntilUnlock) {
  std::string name = UniqueName("cnt");
  XSharedMem share;
  ASSERT_TRUE(share.Create(Wide(name).c_str(), 8));
  share.Lock();
  EXPECT_TRUE(share.IsLocked());
  uint64_t value = 5;
  share.Write(&value);
  EXPECT_TRUE(share.IsLocked());
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", "SMutex_" + name, "20"}), 3);
  share.Unlock();
  EXPECT_FALSE(share.IsLocked());
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", "SMutex_" + name, "20000"}), 0);
}

TEST(XSharedMemTest, NeverCreatedOrClosedBlockRefusesCopies) {
  XSharedMem share;
  uint64_t value = 1;
  EXPECT_FALSE(share.Write(&value));
  std::string name = UniqueName("cnt");
  ASSERT_TRUE(share.Create(Wide(name).c_str(), 8));
  EXPECT_TRUE(ShmExists("blk", "NSharedData_" + name));
  share.Close();
  EXPECT_FALSE(share.Write(&value));
  EXPECT_FALSE(ShmExists("blk", "NSharedData_" + name));
  EXPECT_FALSE(ShmExists("mtx", "SMutex_" + name));
}
