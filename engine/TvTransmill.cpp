// The conversion run: the start-up steps in their order, and the end of a run that stops early.
#include "engine/TvTransmill.h"
#include "engine/TvFirstRun.h"
#include "engine/TvStdHandles.h"
#include "foundation/XDebugLog.h"
#include "foundation/XPath.h"
#include "foundation/XRegistry.h"

uint8_t tvExitFlag = 0;

TvTransmill::TvTransmill(NoRun) : XArgList(static_cast<const char16_t*>(nullptr)) { InitFields(); }

TvTransmill::TvTransmill(int argc, const char* const* argv)
    : XArgList(static_cast<const char16_t*>(nullptr)) {
  InitFields();
  Run(argc, argv);
}

// The relay goes first, so that what is still in the pipes reaches its channel.
TvTransmill::~TvTransmill() {
  StopSignOfLife();
  StopOutputRelay();
}

void TvTransmill::InitFields() {
  XRegistry::SetDefaultKey(XRegistry::RootCurrentUser, TvProductKey);
  opts.hostMode = 0;
  dst.tempOutputName.Clear();
  opts.inputIsStdin = 0;
  dst.bytesEncoded = 0;
}

void TvTransmill::Run(int argc, const char* const* argv) {
  // Asked before anything is opened, which could take the free descriptor's number.
  const bool haveStdOut = TvIsOpenDescriptor(1);
  src.stdinWasOpen = TvIsOpenDescriptor(0) ? 1 : 0;
  TvSeedFirstRunDefaults();
  StartDebugLog(io.debugFile, io.debugWatchEvent);
  if (!haveStdOut) {
    ShowMessageBox(u"GetStdHandle", u"Console Error");
    tvExitFlag = 1;
    return;
  }
  TakeStandardHandles();
  CreateCapturePipes();
  StartOutputRelay();
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
  if (!opts.silent) PrintBanner();
  StartSignOfLife();
  ApplyProcessor();
  RunConversion();
  StopSignOfLife();
}

void TvTransmill::TakeStandardHandles() {
  io.stdOut.AttachHandle(1);
  io.stdErr.AttachHandle(2);
}

// There is no desktop to ask: the box is one line on standard error.
void TvTransmill::ShowMessageBox(const char16_t* text, const char16_t* title) {
  XString line(title);
  line += u": ";
  line += text;
  line += u"\r\n";
  XWriteChannel(2, line.CStr(), static_cast<uint32_t>(line.Length()));
}
