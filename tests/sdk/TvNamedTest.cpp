// Named events, mutexes, blocks and the counter of the C API, across real processes.
#include "sdk/tv_named.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "support/NamedPeer.h"

using namespace named_peer;

TEST(TvNamedTest, SecondCreateOpensTheSameEvent) {
  std::string name = UniqueName("evt");
  int existed = -1;
  tv_event* first = tv_event_create(name.c_str(), &existed);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(existed, 0);
  EXPECT_EQ(tv_event_is_set(first), 0);
  tv_event* second = tv_event_create(name.c_str(), &existed);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(existed, 1);
  tv_event_set(second);
  EXPECT_EQ(tv_event_is_set(first), 1);
  tv_event_reset(first);
  EXPECT_EQ(tv_event_is_set(second), 0);
  tv_event_close(first);
  tv_event_close(second);
}

TEST(TvNamedTest, OtherProcessOpensWhatThisOneCreated) {
  std::string name = UniqueName("evt");
  tv_event* event = tv_event_create(name.c_str(), nullptr);
  std::string output;
  EXPECT_EQ(RunPeer(CPeer(), {"event-set", name}, &output), 0);
  EXPECT_EQ(output, "existed=1\n");
  EXPECT_EQ(tv_event_wait(event, 0), 1);
  tv_event_close(event);
}

TEST(TvNamedTest, SetHereWakesAWaiterInAnotherProcess) {
  std::string name = UniqueName("evt");
  tv_event* event = tv_event_create(name.c_str(), nullptr);
  Peer waiter(CPeer(), {"event-wait", name, "60000"});
  ASSERT_TRUE(waiter.WaitFor("ready"));
  tv_event_set(event);
  EXPECT_EQ(waiter.Wait(), 0);
  tv_event_close(event);
}

TEST(TvNamedTest, WaiterKilledInsideAWaitDoesNotStopTheNextOne) {
  std::string name = UniqueName("evt");
  tv_event* event = tv_event_create(name.c_str(), nullptr);
  {
    Peer killed(CPeer(), {"event-wait", name, "60000"});
    ASSERT_TRUE(killed.WaitFor("ready"));
    usleep(100000);  // lets it get inside the wait, where a kill leaves the most behind
    killed.Kill();
  }
  Peer waiter(CPeer(), {"event-wait", name, "60000"});
  ASSERT_TRUE(waiter.WaitFor("ready"));
  tv_event_set(event);
  EXPECT_EQ(waiter.Wait(), 0);
  tv_event_close(event);
  EXPECT_FALSE(ShmExists("evt", name));
}

TEST(TvNamedTest, WaitEndsWithTimeOutWhenNobodySets) {
  std::string name = UniqueName("evt");
  tv_event* event = tv_event_create(name.c_str(), nullptr);
  errno = 0;
  EXPECT_EQ(tv_event_wait(event, 0), 0);
  EXPECT_EQ(tv_event_wait(event, 30), 0);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(RunPeer(CPeer(), {"event-wait", name, "30"}), 3);
  tv_event_close(event);
}

TEST(TvNamedTest, EventStaysSetForEveryWaiterUntilReset) {
  tv_event* event = tv_event_create(UniqueName("evt").c_str(), nullptr);
  tv_event_set(event);
  EXPECT_EQ(tv_event_wait(event, 10), 1);
  EXPECT_EQ(tv_event_wait(event, TV_INFINITE), 1);
  tv_event_reset(event);
  EXPECT_EQ(tv_event_wait(event, 1), 0);
  tv_event_close(event);
}

TEST(TvNamedTest, WaitEitherTellsWhichEventIsSet) {
  std::string firstName = UniqueName("evt"), secondName = UniqueName("evt");
  tv_event* first = tv_event_create(firstName.c_str(), nullptr);
  tv_event* second = tv_event_create(secondName.c_str(), nullptr);
  EXPECT_EQ(tv_event_wait_either(first, second, 20), 0);
  ASSERT_EQ(RunPeer(CPeer(), {"event-set", secondName}), 0);
  EXPECT_EQ(tv_event_wait_either(first, second, 20000), 2);
  tv_event_set(first);
  EXPECT_EQ(tv_event_wait_either(first, second, 0), 1);
  EXPECT_EQ(tv_event_wait_either(first, nullptr, 0), -1);
  tv_event_close(first);
  tv_event_close(second);
}

TEST(TvNamedTest, UnnamedEventsArePrivateButDuplicatesShareTheState) {
  tv_event* a = tv_event_create(nullptr, nullptr);
  tv_event* b = tv_event_create("", nullptr);
  tv_event* copy = tv_event_duplicate(a);
  ASSERT_TRUE(a && b && copy);
  tv_event_set(a);
  EXPECT_EQ(tv_event_is_set(copy), 1);
  EXPECT_EQ(tv_event_is_set(b), 0);
  tv_event_close(a);
  EXPECT_EQ(tv_event_is_set(copy), 1);
  tv_event_close(copy);
  tv_event_close(b);
}

