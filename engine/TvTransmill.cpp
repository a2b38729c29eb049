// The conversion run: the start-up steps in their order, and the end of a run that stops early.
#include "TvTransmill.h"
#include "TvFirstRun.h"
#include "TvStdHandles.h"
#include "XDebugLog.h"
#include "XPath.h"
#include "XRegistry.h"

#include <ctime>

uint8_t tvExitFlag = 0;

TvTransmill::TvTransmill(NoRun) : XArgList(static_cast<const char16_t*>(nullptr)) { InitFields(); }

TvTransmill::TvTransmill(int argc, const char* const* argv)
    : XArgList(static_cast<const char16_t*>(nullptr)) {
  InitFields();
  Run(argc, argv);
}

void TvTransmill::InitFields() {
  XRegistry::SetDefaultKey(HKEY_CURRENT_USER, TvProductKey);
  hostMode = 0;
  tempOutputName.Clear();
  inputIsStdin = 0;
  bytesEncoded = 0;
}

void TvTransmill::Run(int argc, const char* const* argv) {
  // Asked before anything is opened, which could take the free descriptor's number.
  const bool haveStdOut = TvIsOpenDescriptor(1);
  stdinWasOpen = TvIsOpenDescriptor(0) ? 1 : 0;
  TvSeedFirstRunDefaults();
  StartDebugLog(debugFile, debugWatchEvent);
  if (!haveStdOut) {
    ShowMessageBox(u"GetStdHandle", u"Console Error");
    tvExitFlag = 1;
    return;
  }
  TakeStandardHandles();
  SplitProcessCommandLine(argc, argv);
  if (!ReadCommandFileIfNamed()) {
    ShowMessageBox(u"Error reading Tv Command File.", u"Trans Mill");
    tvExitFlag = 1;
    return;
  }
  if (!ParseCommandLine()) {
    tvExitFlag = 1;
    return;
  }
  if (!silent) PrintBanner();
  RunConversion();
}

// Standard error stands in for the error pipe until the output relay exists.
void TvTransmill::TakeStandardHandles() {
  stdOut.AttachHandle(1);
  stdErr.AttachHandle(2);
  logHandles.errorHandle = 2;
  logHandles.infoHandle = 1;
  logHandles.logHandle = debugFile.IsOpen() ? debugFile.Handle() : 0;
}

void TvTransmill::Print(const XString& text, bool lineEnd) {
  XWriteChannel(stdOut.Handle(), text.CStr(), static_cast<uint32_t>(text.Length()));
  if (lineEnd) XWriteChannel(stdOut.Handle(), u"\r\n", 2);
}

// What arrives on the error channel fails the run, as the relay would decide.
void TvTransmill::ReportError(const XString& text, const char* function) {
  logHandles.errorHandle = stdErr.IsOpen() ? stdErr.Handle() : -1;
  LogError(text.CStr(), logHandles, function);
  failed = 1;
}

// There is no desktop to ask: the box is one line on standard error.
void TvTransmill::ShowMessageBox(const char16_t* text, const char16_t* title) {
  XString line(title);
  line += u": ";
  line += text;
  line += u"\r\n";
  XWriteChannel(2, line.CStr(), static_cast<uint32_t>(line.Length()));
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
