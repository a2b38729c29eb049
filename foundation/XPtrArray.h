// Growing array of pointer-sized words with sixteen slots inside the object.
#pragma once
#include <cstdint>

// Words are pointer-sized so that they can carry pointers on 64-bit builds too.
// Up to sixteen words need no heap block; growth then adds a step that doubles
// each time, capped so that very long arrays do not double their memory.
class XPtrArray {
 public:
  using Word = uintptr_t;
  static constexpr int32_t InlineCount = 16;
  static constexpr int32_t FirstGrowStep = 32;
  static constexpr int32_t MaxGrowStep = 500000;

  XPtrArray();
  XPtrArray(const XPtrArray& other);
  XPtrArray(XPtrArray&& other) noexcept;
  XPtrArray& operator=(const XPtrArray& other);
  XPtrArray& operator=(XPtrArray&& other) noexcept;
  ~XPtrArray();

  // Grows if full, stores at the end.
  void Push(Word word);
  // An index above count, or -1, means the end; later words shift up.
  void InsertAt(int32_t index, Word word);
  // An index outside the range does nothing; the word is not freed; capacity stays.
  void RemoveAt(int32_t index);
  // Removes every word equal to `word`, keeping the order of the rest; returns how many went.
  int32_t RemoveAllEqual(Word word);
  // Frees a heap block and goes back to the inline store, empty.
  void Reset();

  int32_t Count() const { return count; }
  bool IsInline() const { return items == inlineItems; }
  Word& operator[](int32_t index) { return items[index]; }
  Word operator[](int32_t index) const { return items[index]; }

  Word* items;
  int32_t count;
  int32_t capacity;
  int32_t growStep;
  Word inlineItems[InlineCount];

 private:
  void Grow();
  void TakeFrom(XPtrArray& other) noexcept;
};