TEST(TvNamedTest, DuplicateOfNamedEventKeepsItAliveAfterTheOriginalCloses) {
  std::string name = UniqueName("evt");
  tv_event* event = tv_event_create(name.c_str(), nullptr);
  tv_event* copy = tv_event_duplicate(event);
  tv_event_close(event);
  EXPECT_TRUE(ShmExists("evt", name));
  tv_event_close(copy);
  EXPECT_FALSE(ShmExists("evt", name));
}

TEST(TvNamedTest, BadHandlesAndNamesFailWithoutCrashing) {
  EXPECT_EQ(tv_event_set(nullptr), -1);
  EXPECT_EQ(tv_event_is_set(nullptr), -1);
  EXPECT_EQ(tv_event_wait(nullptr, 10), -1);
  EXPECT_EQ(tv_event_duplicate(nullptr), nullptr);
  EXPECT_EQ(tv_mutex_lock(nullptr, 0), -1);
  EXPECT_EQ(tv_mutex_unlock(nullptr), 0);
  EXPECT_EQ(tv_counter_create("", nullptr), nullptr);
  EXPECT_EQ(tv_counter_create(nullptr, nullptr), nullptr);
  uint64_t value = 0;
  EXPECT_EQ(tv_counter_read(nullptr, &value), 0);
  EXPECT_EQ(tv_block_data(nullptr), nullptr);
  tv_event_close(nullptr);
  tv_mutex_close(nullptr);
  tv_counter_close(nullptr);
}

TEST(TvNamedTest, MutexIsRecursiveAndExcludesOtherProcesses) {
  std::string name = UniqueName("mtx");
  tv_mutex* mutex = tv_mutex_create(name.c_str(), nullptr);
  ASSERT_EQ(tv_mutex_lock(mutex, 0), 1);
  ASSERT_EQ(tv_mutex_lock(mutex, TV_INFINITE), 1);
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", name, "20"}), 3);
  tv_mutex_unlock(mutex);
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", name, "20"}), 3);
  tv_mutex_unlock(mutex);
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", name, "20000"}), 0);
  EXPECT_EQ(tv_mutex_unlock(mutex), 0);
  tv_mutex_close(mutex);
}

TEST(TvNamedTest, MutexOfAKilledHolderGoesToTheNextLocker) {
  std::string name = UniqueName("mtx");
  tv_mutex* mutex = tv_mutex_create(name.c_str(), nullptr);
  Peer holder(CPeer(), {"mutex-hold", name});
  ASSERT_TRUE(holder.WaitFor("ready"));
  errno = 0;
  EXPECT_EQ(tv_mutex_lock(mutex, 10), 0);
  EXPECT_EQ(errno, ETIMEDOUT);
  holder.Kill();
  EXPECT_EQ(tv_mutex_lock(mutex, 20000), 1);
  EXPECT_EQ(tv_mutex_unlock(mutex), 1);
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", name, "20000"}), 0);
  tv_mutex_close(mutex);
}

TEST(TvNamedTest, CounterWrittenInOneProcessIsReadInAnother) {
  std::string name = UniqueName("cnt");
  int existed = -1;
  tv_counter* counter = tv_counter_create(name.c_str(), &existed);
  ASSERT_NE(counter, nullptr);
  EXPECT_EQ(existed, 0);
  uint64_t value = 1;
  ASSERT_EQ(tv_counter_read(counter, &value), 1);
  EXPECT_EQ(value, 0u);
  ASSERT_EQ(RunPeer(CPeer(), {"counter-write", name, "18446744073709551615"}), 0);
  ASSERT_EQ(tv_counter_read(counter, &value), 1);
  EXPECT_EQ(value, 18446744073709551615ull);
  ASSERT_EQ(tv_counter_write(counter, 4294967296ull), 1);
  std::string output;
  EXPECT_EQ(RunPeer(CPeer(), {"counter-read", name}, &output), 0);
  EXPECT_EQ(output, "existed=1\nvalue=4294967296\n");
  EXPECT_TRUE(ShmExists("mtx", "SMutex_" + name));
  EXPECT_TRUE(ShmExists("blk", "NSharedData_" + name));
  tv_counter_close(counter);
}

TEST(TvNamedTest, CounterIsLittleEndianInItsBlock) {
  std::string name = UniqueName("cnt");
  tv_counter* counter = tv_counter_create(name.c_str(), nullptr);
  tv_block* block = tv_block_create(("NSharedData_" + name).c_str(), 8, nullptr);
  tv_counter_write(counter, 0x0102030405060708ull);
  const unsigned char* bytes = static_cast<const unsigned char*>(tv_block_data(block));
  EXPECT_EQ(bytes[0], 0x08);
  EXPECT_EQ(bytes[7], 0x01);
  tv_block_close(block);
  tv_counter_close(counter);
}

