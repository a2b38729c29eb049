// The DSP chain's steps in a run: loading, the quit event, the live loops and the last call.
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"
#include "plugins/clTvCodecHandler.h"
#include "plugins/clTvDSP.h"

namespace {
const char* const kLoadFunction = "TvTransmill::LoadDSPEffects";
}  // namespace

// Each effect is loaded twice: a probe that answers the questions and is let go, and the
// binding that lives on. Only a failing probe is an error; a failing second load drops the
// entry. From the last entry to the first, since entries may be removed.
bool TvTransmill::LoadDSPEffects() {
  for (size_t i = dsps.effects.size(); i-- > 0;) {
    clTvDSPEntry& entry = *dsps.effects[i];
    clTvDSP probe;
    if (!clTvCodecHandler::LoadDSP(entry.name, probe, &io.logHandles)) {
      ReportError(u"Error: Unable to load DSP Effect '" + entry.name + u"'.", kLoadFunction);
      return false;
    }
    entry.isLive = probe.GetWithText(TV_KEY_IS_LIVE, entry.options.CStr()) != 0;
    if (probe.GetWithText(TV_KEY_SEND_OVER_REPLAY_GAIN_TAGS, entry.options.CStr()) != 0)
      opts.keepReplayGainTags = 1;
    auto binding = std::make_unique<clTvDSP>();
    if (!clTvCodecHandler::LoadDSP(entry.name, *binding, &io.logHandles)) {
      dsps.effects.erase(dsps.effects.begin() + static_cast<std::ptrdiff_t>(i));
      continue;
    }
    if (opts.batchId != 0) binding->SetNumber(TV_KEY_BATCH_ID, static_cast<int32_t>(opts.batchId));
    entry.binding = std::move(binding);
  }
  return true;
}

void TvTransmill::SetEventQuitOnDSPs() {
  if (opts.quitEventName.Length() == 0) return;
  for (const auto& entry : dsps.effects) {
    if (!entry->enabled || entry->binding == nullptr) continue;
    entry->binding->SetText(TV_KEY_EVENT_QUIT, opts.quitEventName.CStr());
  }
}

// Every enabled live effect is begun, even after one has failed.
bool TvTransmill::BeginLiveDSPs() {
  bool begun = true;
  for (const auto& entry : dsps.effects) {
    if (!entry->enabled || !entry->isLive || entry->binding == nullptr) continue;
    dsps.current = entry.get();
    if (!entry->binding->BeginConversion(&dst.conversion.info, entry->options.CStr()))
      begun = false;
  }
  return begun;
}

// Every live effect is ended, enabled or not.
bool TvTransmill::EndLiveDSPs() {
  bool ended = true;
  for (const auto& entry : dsps.effects) {
    if (!entry->isLive || entry->binding == nullptr) continue;
    dsps.current = entry.get();
    if (!entry->binding->EndConversion(&dst.conversion.info)) ended = false;
  }
  return ended;
}

// Each effect hears of every output, with the failed flag behind the record.
bool TvTransmill::AfterConversionDSPs(const XStringList& names) {
  bool done = true;
  for (const auto& entry : dsps.effects) {
    if (entry->binding == nullptr) continue;
    dsps.current = entry.get();
    for (int32_t index = 0; index < names.Count(); index++) {
      TvAfterConversionInfo copy = {};
      copy.info = dst.conversion.info;
      copy.info.outputFile = names[index].CStr();
      copy.failed = HasFailed() ? 1 : 0;
      if (!entry->binding->AfterConversion(&copy)) done = false;
    }
  }
  return done;
}

void TvTransmill::UnloadDSPEffects() {
  for (const auto& entry : dsps.effects) entry->binding.reset();
}
