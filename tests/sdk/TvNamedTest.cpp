// Named events, mutexes and blocks of the C API, across real processes: what the wrappers in
// foundation do not show (killed users, half-made objects, names, private events, bad handles).
#include "sdk/tv_named.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "tests/sdk/support/NamedPeer.h"

using namespace named_peer;

using Event = std::unique_ptr<tv_event, decltype(&tv_event_close)>;

static Event OpenEvent(const std::string& name, int* existed = nullptr) {
  return Event(tv_event_create(name.c_str(), existed), &tv_event_close);
}

TEST(TvNamedTest, WaiterKilledInsideAWaitDoesNotStopTheNextOne) {
  std::string name = UniqueName("evt");
  Event event = OpenEvent(name);
  {
    Peer killed(CPeer(), {"event-wait", name, "60000"});
    ASSERT_TRUE(killed.WaitFor("ready"));
    usleep(100000);  // lets it get inside the wait, where a kill leaves the most behind
  }
  Peer waiter(CPeer(), {"event-wait", name, "60000"});
  ASSERT_TRUE(waiter.WaitFor("ready"));
  tv_event_set(event.get());
  EXPECT_EQ(waiter.Wait(), 0);
  event.reset();
  EXPECT_FALSE(ShmExists("evt", name));
}

TEST(TvNamedTest, DuplicatesShareTheStateAndKeepTheEventAlive) {
  for (std::string name : {std::string(), UniqueName("evt")}) {
    Event event = OpenEvent(name), other = OpenEvent("");
    Event copy(tv_event_duplicate(event.get()), &tv_event_close);
    tv_event_set(event.get());
    EXPECT_EQ(tv_event_is_set(other.get()), 0);  // unnamed events are private
    event.reset();
    EXPECT_EQ(tv_event_is_set(copy.get()), 1);
    EXPECT_EQ(ShmExists("evt", name), !name.empty());
    copy.reset();
    EXPECT_FALSE(ShmExists("evt", name));
  }
}

TEST(TvNamedTest, BadHandlesAndNamesFailWithoutCrashing) {
  uint64_t value = 0;
  EXPECT_EQ(tv_event_set(nullptr) + tv_event_is_set(nullptr) + tv_event_wait(nullptr, 10), -3);
  EXPECT_EQ(tv_mutex_lock(nullptr, 0), -1);
  EXPECT_EQ(tv_mutex_unlock(nullptr) + tv_counter_read(nullptr, &value), 0);
  EXPECT_EQ(tv_event_duplicate(nullptr), nullptr);
  EXPECT_EQ(tv_event_wait_either(OpenEvent("").get(), nullptr, 0), -1);
  EXPECT_EQ(tv_counter_create("", nullptr), nullptr);
  EXPECT_EQ(tv_counter_create(nullptr, nullptr), nullptr);
  EXPECT_EQ(tv_block_data(nullptr), nullptr);
}

TEST(TvNamedTest, MutexGoesFromAKilledHolderToTheNextLocker) {
  std::string name = UniqueName("mtx");
  tv_mutex* mutex = tv_mutex_create(name.c_str(), nullptr);
  Peer holder(CPeer(), {"mutex-hold", name});
  ASSERT_TRUE(holder.WaitFor("ready"));
  EXPECT_EQ(tv_mutex_lock(mutex, 10), 0);
  holder.Kill();
  EXPECT_EQ(tv_mutex_lock(mutex, 20000), 1);
  EXPECT_EQ(tv_mutex_unlock(mutex) + tv_mutex_unlock(mutex) * 2, 1);  // held once, freed once
  EXPECT_EQ(RunPeer(CPeer(), {"mutex-try", name, "20000"}), 0);
  tv_mutex_close(mutex);
}

TEST(TvNamedTest, BlockKeepsItsSizeAndContentWhenOpenedWithAnotherSize) {
  std::string name = UniqueName("blk");
  tv_block* first = tv_block_create(name.c_str(), 8, nullptr);
  ASSERT_NE(first, nullptr);
  EXPECT_GE(tv_block_size(first), 8u);
  std::memcpy(tv_block_data(first), "12345678", 8);
  for (uint32_t size : {100000u, 0u}) {
    int existed = 0;
    tv_block* again = tv_block_create(name.c_str(), size, &existed);
    ASSERT_NE(again, nullptr) << size;
    EXPECT_EQ(existed, 1);
    EXPECT_EQ(tv_block_size(again), tv_block_size(first));
    EXPECT_EQ(std::memcmp(tv_block_data(again), "12345678", 8), 0);
    tv_block_close(again);
  }
  tv_block_close(first);
  EXPECT_EQ(tv_block_create(name.c_str(), 0, nullptr), nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(ShmExists("blk", name));
}

TEST(TvNamedTest, ObjectsOfKilledUsersAreReplacedOrSweptAtTheNextOpen) {
  std::string held = UniqueName("evt"), stale = UniqueName("evt");
  Event event = OpenEvent(held);
  Peer holder(CPeer(), {"event-hold", held}), staleHolder(CPeer(), {"event-hold", stale});
  ASSERT_TRUE(holder.WaitFor("ready") && staleHolder.WaitFor("ready"));
  event.reset();
  EXPECT_TRUE(ShmExists("evt", held));
  holder.Kill();
  staleHolder.Kill();
  // Killed holders could not close: the name's next open starts afresh, and a new process's
  // first open sweeps away the rest.
  int existed = -1;
  OpenEvent(held, &existed);
  EXPECT_EQ(existed, 0);
  EXPECT_FALSE(ShmExists("evt", held));
  ASSERT_TRUE(ShmExists("evt", stale));
  EXPECT_EQ(RunPeer(CPeer(), {"event-set", UniqueName("evt")}), 0);
  EXPECT_FALSE(ShmExists("evt", stale));
}

TEST(TvNamedTest, HalfMadeObjectsAreReplaced) {
  for (off_t size : {off_t(0), off_t(8192)}) {
    std::string name = UniqueName("evt");
    int fd = shm_open(ShmPath("evt", name).substr(8).c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, size), 0);
    close(fd);
    int existed = -1;
    EXPECT_NE(OpenEvent(name, &existed), nullptr) << size;
    EXPECT_EQ(existed, 0) << size;
    EXPECT_FALSE(ShmExists("evt", name));
  }
}

TEST(TvNamedTest, SlashesAndLongNamesMakeValidDistinctNames) {
  std::string base = UniqueName("long");
  size_t room = 255 - (std::string("tv-") + std::to_string(getuid()) + "-evt-").size();
  std::string fits = base + std::string(room - base.size(), 'a');
  std::vector<Event> events;
  for (const std::string& name : {fits, fits + "b", fits + "c", base + "/x/y"}) {
    int existed = -1;
    events.push_back(OpenEvent(name, &existed));
    ASSERT_NE(events.back(), nullptr) << name;
    EXPECT_EQ(existed, 0) << name;
  }
  EXPECT_TRUE(ShmExists("evt", fits) && ShmExists("evt", base + "\\x\\y"));
  int existed = 0;
  tv_event_set(OpenEvent(fits + "b", &existed).get());
  EXPECT_EQ(existed, 1);
  EXPECT_EQ(tv_event_is_set(events[1].get()) * 2 + tv_event_is_set(events[2].get()), 2);
}