TEST(TvNamedTest, BlockKeepsItsSizeAndContentWhenOpenedWithAnotherSize) {
  std::string name = UniqueName("blk");
  tv_block* first = tv_block_create(name.c_str(), 8, nullptr);
  ASSERT_NE(first, nullptr);
  EXPECT_GE(tv_block_size(first), 8u);
  std::memcpy(tv_block_data(first), "12345678", 8);
  int existed = 0;
  tv_block* second = tv_block_create(name.c_str(), 100000, &existed);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(existed, 1);
  EXPECT_EQ(tv_block_size(second), tv_block_size(first));
  EXPECT_EQ(std::memcmp(tv_block_data(second), "12345678", 8), 0);
  tv_block* third = tv_block_create(name.c_str(), 0, &existed);
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(existed, 1);
  tv_block_close(first);
  tv_block_close(second);
  tv_block_close(third);
  EXPECT_EQ(tv_block_create(name.c_str(), 0, nullptr), nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(ShmExists("blk", name));
}

TEST(TvNamedTest, NothingIsLeftInSharedMemoryAfterTheLastClose) {
  std::string event = UniqueName("evt"), counter = UniqueName("cnt");
  tv_event* e = tv_event_create(event.c_str(), nullptr);
  tv_counter* c = tv_counter_create(counter.c_str(), nullptr);
  Peer holder(CPeer(), {"event-hold", event});
  ASSERT_TRUE(holder.WaitFor("ready"));
  EXPECT_TRUE(ShmExists("evt", event));
  tv_event_close(e);
  EXPECT_TRUE(ShmExists("evt", event));
  tv_counter_close(c);
  EXPECT_FALSE(ShmExists("mtx", "SMutex_" + counter));
  EXPECT_FALSE(ShmExists("blk", "NSharedData_" + counter));
  holder.Kill();
  // The killed holder could not close: the next open finds it gone and starts afresh.
  EXPECT_TRUE(ShmExists("evt", event));
  int existed = -1;
  e = tv_event_create(event.c_str(), &existed);
  EXPECT_EQ(existed, 0);
  tv_event_close(e);
  EXPECT_FALSE(ShmExists("evt", event));
}

TEST(TvNamedTest, ProcessesRacingToOpenAndCloseLeaveNothingBehind) {
  std::string name = UniqueName("evt");
  std::vector<std::unique_ptr<Peer>> peers;
  for (int i = 0; i < 8; ++i)
    peers.push_back(std::make_unique<Peer>(CPeer(), std::vector<std::string>{"event-set", name}));
  int created = 0;
  for (auto& peer : peers) {
    created += peer->ReadLine() == "existed=0";
    EXPECT_EQ(peer->Wait(), 0);
  }
  EXPECT_GE(created, 1);
  EXPECT_FALSE(ShmExists("evt", name));
}

TEST(TvNamedTest, ObjectsOfKilledUsersAreSweptByTheNextProcessThatOpens) {
  std::string stale = UniqueName("evt");
  Peer holder(CPeer(), {"event-hold", stale});
  ASSERT_TRUE(holder.WaitFor("ready"));
  holder.Kill();
  ASSERT_TRUE(ShmExists("evt", stale));
  EXPECT_EQ(RunPeer(CPeer(), {"event-set", UniqueName("evt")}), 0);
  EXPECT_FALSE(ShmExists("evt", stale));
}

TEST(TvNamedTest, HalfMadeObjectsAreReplaced) {
  for (off_t size : {off_t(0), off_t(8192)}) {
    std::string name = UniqueName("evt");
    std::string shmName = ShmPath("evt", name).substr(std::strlen("/dev/shm"));
    int fd = shm_open(shmName.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, size), 0);
    close(fd);
    int existed = -1;
    tv_event* event = tv_event_create(name.c_str(), &existed);
    ASSERT_NE(event, nullptr) << size;
    EXPECT_EQ(existed, 0) << size;
    tv_event_set(event);
    EXPECT_EQ(tv_event_wait(event, 0), 1);
    tv_event_close(event);
    EXPECT_FALSE(ShmExists("evt", name));
  }
}

TEST(TvNamedTest, SlashesAndLongNamesMakeValidDistinctNames) {
  std::string base = UniqueName("long");
  size_t room = 255 - (std::string("tv-") + std::to_string(getuid()) + "-evt-").size();
  std::string fits = base + std::string(room - base.size(), 'a');
  std::string over = fits + "b", over2 = fits + "c";
  std::string slashed = base + "/x/y";
  std::vector<tv_event*> events;
  for (const std::string* name : {&fits, &over, &over2, &slashed}) {
    int existed = -1;
    events.push_back(tv_event_create(name->c_str(), &existed));
    ASSERT_NE(events.back(), nullptr) << *name;
    EXPECT_EQ(existed, 0) << *name;
  }
  EXPECT_TRUE(ShmExists("evt", fits));
  EXPECT_TRUE(ShmExists("evt", base + "\\x\\y"));
  int existed = 0;
  tv_event* again = tv_event_create(over.c_str(), &existed);
  EXPECT_EQ(existed, 1);
  tv_event_set(again);
  EXPECT_EQ(tv_event_is_set(events[1]), 1);
  EXPECT_EQ(tv_event_is_set(events[2]), 0);
  tv_event_close(again);
  for (tv_event* event : events) tv_event_close(event);
}
