// TvTransmill: one conversion run, from the options to the exit code; its constructor is the run.
#pragma once
#include "TvHostContext.h"
#include "XArgList.h"
#include "XEvent.h"
#include "XFile.h"
#include "XPipe.h"
#include "XString.h"
#include "XTempFile.h"
#include "XWaveFormat.h"
#include "clTvDecoder.h"
#include "clTvEncoder.h"
#include "tv_plugin.h"

#include <cstdint>
#include <memory>
#include <vector>

// The plug-in binding of one DSP effect.
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

  // The conversion run behind the banner: plug-ins, source, pump, finish, closing.
  void RunConversion();
  bool LoadDecoder();
  bool LoadEncoderPlugin();
  void ConvertThroughPump();
  bool OpenSource();
  void StartEncoding();
  bool AsksForRawSource();
  void RawPass();
  void AskReplayGainTags();
  void FillConversionRecord(const XString& output);
  void UnloadEncoder();
  void CloseRun();

  // Output names.
  void ApplyOutputNameRules();
  const XString& NameWrittenTo() const;

  // The source: decoder, standard input, read-back file.
  bool OpenDecoder(clTvDecoder& dec, TvOpenInfo* info);
  bool CloseDecoder(clTvDecoder& dec);
  void SettleDecodeQuality(clTvDecoder& dec, clTvEncoder& enc, const XString& settings);
  void SendDecoderSetOptions(clTvDecoder& dec);
  bool OpenStandardInput(TvOpenInfo* info);
  bool ReadStdinOptions(uint32_t& rate, uint32_t& channels, uint32_t& bits, uint32_t& length);
  void ReadStdinTags(TvOpenInfo* info);
  bool CloseStandardInput();
  bool DecodeAudioBlock(clTvDecoder& dec, TvAudioBlock* block);
  bool ReadBackBlock(TvAudioBlock* block);
  bool ReadStdinBlock(TvAudioBlock* block);

  // The pump and the finish.
  void Pump();
  bool PassBlockOn(TvAudioBlock& block);
  bool PassAudioBlockToDSPs(TvAudioBlock* block);
  void Finish();
  void OverwriteOutput(int32_t& tagWord);
  void CheckOutputSize();
  void LogFileSizeCheck(const char16_t* label, const XString& name);

  // The DSP chain's steps of the run.
  bool LoadDSPEffects();
  bool HandleNonLiveDSPs();
  bool BeginLiveDSPs();
  bool EndLiveDSPs();
  bool AfterConversionDSPs();
  void SetEventQuitOnDSPs();
  void UnloadDSPEffects();

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
  XString tempOutputName;
  uint64_t bytesEncoded = 0;
  uint32_t batchId = 0;
  uint8_t batchAuto = 0;            // "-batchid=auto": a batch is started for the run
  XString batchCommand;
  XFile debugFile;
  XEvent debugWatchEvent;

  // ---- The conversion: plug-ins, source, records, output ----
  std::unique_ptr<clTvDecoder> decoder;  // made at the header, destroyed at the closing
  std::unique_ptr<clTvEncoder> encoder;
  XString encoderSettings;               // the encoder's command line
  TvOpenInfo openInfo = {};              // the live open record of the source
  XTempFile tempDspFileName;
  XFile tempDspFile;
  uint64_t tempDspLength = 0;
  XWaveFormat tempDspFormat;
  XBuffer blockBytes;
  XPipe stdinPipe;
  XWaveFormat stdinFormat;
  XBuffer stdinTagBytes;
  XBuffer stdinBlock;                    // bytes from standard input; a partial frame waits here
  uint32_t stdinHeld = 0;                // bytes of stdinBlock carried to the next read
  uint32_t keepReplayGainTags = 0;
  uint32_t pumpStartTicks = 0;
  uint64_t pumpElapsedMs = 0;
  double realtimeFactor = 0.0;
  TvConversionInfo conversionRecord = {};
  uint32_t failed = 0;                   // the failed flag: directly behind conversionRecord
};
