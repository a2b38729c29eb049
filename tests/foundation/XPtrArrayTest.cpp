// The pointer array: inline store, growth steps, insertion, removal and compaction.
#include "foundation/XPtrArray.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<XPtrArray::Word> Words(const XPtrArray& a) {
  return std::vector<XPtrArray::Word>(a.items, a.items + a.count);
}

XPtrArray Filled(int n) {
  XPtrArray a;
  for (int i = 0; i < n; ++i) a.Push(XPtrArray::Word(i + 100));
  return a;
}

}  // namespace

TEST(XPtrArrayTest, SixteenWordsStayInline) {
  XPtrArray a = Filled(16);
  EXPECT_TRUE(a.IsInline());
  EXPECT_EQ(a.capacity, 16);
  EXPECT_EQ(a.growStep, 32);
  a.Push(7);
  EXPECT_FALSE(a.IsInline());
  EXPECT_EQ(a.count, 17);
  EXPECT_EQ(a[16], 7u);
  EXPECT_EQ(a[0], 100u);
}

TEST(XPtrArrayTest, CapacityGrowsByADoublingStep) {
  XPtrArray a;
  std::vector<int32_t> seen{a.capacity};
  for (int i = 0; i < 500; ++i) {
    a.Push(XPtrArray::Word(i));
    if (a.capacity != seen.back()) seen.push_back(a.capacity);
  }
  EXPECT_EQ(seen, (std::vector<int32_t>{16, 48, 112, 240, 496, 1008}));
  EXPECT_EQ(a.growStep, 1024);
  for (int i = 0; i < 500; ++i) ASSERT_EQ(a[i], XPtrArray::Word(i));
}

TEST(XPtrArrayTest, GrowStepIsCappedForLongArrays) {
  XPtrArray a;
  int32_t lastCapacity = a.capacity;
  int32_t lastGrowth = 0;
  while (a.count < 1100000) {
    a.Push(XPtrArray::Word(a.count));
    if (a.capacity != lastCapacity) {
      lastGrowth = a.capacity - lastCapacity;
      lastCapacity = a.capacity;
    }
  }
  EXPECT_EQ(a.growStep, XPtrArray::MaxGrowStep);
  EXPECT_EQ(lastGrowth, 500000);
  EXPECT_EQ(a[1099999], 1099999u);
}

TEST(XPtrArrayTest, InsertAtPlacesAndShifts) {
  XPtrArray a = Filled(3);  // 100 101 102
  a.InsertAt(0, 1);
  a.InsertAt(2, 2);
  a.InsertAt(-1, 3);
  a.InsertAt(a.count, 4);
  a.InsertAt(a.count + 5, 5);
  EXPECT_EQ(Words(a), (std::vector<XPtrArray::Word>{1, 100, 2, 101, 102, 3, 4, 5}));
}

TEST(XPtrArrayTest, InsertAtGrowsAcrossTheInlineEdge) {
  XPtrArray a = Filled(16);
  a.InsertAt(8, 9);
  EXPECT_EQ(a.count, 17);
  EXPECT_EQ(a[8], 9u);
  EXPECT_EQ(a[9], 108u);
  EXPECT_EQ(a[16], 115u);
}

TEST(XPtrArrayTest, RemoveAtOutsideTheRangeDoesNothing) {
  XPtrArray a = Filled(3);
  a.RemoveAt(-1);
  a.RemoveAt(3);
  EXPECT_EQ(Words(a), (std::vector<XPtrArray::Word>{100, 101, 102}));
  a.RemoveAt(2);
  a.RemoveAt(0);
  EXPECT_EQ(Words(a), (std::vector<XPtrArray::Word>{101}));
}

TEST(XPtrArrayTest, RemoveAtKeepsCapacity) {
  XPtrArray a = Filled(20);
  while (a.count > 0) a.RemoveAt(0);
  EXPECT_EQ(a.capacity, 48);
  EXPECT_FALSE(a.IsInline());
}

TEST(XPtrArrayTest, RemoveAllEqualCompactsInOrder) {
  XPtrArray a;
  for (XPtrArray::Word w : {5, 1, 5, 2, 5, 5, 3, 5}) a.Push(w);
  EXPECT_EQ(a.RemoveAllEqual(5), 5);
  EXPECT_EQ(Words(a), (std::vector<XPtrArray::Word>{1, 2, 3}));
  EXPECT_EQ(a.RemoveAllEqual(9), 0);
  EXPECT_EQ(a.count, 3);
}

TEST(XPtrArrayTest, CopiesAndMovesAreIndependent) {
  XPtrArray grown = Filled(40);
  XPtrArray copy(grown);
  copy[0] = 1;
  EXPECT_EQ(grown[0], 100u);
  EXPECT_EQ(Words(copy).size(), 40u);

  XPtrArray small = Filled(3);
  XPtrArray moved(std::move(small));
  EXPECT_TRUE(moved.IsInline());
  EXPECT_EQ(Words(moved), (std::vector<XPtrArray::Word>{100, 101, 102}));
  EXPECT_EQ(small.count, 0);

  XPtrArray takenHeap;
  takenHeap = std::move(grown);
  EXPECT_EQ(takenHeap.count, 40);
  EXPECT_EQ(takenHeap[39], 139u);
  EXPECT_TRUE(grown.IsInline());
  EXPECT_EQ(grown.capacity, 16);
}

TEST(XPtrArrayTest, ResetGoesBackInline) {
  XPtrArray a = Filled(100);
  a.Reset();
  EXPECT_TRUE(a.IsInline());
  EXPECT_EQ(a.count, 0);
  EXPECT_EQ(a.capacity, 16);
  EXPECT_EQ(a.growStep, 32);
}
