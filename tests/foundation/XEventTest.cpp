// XEvent: create-or-open by name, manual reset, waits, and sharing with other processes.
#include "foundation/XEvent.h"

#include "tests/foundation/Fixtures.h"
#include "tests/sdk/support/NamedPeer.h"

using namespace named_peer;

TEST(XEventTest, SecondCreateOfANameOpensTheSameEvent) {
  XString name = X(UniqueName("evt"));
  XEvent first(name.CStr());
  ASSERT_TRUE(first.IsOpen());
  EXPECT_FALSE(first.AlreadyExisted());
  XEvent second(name.CStr());
  EXPECT_TRUE(second.AlreadyExisted());
  EXPECT_EQ(XGetLastError(), XErrAlreadyExists);
  second.Set();
  EXPECT_TRUE(first.IsSet());
  first.Reset();
  EXPECT_FALSE(second.IsSet());
}

TEST(XEventTest, CopyDetachAndAttachKeepTheSameEvent) {
  XEvent original(X(UniqueName("evt")).CStr());
  XEvent copy(original);
  EXPECT_TRUE(copy.AlreadyExisted());
  original.Close();
  copy.Set();
  EXPECT_TRUE(copy.IsSet());
  XEvent::Handle handle = copy.Detach();
  EXPECT_FALSE(copy.IsOpen());
  XEvent attached;
  attached.Attach(handle);
  EXPECT_TRUE(attached.AlreadyExisted());
  EXPECT_EQ(attached.GetHandle(), handle);
  EXPECT_TRUE(attached.IsSet());
}

TEST(XEventTest, ToggleTellsTheNewStateAndAClosedEventDoesNothing) {
  XEvent event;
  EXPECT_EQ((Ints{event.Toggle(), event.IsSet(), event.Toggle(), event.IsSet()}),
            (Ints{1, 1, 0, 0}));
}

TEST(XEventTest, WaitsTellWhichOneOrTimeOutOrFailure) {
  std::string secondName = UniqueName("evt");
  XEvent first(X(UniqueName("evt")).CStr()), second(X(secondName).CStr());
  EXPECT_FALSE(first.Wait(0));
  EXPECT_EQ(FailedWith(first.Wait(20)), XErrTimeout);
  EXPECT_EQ(XEvent::WaitEither(first, second, 10), 0);
  EXPECT_EQ(XGetLastError(), XErrTimeout);
  ASSERT_EQ(RunPeer(CPeer(), {"event-set", secondName}), 0);
  EXPECT_EQ(XEvent::WaitEither(first, second, 20000), 2);
  first.Set();
  EXPECT_TRUE(first.Wait(XEvent::Infinite));
  EXPECT_EQ(XEvent::WaitEither(first, second, 0), 1);
}

TEST(XEventTest, CreateUniqueAddsAGuidTextToThePrefix) {
  XEvent a, b;
  XString first = a.CreateUnique(u"TvTest");
  EXPECT_EQ(first.Left(6), u"TvTest");
  EXPECT_NE(first, b.CreateUnique(u"TvTest"));
  EXPECT_TRUE(a.IsOpen());
}

TEST(XEventTest, CreateFromTicksSkipsNamesThatExist) {
  std::string prefix = UniqueName("tick") + "-";
  uint32_t start = XTickCount();
  XEvent taken(X(prefix + std::to_string(start)).CStr());
  XEvent event;
  XString name = event.CreateFromTicks(X(prefix).CStr());
  ASSERT_TRUE(event.IsOpen());
  EXPECT_FALSE(event.AlreadyExisted());
  uint64_t number = name.From(int(prefix.size()) + 1).ToUInt64();
  EXPECT_GT(number, uint64_t(start));
  EXPECT_EQ(name, X(prefix + std::to_string(number)));
}
