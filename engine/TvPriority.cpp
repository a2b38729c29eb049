// The `priority` and `processor` options: their values, the log lines and the encoder's notice.
#include "engine/TvPriority.h"
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"

TvPriorityChoice TvPriorityOf(const char16_t* word) {
  if (word != nullptr) {
    if (XString::EqualsNoCase(word, u"low"))
      return {XThreadPriorityBelowNormal, TvNormalPriorityClass};
    if (XString::EqualsNoCase(word, u"idle")) return {XThreadPriorityIdle, TvIdlePriorityClass};
    if (XString::EqualsNoCase(word, u"high"))
      return {XThreadPriorityAboveNormal, TvNormalPriorityClass};
  }
  return {XThreadPriorityNormal, TvNormalPriorityClass};
}

uint32_t TvProcessorMask(int64_t number) {
  if (number <= 1) return 1;
  if (number > 32) return 0;
  return uint32_t(1) << (number - 1);
}

// Only the main thread, where plug-ins work, is pinned; the helper threads run anywhere. A
// thread takes the processors of the thread that starts it, so this comes after they start.
void TvTransmill::ApplyProcessor() {
  XString value;
  if (!Get(u"processor", value, true) || value.Length() == 0) return;
  Log(XString::Concat(XString(u"Allying to Processor "), value.CStr()), io.logHandles);
  TvPinCurrentThread(TvProcessorMask(value.ToInt64()));
}

void TvTransmill::SetConversionPriority(const TvKeyCall& encoderSet) {
  if (opts.priorityName.Length() == 0) return;
  Log(XString::Concat(XString(u"Setting Priority: "), opts.priorityName.CStr()), io.logHandles,
      "TvTransmill::SetConversionPriority");
  const TvPriorityChoice choice = TvPriorityOf(opts.priorityName.CStr());
  TvApplyPriority(choice.threadPriority, choice.priorityClass);
  // An encoder with processes or threads of its own can follow.
  TvPluginValue value{};
  value.text1 = opts.priorityName.CStr();
  if (encoderSet) encoderSet(TV_KEY_PRIORITY, &value);
}
