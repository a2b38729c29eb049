// TvTransmill: one conversion run, from the options to the exit code; its constructor is the run.
#pragma once
#include "engine/TvCommunicate.h"
#include "engine/TvRunRecords.h"
#include "foundation/XArgList.h"
#include "foundation/XString.h"
#include "foundation/XStringList.h"
#include "sdk/tv_plugin.h"

#include <cstdint>

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
  explicit TvTransmill(NoRun);  // records only; the phases are called one by one

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

  void ShowMessageBox(const char16_t* text, const char16_t* title);

 public:
  // ---- Reporting: console, host lines, output relay, Communicate (TvReporting.cpp,
  // TvHostLines.cpp, TvRelay.cpp, TvCommunicate.cpp) ----

  // The only writer of standard output: the text, then with lineEnd "\r\n" as a second write.
  void Print(const XString& text, bool lineEnd);
  // LogError / LogInfo through the run's channels; the relay turns the error into a failure.
  void ReportError(const XString& text, const char* function);
  void ReportInfo(const XString& text, const char* function);
  // Raises the failed flag; safe from any thread.
  void RaiseFailed();
  // Reads the failed flag as the relay thread writes it.
  bool HasFailed() const;

  // Console layout (callers test silent).
  void PrintBanner();
  void PrintUsage();
  // Encoding, source, destination, DSP effects, an empty line, the scale and one blank.
  void PrintHeader();
  // Clears the bar's marks and the last PCDone sent, before a pump.
  void ResetProgress();
  // The pump's percentage: PCDone in host mode, otherwise the bar unless silent.
  void ShowProgress(uint32_t percent);
  // Draws bar marks up to percent * 60 / 100; never takes any back.
  void DrawBar(uint32_t percent);

  // Host lines: "MSGTO: tVH: " and the rest, sent only in host mode.
  void SendHostLine(const XString& rest);
  void SendMsLen(uint64_t milliseconds);
  void SendAction(const XString& text);              // "Action: " + text
  void SendEncodingAction(const XString& output);    // "Action: Encoding '<bare name>'"
  void SendTagWritingAction(const XString& output);  // "Action: Writing ID Tags '<bare name>'"
  void SendActionInput(const char16_t* text);        // when set and unlike the last one sent
  void SendActionOutput(const char16_t* text);       // with a memory of its own
  void SendPercentDone(uint32_t percent);            // only above the last sent
  void SendFileName(const XString& path);
  // The debug log's lines behind "BeforeEncoding".
  void LogEncodingDetails(const XString& encoderCommandLine);

  // Capture pipes and the output relay thread.
  bool CreateCapturePipes();  // fills logHandles and makes them the process-wide log context
  bool StartOutputRelay();    // 50 ms steps, stop time-out 60000 ms
  bool RelayStep();           // one drain of both pipes; true when anything moved
  void StopOutputRelay();     // stops the thread after draining both pipes

  // Communicate at a phase: decoder first (not for standard input), then encoder.
  void Communicate(const char16_t* phase, const TvDialoguePeer& decoderPeer,
                   const TvDialoguePeer& encoderPeer);

  // ---- Quit, watchdog and priority (TvWatchdog.cpp, TvPriority.cpp, TvPreCache.cpp) ----

  // Opens the three events and the shared counter named in the options.
  void OpenNamedObjects();
  // Pins the calling (main) thread to the processor of the `processor` option, 1-based, once
  // the helper threads have started.
  void ApplyProcessor();
  // Sets the watchdog event every 50 ms until stopped.
  void StartSignOfLife();
  void StopSignOfLife();
  bool QuitRequested() const { return io.quitEvent.IsSet(); }
  bool AfterConvErrorRequested() const { return io.afterConvErrorEvent.IsSet(); }
  void SignOfLife() const { io.watchdogEvent.Set(); }
  // Writes the total to the shared counter when it is open.
  void PublishBytesEncoded(uint64_t total);
  // Applies `priority` to thread and process and tells the encoder through its Set.
  void SetConversionPriority(const TvKeyCall& encoderSet);
  // Reads the input once under "muttVHPrecacheread", unless standard input or tVHNoPreCache;
  // true when the read was made.
  bool PreCacheRead();

 private:
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
  void BuildEncoderInfo();

  // Tag preparation (TvTagPrep.cpp): fills tagList and tagBytes.
  void PrepareTags(const void* tagBlock, uint32_t tagBlockSize);
  void AddOptionTags();
  void MergeSourceTags(const void* tagBlock, uint32_t tagBlockSize);
  void RefreshSourceTag();
  void RefreshEncodedByTag();
  void RefreshEncoderTag();
  void RefreshEncoderSettingsTag();

  // Tag writing and the output names (TvTagWriter.cpp).
  bool IDTagWriter(const XString& path, void* tags, uint32_t size);
  void WriteTagsIfAsked(int32_t tagWord);
  void CollectOutputNames(XStringList& names);
  void FillConversionRecord(const XString& output, bool raw);
  void UnloadEncoder();
  void CloseRun();
  void AwaitErrorRelay();
  TvKeyCall EncoderSet();

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
  bool RenderSourceForDSPs();
  bool RunChainOverFile();
  bool RenderLiveDSP(clTvDSPEntry& entry);
  bool ReplaceRenderedFile(XFile& in, XFile& out, XTempFile& rendered);
  void DescribeRenderedFile();
  // A new name for a rendering file: in tmpFolder when one is given (made when missing; false,
  // reported, when it cannot be), else the temporary folder.
  bool MakeTempDSPName(XTempFile& name, const char* prefix);
  bool BeginLiveDSPs();
  bool EndLiveDSPs();
  bool AfterConversionDSPs(const XStringList& names);
  void SetEventQuitOnDSPs();
  void UnloadDSPEffects();

 private:
  // The run's state; the records are released in reverse order.
  TvRunOptions opts;
  TvRunDspChain dsps;
  TvRunChannels io;
  TvRunSource src;
  TvRunOutput dst;
};
