// The conversion run behind the banner: loading the plug-ins, the normal and the raw pass,
// teardown.
#include "engine/TvRunRules.h"
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"
#include "foundation/XPath.h"
#include "foundation/XRegistry.h"
#include "plugins/clTvCodecHandler.h"
#include "plugins/clTvDSP.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"
#include "tags/XTagList.h"

#include <chrono>
#include <cstring>
#include <thread>

namespace {
const char* const kRunFunction = "TvTransmill::TvTransmill";
constexpr int kErrorRelayRounds = 20;
constexpr int kErrorRelayWaitMs = 10;

// The extension as the decoder lookup takes it: empty when the file name has no dot.
XString LookupExtension(const XString& path) {
  if (XPath::FileNameOf(path).FindChar(u'.') == 0) return XString();
  return XPath::ExtensionOf(path);
}
}  // namespace

void TvTransmill::RunConversion() {
  src.decoder = std::make_unique<clTvDecoder>();
  if (!opts.silent) PrintHeader();
  if (LoadDecoder()) {
    dst.encoder = std::make_unique<clTvEncoder>();
    if (LoadEncoderPlugin()) {
      dst.encoderSettings = StripTransmillCmds();
      if (AsksForRawSource())
        RawPass();
      else
        ConvertThroughPump();
    }
    UnloadEncoder();
  }
  dsps.tempFile.Close();
  CloseRun();
}

bool TvTransmill::LoadDecoder() {
  if (!opts.inputIsStdin) {
    if (!clTvCodecHandler::FindDecoder(opts.inputFile, *src.decoder, &io.logHandles)) {
      XString text(u"Error: Unable to load decoder for file type '");
      text += LookupExtension(opts.inputFile);
      text += u"', codec not installed? visit 'Codec Shelf'.";
      ReportError(text, kRunFunction);
      tvExitFlag = 1;
      return false;
    }
  }
  if (opts.batchId != 0)
    src.decoder->SetNumber(TV_KEY_BATCH_ID, static_cast<int32_t>(opts.batchId));
  return true;
}

bool TvTransmill::LoadEncoderPlugin() {
  if (!clTvCodecHandler::LoadEncoder(opts.encoderName, *dst.encoder, &io.logHandles)) {
    XString text(u"Error: Unable to load encoder '");
    text += opts.encoderName;
    text += u"'.";
    ReportError(text, kRunFunction);
    tvExitFlag = 1;
    return false;
  }
  if (opts.quitEventName.Length() != 0)
    dst.encoder->SetText(TV_KEY_EVENT_QUIT, opts.quitEventName.CStr());
  if (opts.batchId != 0)
    dst.encoder->SetNumber(TV_KEY_BATCH_ID, static_cast<int32_t>(opts.batchId));
  return true;
}

// Steps from the DSP chain to the unloading of the DSPs; the encoder is unloaded by the caller.
void TvTransmill::ConvertThroughPump() {
  if (!LoadDSPEffects()) {
    tvExitFlag = 1;
    UnloadDSPEffects();
    return;
  }
  SetEventQuitOnDSPs();
  if (OpenSource()) {
    ApplyOutputNameRules();
    AskReplayGainTags();
    PrepareTags(src.openInfo.idTags, src.openInfo.idTagsSize);
    BuildEncoderInfo();
    FillConversionRecord(NameWrittenTo(), false);
    if (!HandleNonLiveDSPs()) RaiseFailed();
    StartEncoding();
  }
  UnloadDSPEffects();
}

// From the quality question to the open decoder; false when the source can't be opened.
bool TvTransmill::OpenSource() {
  Communicate(TV_PHASE_BEFORE_OPEN, TvPeerOf(*src.decoder), TvPeerOf(*dst.encoder));
  SettleDecodeQuality(*src.decoder, *dst.encoder, dst.encoderSettings);
  PreCacheRead();
  std::memset(&src.openInfo, 0, sizeof(src.openInfo));
  src.openInfo.fileName = opts.inputFile.CStr();
  src.openInfo.interfaceLevel = TV_INTERFACE_LEVEL;
  if (!OpenDecoder(*src.decoder, &src.openInfo)) {
    tvExitFlag = 1;
    return false;
  }
  if (opts.hostMode) SendMsLen(src.openInfo.msLength);
  SetConversionPriority(EncoderSet());
  return true;
}

TvKeyCall TvTransmill::EncoderSet() {
  return [this](const char16_t* key, TvPluginValue* value) { return dst.encoder->Set(key, value); };
}

