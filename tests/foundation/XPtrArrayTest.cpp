// The pointer array: inline store, growth, insertion, removal and compaction.
#include "foundation/XPtrArray.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Words = std::vector<XPtrArray::Word>;

Words WordsOf(const XPtrArray& a) { return Words(a.items, a.items + a.count); }

XPtrArray Filled(int n) {
  XPtrArray a;
  for (int i = 0; i < n; ++i) a.Push(XPtrArray::Word(i + 100));
  return a;
}

}  // namespace

TEST(XPtrArrayTest, PushKeepsEveryWordAcrossEachGrowth) {
  for (int n : {16, 17, 500, 1100000}) {
    XPtrArray a = Filled(n);
    ASSERT_EQ(a.count, n);
    for (int i = 0; i < n; ++i) ASSERT_EQ(a[i], XPtrArray::Word(i + 100)) << n;
  }
}

TEST(XPtrArrayTest, InsertAtPlacesAndShifts) {
  XPtrArray a = Filled(3);  // 100 101 102
  a.InsertAt(0, 1);
  a.InsertAt(2, 2);
  a.InsertAt(-1, 3);
  a.InsertAt(a.count, 4);
  a.InsertAt(a.count + 5, 5);
  EXPECT_EQ(WordsOf(a), (Words{1, 100, 2, 101, 102, 3, 4, 5}));
  XPtrArray edge = Filled(16);  // growing out of the inline store
  edge.InsertAt(8, 9);
  EXPECT_EQ(edge.count, 17);
  EXPECT_EQ((Words{edge[7], edge[8], edge[9], edge[16]}), (Words{107, 9, 108, 115}));
}

TEST(XPtrArrayTest, RemoveAtAndRemoveAllEqual) {
  XPtrArray a = Filled(3);
  a.RemoveAt(-1);
  a.RemoveAt(3);
  EXPECT_EQ(WordsOf(a), (Words{100, 101, 102}));
  a.RemoveAt(2);
  a.RemoveAt(0);
  EXPECT_EQ(WordsOf(a), (Words{101}));
  XPtrArray b;
  for (XPtrArray::Word w : {5, 1, 5, 2, 5, 5, 3, 5}) b.Push(w);
  EXPECT_EQ(b.RemoveAllEqual(5), 5);
  EXPECT_EQ(WordsOf(b), (Words{1, 2, 3}));
}

TEST(XPtrArrayTest, CopiesMovesAndResetAreIndependent) {
  XPtrArray grown = Filled(40);
  XPtrArray copy(grown);
  copy[0] = 1;
  EXPECT_EQ(grown[0], 100u);
  EXPECT_EQ(WordsOf(copy).size(), 40u);

  XPtrArray takenHeap;
  takenHeap = std::move(grown);
  EXPECT_EQ(takenHeap.count, 40);
  EXPECT_EQ(takenHeap[39], 139u);
  EXPECT_TRUE(grown.IsInline());
  takenHeap.Reset();
  EXPECT_TRUE(takenHeap.IsInline());
  EXPECT_EQ(takenHeap.count, 0);
}
