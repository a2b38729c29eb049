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
  for (size_t i = dspEffects.size(); i-- > 0;) {
    clTvDSPEntry& entry = *dspEffects[i];
    clTvDSP probe;
    if (!clTvCodecHandler::LoadDSP(entry.name, probe, &logHandles)) {
      ReportError(u"Error: Unable to load DSP Effect '" + entry.name + u"'.", kLoadFunction);
      return false;
    }
    entry.isLive = probe.GetWithText(TV_KEY_IS_LIVE, entry.options.CStr()) != 0;
    if (probe.GetWithText(TV_KEY_SEND_OVER_REPLAY_GAIN_TAGS, entry.options.CStr()) != 0)
      keepReplayGainTags = 1;
    auto binding = std::make_unique<clTvDSP>();
    if (!clTvCodecHandler::LoadDSP(entry.name, *binding, &logHandles)) {
      dspEffects.erase(dspEffects.begin() + static_cast<std::ptrdiff_t>(i));
      continue;
    }
    if (batchId != 0) binding->SetNumber(TV_KEY_BATCH_ID, static_cast<int32_t>(batchId));
    entry.binding = binding.release();
  }
  return true;
}

void TvTransmill::SetEventQuitOnDSPs() {
  if (quitEventName.Length() == 0) return;
  for (const auto& entry : dspEffects) {
    if (!entry->enabled || entry->binding == nullptr) continue;
    entry->binding->SetText(TV_KEY_EVENT_QUIT, quitEventName.CStr());
  }
}

// Every enabled live effect is begun, even after one has failed.
bool TvTransmill::BeginLiveDSPs() {
  bool begun = true;
  for (const auto& entry : dspEffects) {
    if (!entry->enabled || !entry->isLive || entry->binding == nullptr) continue;
    currentDsp = entry.get();
    if (!entry->binding->BeginConversion(&conversionRecord, entry->options.CStr())) begun = false;
  }
  return begun;
}

// Every live effect is ended, enabled or not.
bool TvTransmill::EndLiveDSPs() {
  bool ended = true;
  for (const auto& entry : dspEffects) {
    if (!entry->isLive || entry->binding == nullptr) continue;
    currentDsp = entry.get();
    if (!entry->binding->EndConversion(&conversionRecord)) ended = false;
  }
  return ended;
}

// Each effect hears of every output, with the failed flag behind the record.
bool TvTransmill::AfterConversionDSPs(const XStringList& names) {
  bool done = true;
  for (const auto& entry : dspEffects) {
    if (entry->binding == nullptr) continue;
    currentDsp = entry.get();
    for (int32_t index = 0; index < names.Count(); index++) {
      TvAfterConversionInfo copy = {};
      copy.info = conversionRecord;
      copy.info.outputFile = names[index].CStr();
      copy.failed = failed;
      if (!entry->binding->AfterConversion(&copy)) done = false;
    }
  }
  return done;
}

void TvTransmill::UnloadDSPEffects() {
  for (const auto& entry : dspEffects) {
    delete entry->binding;
    entry->binding = nullptr;
  }
}
