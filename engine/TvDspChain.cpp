// The DSP chain's steps in a run. Loading the chain and non-live rendering are not built yet:
// a run that names DSP effects fails at loading; an empty chain passes every step.
#include "TvTransmill.h"
#include "XDebugLog.h"
#include "clTvDSP.h"

namespace {
const char* const kLoadFunction = "TvTransmill::LoadDSPEffects";
}  // namespace

bool TvTransmill::LoadDSPEffects() {
  for (const auto& entry : dspEffects) {
    XString text(u"Error: Unable to load DSP Effect '");
    text += entry->name;
    text += u"'.";
    ReportError(text, kLoadFunction);
    return false;
  }
  return true;
}

// Non-live effects render the whole source first; with none in the chain there is nothing to do.
bool TvTransmill::HandleNonLiveDSPs() {
  for (const auto& entry : dspEffects)
    if (entry->enabled && !entry->isLive) return false;
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
