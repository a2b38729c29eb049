// Growing array of pointer-sized words: growth, insertion and removal.
#include "foundation/XPtrArray.h"

#include <algorithm>
#include <cstring>
#include <new>

XPtrArray::XPtrArray()
    : items(inlineItems), count(0), capacity(InlineCount), growStep(FirstGrowStep), inlineItems{} {}

XPtrArray::XPtrArray(const XPtrArray& other) : XPtrArray() { *this = other; }

XPtrArray::XPtrArray(XPtrArray&& other) noexcept : XPtrArray() { TakeFrom(other); }

XPtrArray& XPtrArray::operator=(const XPtrArray& other) {
  if (this == &other) return *this;
  count = 0;
  while (capacity < other.count) Grow();
  std::copy(other.items, other.items + other.count, items);
  count = other.count;
  return *this;
}

XPtrArray& XPtrArray::operator=(XPtrArray&& other) noexcept {
  if (this != &other) {
    Reset();
    TakeFrom(other);
  }
  return *this;
}

XPtrArray::~XPtrArray() { Reset(); }

// Takes over other's words; an inline store cannot be taken, so it is copied.
void XPtrArray::TakeFrom(XPtrArray& other) noexcept {
  if (other.IsInline()) {
    std::copy(other.inlineItems, other.inlineItems + other.count, inlineItems);
    count = other.count;
  } else {
    items = other.items;
    count = other.count;
    capacity = other.capacity;
    growStep = other.growStep;
  }
  other.items = other.inlineItems;
  other.count = 0;
  other.capacity = InlineCount;
  other.growStep = FirstGrowStep;
}

void XPtrArray::Reset() {
  if (!IsInline()) delete[] items;
  items = inlineItems;
  count = 0;
  capacity = InlineCount;
  growStep = FirstGrowStep;
}

void XPtrArray::Grow() {
  if (capacity > INT32_MAX - growStep) throw std::bad_alloc();
  Word* grown = new Word[capacity + growStep];
  std::copy(items, items + capacity, grown);
  if (!IsInline()) delete[] items;
  items = grown;
  capacity += growStep;
  growStep = std::min(growStep * 2, MaxGrowStep);
}

void XPtrArray::Push(Word word) {
  if (count == capacity) Grow();
  items[count++] = word;
}

void XPtrArray::InsertAt(int32_t index, Word word) {
  if (index < 0 || index > count) index = count;
  if (count == capacity) Grow();
  std::memmove(items + index + 1, items + index, sizeof(Word) * (count - index));
  items[index] = word;
  ++count;
}

void XPtrArray::RemoveAt(int32_t index) {
  if (index < 0 || index >= count) return;
  std::memmove(items + index, items + index + 1, sizeof(Word) * (count - index - 1));
  --count;
}

int32_t XPtrArray::RemoveAllEqual(Word word) {
  int32_t kept = 0;
  for (int32_t i = 0; i < count; ++i) {
    if (items[i] != word) items[kept++] = items[i];
  }
  int32_t removed = count - kept;
  count = kept;
  return removed;
}
