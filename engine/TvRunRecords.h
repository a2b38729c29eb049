// The state of one conversion run, in the records its phases work on. Each record releases its
// handles, files and threads in reverse order of its fields, and the run holds the records in the
// order options, DSP chain, channels, source, output.
#pragma once
#include "engine/TvStopSignals.h"
#include "foundation/TvHostContext.h"
#include "foundation/XBuffer.h"
#include "foundation/XEvent.h"
#include "foundation/XFile.h"
#include "foundation/XPipe.h"
#include "foundation/XSharedMem.h"
#include "foundation/XString.h"
#include "foundation/XTempFile.h"
#include "foundation/XThread.h"

#include <mutex>
#include "plugins/XWaveFormat.h"
#include "plugins/clTvDSP.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"
#include "sdk/tv_plugin.h"
#include "tags/XTagList.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// What the options asked for, read once at intake.
struct TvRunOptions {
  XString encoderName;
  XString inputFile;
  XString outputFile;
  XString tagLoadFile;
  uint32_t writeTags = 1;
  XString quitEventName;
  XString afterConvErrorEventName;  // opened when the events are made
  XString watchdogEventName;        // opened when the events are made
  XString bytesEncodedShareName;    // opened when the shared block is made
  XString priorityName;
  uint32_t processorNumber = 0;  // 0 for all processors
  XString tmpFolder;
  uint8_t silent = 0;
  uint8_t errorFileGiven = 0;
  uint8_t hostMode = 0;
  uint32_t inputIsStdin = 0;
  uint32_t batchId = 0;
  uint8_t batchAuto = 0;  // "-batchid=auto": a batch is started for the run
  XString batchCommand;
  uint32_t keepReplayGainTags = 0;
  XString versionFolder;  // holds "Versions/"; the executable's folder by default
};

// One member of the DSP chain, made at option intake with no binding yet.
struct clTvDSPEntry {
  XString name;                      // the effect's file stem
  XString options;                   // everything behind the first "=" of its option
  std::unique_ptr<clTvDSP> binding;  // set when the chain is loaded
  bool isLive = false;
  bool enabled = true;
};

// The DSP chain and the file that non-live effects render through.
struct TvRunDspChain {
  std::vector<std::unique_ptr<clTvDSPEntry>> effects;
  clTvDSPEntry* current = nullptr;
  XTempFile tempName;
  XFile tempFile;
  uint64_t tempLength = 0;
  XWaveFormat tempFormat;
};

// Console, host lines, the capture pipes and their relay, the host's events and counter, and
// the debug log.
struct TvRunChannels {
  TvHostContext logHandles = {};
  XFile stdOut;
  XFile stdErr;
  XEvent quitEvent;
  XEvent afterConvErrorEvent;
  XEvent watchdogEvent;
  XEvent signalQuitEvent;         // the run's own quit, which a stop signal sets
  TvStopSignalWatch stopSignals;  // released before the events it sets
  XSharedMem bytesEncodedShare;
  XPipe errorPipe;
  XPipe infoPipe;
  XThread relayThread;
  std::mutex relayLock;  // the relay thread and the run's last drain before the end call
  XThread signOfLifeThread;
  uint32_t barMarks = 0;         // bar marks drawn in this pump
  uint32_t lastPercentSent = 0;  // the last PCDone sent
  XString lastActionInput;
  XString lastActionOutput;
  XFile debugFile;
  XEvent debugWatchEvent;
};

// Where the audio comes from: the decoder, standard input or the rendered file.
struct TvRunSource {
  std::unique_ptr<clTvDecoder> decoder;  // made at the header, destroyed at the closing
  TvOpenInfo openInfo = {};              // the live open record of the source
  XBuffer blockBytes;
  uint8_t stdinWasOpen = 0;  // descriptor 0 was open at start, before any file took it
  XPipe stdinPipe;
  XWaveFormat stdinFormat;
  XBuffer stdinTagBytes;
  XBuffer stdinBlock;      // bytes from standard input; a partial frame waits here
  uint32_t stdinHeld = 0;  // bytes of stdinBlock carried to the next read
};

// Where the audio goes: the encoder, its record, the tags and the output's names.
struct TvRunOutput {
  std::unique_ptr<clTvEncoder> encoder;
  XString encoderSettings;  // the encoder's command line
  XString tempOutputName;
  XFile outputClaim;  // held from the start of the run: no other run may write the output
  uint64_t bytesEncoded = 0;
  XTagList tagList;          // the run's tags, kept for the tag writer
  XBuffer tagBytes;          // tagList as a block: the encoder's and the writer's
  XBuffer encoderInfoBytes;  // the encoder's extra block: properties and "_encoder"
  uint32_t pumpStartTicks = 0;
  uint64_t pumpElapsedMs = 0;
  double realtimeFactor = 0.0;
  // The record the plug-ins get, with the failed flag directly behind it, where they read it.
  TvAfterConversionInfo conversion = {};
};
static_assert(offsetof(TvAfterConversionInfo, failed) == sizeof(TvConversionInfo));
