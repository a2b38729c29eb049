// TvTransmill: one conversion run, from the options to the exit code; its constructor is the run.
#pragma once
#include "TvHostContext.h"
#include "XArgList.h"
#include "XEvent.h"
#include "XFile.h"
#include "XString.h"

#include <cstdint>
#include <memory>
#include <vector>

// The plug-in binding of one DSP effect; defined where the chain is loaded.
class clTvDSP;

// One member of the DSP chain, made at option intake with no binding yet.
struct clTvDSPEntry {
  XString name;     // the effect's file stem
  XString options;  // everything behind the first "=" of its option
  clTvDSP* binding = nullptr;  // the place of the binding: set when the chain is loaded
  bool isLive = false;
  bool enabled = true;
};

// The process-wide exit flag: the exit code is 1 when it is set. Only ever raised.
extern uint8_t tvExitFlag;

class TvTransmill : public XArgList {
 public:
  // Runs the whole conversion for the process's arguments (argv[0] is the program).
  TvTransmill(int argc, const char* const* argv);
  ~TvTransmill();
  TvTransmill(const TvTransmill&) = delete;
  TvTransmill& operator=(const TvTransmill&) = delete;

  // The exit code the run decided: 1 when the exit flag is set, else 0.
  static int ExitCode() { return tvExitFlag ? 1 : 0; }

 private:
  friend struct TvTransmillTestAccess;
  struct NoRun {};
  explicit TvTransmill(NoRun);  // fields only; the phases are called one by one

  void InitFields();
  void Run(int argc, const char* const* argv);
  void TakeStandardHandles();

  // Option intake.
  void SplitProcessCommandLine(int argc, const char* const* argv);
  bool ReadCommandFileIfNamed();
  bool ReadTvCommandFile(const XString& path, bool narrow);
  bool ParseCommandLine();
  void ReadOwnValues();
  void ReadDspPreset(const XString& path, XArgList& pairs);
  void BuildDspList();
  static XString DspCommandText(const XArgList& pairs);
  bool IsOwnOption(const XString& key) const;
  XString StripTransmillCmds();

  // Reporting until the output relay carries error text.
  void Print(const XString& text, bool lineEnd);
  void ReportError(const XString& text, const char* function);
  void ShowMessageBox(const char16_t* text, const char16_t* title);
  void PrintBanner();
  void PrintUsage();
  void PrintHeader();

  // The end of a run that reached no plug-in.
  void FinishWithoutPlugins();

 public:
  // The run's fields; they are released in reverse order.
  XString encoderName;
  XString inputFile;
  XString outputFile;
  XString tagLoadFile;
  uint32_t writeTags = 1;
  std::vector<std::unique_ptr<clTvDSPEntry>> dspEffects;
  clTvDSPEntry* currentDsp = nullptr;
  XString quitEventName;
  XString afterConvErrorEventName;  // opened when the events are made
  XString watchdogEventName;        // opened when the events are made
  XString bytesEncodedShareName;    // opened when the shared block is made
  XString priorityName;
  uint32_t processorNumber = 0;     // 0 for all processors
  XString tmpFolder;
  TvHostContext logHandles = {};
  XFile stdOut;
  XFile stdErr;
  uint8_t silent = 0;
  uint8_t errorFileGiven = 0;
  uint8_t hostMode = 0;
  uint32_t inputIsStdin = 0;
  uint32_t failed = 0;
  XString tempOutputName;
  uint64_t bytesEncoded = 0;
  uint32_t batchId = 0;
  uint8_t batchAuto = 0;            // "-batchid=auto": a batch is started for the run
  XString batchCommand;
  XFile debugFile;
  XEvent debugWatchEvent;
};
