// Scheduling of a run: priority class and thread priority, and the processor of the main thread.
#pragma once
#include <cstdint>

// Priority classes in the system's numbering.
inline constexpr uint32_t TvNormalPriorityClass = 32;
inline constexpr uint32_t TvIdlePriorityClass = 64;

// What a `priority` word asks for: a thread value for the main thread and a class for the process.
struct TvPriorityChoice {
  int threadPriority;
  uint32_t priorityClass;
};
// "low", "idle" and "high" in any case; any other word is normal.
TvPriorityChoice TvPriorityOf(const char16_t* word);

// The affinity mask of a 1-based processor number, in 32 bits: 1 up to 1, 0 above 32.
uint32_t TvProcessorMask(int64_t number);

// Gives every thread of the process the class's nice value, then the calling thread its own
// value on top (idle becomes SCHED_IDLE). The nice value the process started with counts as
// normal. Refusals (raising without the right) are ignored.
void TvApplyPriority(int threadPriority, uint32_t priorityClass);
// Pins the calling thread to the processors of the mask; false when the system refuses it.
bool TvPinCurrentThread(uint32_t mask);
