// Console output of a run: Print, the banner, the header with the scale, and the 60-mark bar.
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"

#include <atomic>
#include <ctime>

namespace {
constexpr uint32_t kBarMarks = 60;
}

void TvTransmill::Print(const XString& text, bool lineEnd) {
  XWriteChannel(io.stdOut.Handle(), text.CStr(), static_cast<uint32_t>(text.Length()));
  if (lineEnd) XWriteChannel(io.stdOut.Handle(), u"\r\n", 2);
}

void TvTransmill::ReportError(const XString& text, const char* function) {
  LogError(text.CStr(), io.logHandles, function);
}

void TvTransmill::ReportInfo(const XString& text, const char* function) {
  LogInfo(text.CStr(), io.logHandles, function);
}

// The relay thread raises the flag while the main thread reads it; it only ever goes up.
void TvTransmill::RaiseFailed() { std::atomic_ref<uint32_t>(dst.conversion.failed).store(1); }

bool TvTransmill::HasFailed() const {
  return std::atomic_ref<uint32_t>(const_cast<uint32_t&>(dst.conversion.failed)).load() != 0;
}

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
  line += opts.encoderName.CStr();
  Print(line, true);
  line = u"Audio Source: ";
  line += opts.inputIsStdin ? u"Standard Input" : opts.inputFile.CStr();
  Print(line, true);
  line = u"Audio Destination: ";
  line += opts.outputFile.CStr();
  Print(line, true);
  if (!dsps.effects.empty()) {
    line = u"DSP Effects: ";
    for (size_t i = 0; i < dsps.effects.size(); i++) {
      if (i > 0) line += u", ";
      line += dsps.effects[i]->name.CStr();
    }
    Print(line, true);
  }
  Print(XString(), true);
  Print(XString(u" 0%-----------25%-----------50%-----------75%-----------100%"), true);
  Print(XString(u" "), false);
}

void TvTransmill::ResetProgress() {
  io.barMarks = 0;
  io.lastPercentSent = 0;
}

void TvTransmill::ShowProgress(uint32_t percent) {
  if (opts.hostMode)
    SendPercentDone(percent);
  else if (!opts.silent)
    DrawBar(percent);
}

// Each mark is a write of its own, so the bar grows as the audio goes by.
void TvTransmill::DrawBar(uint32_t percent) {
  uint64_t target = uint64_t(percent) * kBarMarks / 100;
  if (target > kBarMarks) target = kBarMarks;
  const XString mark(u"*");
  while (io.barMarks < target) {
    Print(mark, false);
    io.barMarks++;
  }
}

void TvTransmill::LogEncodingDetails(const XString& encoderCommandLine) {
  XString line(u"Encoding To: ");
  line += opts.encoderName.CStr();
  Log(line, io.logHandles);
  line = u"Encoder Cmd Line: ";
  line += encoderCommandLine.CStr();
  Log(line, io.logHandles);
  if (dsps.effects.empty()) return;
  Log(u"DSP Effects:", io.logHandles);
  for (const auto& dsp : dsps.effects) {
    line = u"    ";
    line += dsp->name.CStr();
    if (!dsp->isLive) line += u" (non-live)";
    line += u": ";
    line += dsp->options.CStr();
    Log(line, io.logHandles);
  }
  Log(u"", io.logHandles);
}
