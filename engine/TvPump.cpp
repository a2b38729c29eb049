// The block pump: source, incomplete samples, progress, live DSPs and encoder, with its back-off.
#include "engine/TvRunRules.h"
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"
#include "foundation/XLastError.h"
#include "plugins/clTvDSP.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"

#include <chrono>
#include <cstring>
#include <thread>

namespace {
const char* const kRunFunction = "TvTransmill::TvTransmill";
constexpr int32_t kBackOffTable[] = {-1, 0, 25, 25, 50};
constexpr int32_t kBackOffLast = 4;
}  // namespace

int32_t TvBackOff::SleepAt(int32_t at) {
  return at >= 0 && at <= kBackOffLast ? kBackOffTable[at] : -1;
}

int32_t TvBackOff::Next(bool hadDataOrEnd) {
  if (hadDataOrEnd)
    index = 0;
  else if (index < kBackOffLast)
    index++;
  return SleepAt(index);
}

uint32_t TvPercentDone(uint64_t positionMs, uint64_t lengthMs) {
  const uint64_t percent = positionMs * 100 / (lengthMs != 0 ? lengthMs : 1);
  return percent > 100 ? 100 : static_cast<uint32_t>(percent);
}

void TvTransmill::Pump() {
  ResetProgress();
  dst.pumpStartTicks = XTickCount();
  Log(u"============= CONVERSION BEGIN =============", io.logHandles);
  if (HasFailed()) return;
  TvBackOff backOff;
  TvAudioBlock block;
  for (;;) {
    if (QuitRequested()) break;
    SignOfLife();
    std::memset(&block, 0, sizeof(block));
    if (!DecodeAudioBlock(*src.decoder, &block)) {
      RaiseFailed();
      break;
    }
    if (opts.hostMode) SendActionInput(block.statusText);
    const bool hasData = block.data != nullptr && block.byteCount != 0;
    const int32_t sleep = backOff.Next(hasData || block.endOfStream != 0);
    if (hasData || block.endOfStream != 0) {
      if (block.data == nullptr) block.byteCount = 0;
      if (!PassBlockOn(block)) break;
    }
    if (sleep >= 0) std::this_thread::sleep_for(std::chrono::milliseconds(sleep));
    if (block.endOfStream != 0 || HasFailed()) break;
  }
}

// One block with data or the end mark, from the sample check to the encoder. False ends the loop.
bool TvTransmill::PassBlockOn(TvAudioBlock& block) {
  const uint32_t align = block.format.Format.nBlockAlign != 0 ? block.format.Format.nBlockAlign : 1;
  if (block.byteCount % align != 0) {
    if (block.endOfStream != 0) {
      // The whole last block is dropped, complete samples and all.
      block.byteCount -= block.byteCount % align;
      ReportInfo(XString(u"Information: Audio data contains incomplete samples at end."),
                 kRunFunction);
      return false;
    }
    ReportError(XString(u"Error: Audio data contains incomplete samples mid-stream."),
                kRunFunction);
    RaiseFailed();
    return false;
  }
  ShowProgress(TvPercentDone(block.msPosition, src.openInfo.msLength));
  const uint32_t sourceBytes = block.byteCount;
  block.statusText = nullptr;
  if (!PassAudioBlockToDSPs(&block)) {
    RaiseFailed();
    return false;
  }
  block.statusText = nullptr;
  if (!dst.encoder->EncodeBlock(&block)) {
    RaiseFailed();
    return false;
  }
  if (opts.hostMode) SendActionOutput(block.statusText);
  dst.bytesEncoded += sourceBytes;
  PublishBytesEncoded(dst.bytesEncoded);
  return true;
}

bool TvTransmill::PassAudioBlockToDSPs(TvAudioBlock* block) {
  bool passed = true;
  for (const auto& entry : dsps.effects) {
    if (!entry->isLive || !entry->enabled || entry->binding == nullptr) continue;
    dsps.current = entry.get();
    if (!entry->binding->PassAudioBlock(block)) passed = false;
  }
  return passed;
}
