// The small rules of a run: output names, the back-off, the percentage and the closing line.
#pragma once
#include "foundation/XString.h"

#include <cstdint>

// The output's extension is ".IGNORE" in any case: no file is wanted.
bool TvIsIgnoreExtension(const XString& outputFile);

// The name an encoder writes beside an existing output: the name, cut so that the result
// stays within 259 characters, then ".tmp" and the extension again (b.flac -> b.flac.tmp.flac).
XString TvTempOutputName(const XString& outputFile);

// The pump's wait for a source that has nothing yet: 0, 25, 25, then 50 ms a round.
class TvBackOff {
 public:
  // The sleep after a round, in ms, or -1 for none; a block with data or the end resets it.
  int32_t Next(bool hadDataOrEnd);
  static int32_t SleepAt(int32_t index);

 private:
  int32_t index = 0;
};

// Percent of the source done at a block's position; a length of 0 counts as 1, at most 100.
uint32_t TvPercentDone(uint64_t positionMs, uint64_t lengthMs);

// "Conversion completed in ..." with the realtime factor; empty for an elapsed time of 0.
XString TvClosingLine(uint64_t elapsedMs, double factor);
