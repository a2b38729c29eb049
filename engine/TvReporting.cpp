// Console output of a run: Print, the banner, the header with the scale, and the 60-mark bar.
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"

#include <atomic>
#include <ctime>

namespace {
constexpr uint32_t kBarMarks = 60;
}

void TvTransmill::Print(const XString& text, bool lineEnd) {
  XWriteChannel(stdOut.Handle(), text.CStr(), static_cast<uint32_t>(text.Length()));
  if (lineEnd) XWriteChannel(stdOut.Handle(), u"\r\n", 2);
}

void TvTransmill::ReportError(const XString& text, const char* function) {
  LogError(text.CStr(), logHandles, function);
}

void TvTransmill::ReportInfo(const XString& text, const char* function) {
  LogInfo(text.CStr(), logHandles, function);
}

// The relay thread raises the flag while the main thread reads it; it only ever goes up.
void TvTransmill::RaiseFailed() { std::atomic_ref<uint32_t>(failed).store(1); }

void TvTransmill::PrintBanner() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  localtime_r(&now, &parts);
  XString line(u"Tonvera Transmill (c) ");
  line += XString(parts.tm_year + 1900).CStr();
  Print(XString(), true);
  Print(line, true);
  Print(XString(), true);
}

void TvTransmill::PrintUsage() {
  Print(XString(u"Usage: Transmill.exe -infile=\"filename\" -outfile=\"filename\" "
                u"-convert_to=\"codec\" [codec compression CLI]"),
        true);
}

void TvTransmill::PrintHeader() {
  XString line(u"Encoding: ");
  line += encoderName.CStr();
  Print(line, true);
  line = u"Audio Source: ";
  line += inputIsStdin ? u"Standard Input" : inputFile.CStr();
  Print(line, true);
  line = u"Audio Destination: ";
  line += outputFile.CStr();
  Print(line, true);
  if (!dspEffects.empty()) {
    line = u"DSP Effects: ";
    for (size_t i = 0; i < dspEffects.size(); i++) {
      if (i > 0) line += u", ";
      line += dspEffects[i]->name.CStr();
    }
    Print(line, true);
  }
  Print(XString(), true);
  Print(XString(u" 0%-----------25%-----------50%-----------75%-----------100%"), true);
  Print(XString(u" "), false);
}

void TvTransmill::ResetProgress() {
  barMarks = 0;
  lastPercentSent = 0;
}

void TvTransmill::ShowProgress(uint32_t percent) {
  if (hostMode)
    SendPercentDone(percent);
  else if (!silent)
    DrawBar(percent);
}

// Each mark is a write of its own, so the bar grows as the audio goes by.
void TvTransmill::DrawBar(uint32_t percent) {
  uint64_t target = uint64_t(percent) * kBarMarks / 100;
  if (target > kBarMarks) target = kBarMarks;
  const XString mark(u"*");
  while (barMarks < target) {
    Print(mark, false);
    barMarks++;
  }
}

void TvTransmill::LogEncodingDetails(const XString& encoderCommandLine) {
  XString line(u"Encoding To: ");
  line += encoderName.CStr();
  Log(line, logHandles);
  line = u"Encoder Cmd Line: ";
  line += encoderCommandLine.CStr();
  Log(line, logHandles);
  if (dspEffects.empty()) return;
  Log(u"DSP Effects:", logHandles);
  for (const auto& dsp : dspEffects) {
    line = u"    ";
    line += dsp->name.CStr();
    if (!dsp->isLive) line += u" (non-live)";
    line += u": ";
    line += dsp->options.CStr();
    Log(line, logHandles);
  }
  Log(u"", logHandles);
}