void TvTransmill::StartEncoding() {
  if (opts.hostMode) SendEncodingAction(opts.outputFile);
  if (!BeginLiveDSPs()) RaiseFailed();
  if (!dst.encoder->BeginConversion(&dst.conversion.info)) {
    RaiseFailed();
    return;
  }
  Communicate(TV_PHASE_BEFORE_ENCODING, TvPeerOf(*src.decoder), TvPeerOf(*dst.encoder));
  LogEncodingDetails(dst.encoderSettings);
  Pump();
  Finish();
}

bool TvTransmill::AsksForRawSource() {
  TvPluginValue value = {};
  value.text1 = opts.inputFile.CStr();
  value.text2 = dst.encoderSettings.CStr();
  value.text3 = opts.outputFile.CStr();
  return dst.encoder->Get(TV_KEY_SEND_RAW_UNCOMPRESSED, &value) != 0;
}

// The encoder reads the source itself: the decoder is only opened for its description.
void TvTransmill::RawPass() {
  std::memset(&src.openInfo, 0, sizeof(src.openInfo));
  src.openInfo.fileName = opts.inputFile.CStr();
  src.openInfo.interfaceLevel = TV_INTERFACE_LEVEL_RAW;
  if (!OpenDecoder(*src.decoder, &src.openInfo)) return;
  SetConversionPriority(EncoderSet());
  AskReplayGainTags();
  PrepareTags(src.openInfo.idTags, src.openInfo.idTagsSize);
  if (!CloseDecoder(*src.decoder)) RaiseFailed();
  FillConversionRecord(opts.outputFile, true);
  if (!dst.encoder->BeginConversion(&dst.conversion.info)) RaiseFailed();
}

void TvTransmill::AskReplayGainTags() {
  if (dst.encoder->GetWithText(TV_KEY_SEND_OVER_REPLAY_GAIN_TAGS, nullptr) != 0)
    opts.keepReplayGainTags = 1;
}

// The decoder's audio properties with the encoder's name added, as the encoder's extra block.
void TvTransmill::BuildEncoderInfo() {
  XTagList info;
  if (src.openInfo.properties != nullptr && src.openInfo.propertiesSize != 0)
    info.FromBlock(src.openInfo.properties, src.openInfo.propertiesSize);
  info.Set(XString(TV_TAG_ENCODER), opts.encoderName);
  info.ToBlock(dst.encoderInfoBytes);
}

// The raw pass hands on the decoder's properties as they are; the normal path the block made
// from them.
void TvTransmill::FillConversionRecord(const XString& output, bool raw) {
  std::memset(&dst.conversion.info, 0, sizeof(dst.conversion.info));
  dst.conversion.info.sourceFile = src.openInfo.fileName;
  dst.conversion.info.outputFile = output.CStr();
  dst.conversion.info.encoderSettings = dst.encoderSettings.CStr();
  dst.conversion.info.format = &src.openInfo.format;
  dst.conversion.info.idTags = dst.tagBytes.data;
  dst.conversion.info.idTagsSize = dst.tagBytes.size;
  dst.conversion.info.extraInfo = raw ? src.openInfo.properties : dst.encoderInfoBytes.data;
  dst.conversion.info.extraInfoSize = raw ? src.openInfo.propertiesSize : dst.encoderInfoBytes.size;
}

void TvTransmill::UnloadEncoder() { dst.encoder.reset(); }

void TvTransmill::CloseRun() {
  XString line;
  if (dst.pumpElapsedMs != 0) {
    line = TvClosingLine(dst.pumpElapsedMs, dst.realtimeFactor);
    Log(line, io.logHandles);
  }
  LogFileSizeCheck(u"(trans mill exit)", opts.outputFile);
  AwaitErrorRelay();
  if (HasFailed()) tvExitFlag = 1;
  if (!opts.silent) Print(HasFailed() ? XString(u"Conversion Failed.") : line, true);
  src.decoder.reset();
}

// Error text written just before the end still fails the run: the relay is given a moment to
// take what waits in the error pipe before the exit code is decided.
void TvTransmill::AwaitErrorRelay() {
  if (!io.relayThread.IsRunning()) return;
  bool waited = false;
  for (int round = 0; round < kErrorRelayRounds && io.errorPipe.Available(nullptr) != 0; round++) {
    std::this_thread::sleep_for(std::chrono::milliseconds(kErrorRelayWaitMs));
    waited = true;
  }
  // The relay raises the flag just behind its read: give it that moment too.
  if (waited) std::this_thread::sleep_for(std::chrono::milliseconds(2 * kErrorRelayWaitMs));
}
