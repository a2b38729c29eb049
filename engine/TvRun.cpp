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
  if (FileNameOf(path).FindChar(u'.') == 0) return XString();
  return ExtensionOf(path);
}
}  // namespace

void TvTransmill::RunConversion() {
  decoder = std::make_unique<clTvDecoder>();
  if (!silent) PrintHeader();
  if (LoadDecoder()) {
    encoder = std::make_unique<clTvEncoder>();
    if (LoadEncoderPlugin()) {
      encoderSettings = StripTransmillCmds();
      if (AsksForRawSource())
        RawPass();
      else
        ConvertThroughPump();
    }
    UnloadEncoder();
  }
  tempDspFile.Close();
  CloseRun();
}

bool TvTransmill::LoadDecoder() {
  if (!inputIsStdin) {
    if (!clTvCodecHandler::FindDecoder(inputFile, *decoder, &logHandles)) {
      XString text(u"Error: Unable to load decoder for file type '");
      text += LookupExtension(inputFile);
      text += u"', codec not installed? visit 'Codec Shelf'.";
      ReportError(text, kRunFunction);
      tvExitFlag = 1;
      return false;
    }
  }
  if (batchId != 0) decoder->SetNumber(TV_KEY_BATCH_ID, static_cast<int32_t>(batchId));
  return true;
}

bool TvTransmill::LoadEncoderPlugin() {
  if (!clTvCodecHandler::LoadEncoder(encoderName, *encoder, &logHandles)) {
    XString text(u"Error: Unable to load encoder '");
    text += encoderName;
    text += u"'.";
    ReportError(text, kRunFunction);
    tvExitFlag = 1;
    return false;
  }
  if (quitEventName.Length() != 0) encoder->SetText(TV_KEY_EVENT_QUIT, quitEventName.CStr());
  if (batchId != 0) encoder->SetNumber(TV_KEY_BATCH_ID, static_cast<int32_t>(batchId));
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
    PrepareTags(openInfo.idTags, openInfo.idTagsSize);
    BuildEncoderInfo();
    FillConversionRecord(NameWrittenTo(), false);
    if (!HandleNonLiveDSPs()) RaiseFailed();
    StartEncoding();
  }
  UnloadDSPEffects();
}

// From the quality question to the open decoder; false when the source can't be opened.
bool TvTransmill::OpenSource() {
  Communicate(TV_PHASE_BEFORE_OPEN, TvPeerOf(*decoder), TvPeerOf(*encoder));
  SettleDecodeQuality(*decoder, *encoder, encoderSettings);
  PreCacheRead();
  std::memset(&openInfo, 0, sizeof(openInfo));
  openInfo.fileName = inputFile.CStr();
  openInfo.interfaceLevel = TV_INTERFACE_LEVEL;
  if (!OpenDecoder(*decoder, &openInfo)) {
    tvExitFlag = 1;
    return false;
  }
  if (hostMode) SendMsLen(openInfo.msLength);
  SetConversionPriority(EncoderSet());
  return true;
}

TvKeyCall TvTransmill::EncoderSet() {
  return [this](const char16_t* key, TvPluginValue* value) { return encoder->Set(key, value); };
}

void TvTransmill::StartEncoding() {
  if (hostMode) SendEncodingAction(outputFile);
  if (!BeginLiveDSPs()) RaiseFailed();
  if (!encoder->BeginConversion(&conversionRecord)) {
    RaiseFailed();
    return;
  }
  Communicate(TV_PHASE_BEFORE_ENCODING, TvPeerOf(*decoder), TvPeerOf(*encoder));
  LogEncodingDetails(encoderSettings);
  Pump();
  Finish();
}

bool TvTransmill::AsksForRawSource() {
  TvPluginValue value = {};
  value.text1 = inputFile.CStr();
  value.text2 = encoderSettings.CStr();
  value.text3 = outputFile.CStr();
  return encoder->Get(TV_KEY_SEND_RAW_UNCOMPRESSED, &value) != 0;
}

// The encoder reads the source itself: the decoder is only opened for its description.
void TvTransmill::RawPass() {
  std::memset(&openInfo, 0, sizeof(openInfo));
  openInfo.fileName = inputFile.CStr();
  openInfo.interfaceLevel = TV_INTERFACE_LEVEL_RAW;
  if (!OpenDecoder(*decoder, &openInfo)) return;
  SetConversionPriority(EncoderSet());
  AskReplayGainTags();
  PrepareTags(openInfo.idTags, openInfo.idTagsSize);
  if (!CloseDecoder(*decoder)) RaiseFailed();
  FillConversionRecord(outputFile, true);
  if (!encoder->BeginConversion(&conversionRecord)) RaiseFailed();
}

void TvTransmill::AskReplayGainTags() {
  if (encoder->GetWithText(TV_KEY_SEND_OVER_REPLAY_GAIN_TAGS, nullptr) != 0) keepReplayGainTags = 1;
}

// The decoder's audio properties with the encoder's name added, as the encoder's extra block.
void TvTransmill::BuildEncoderInfo() {
  XTagList info;
  if (openInfo.properties != nullptr && openInfo.propertiesSize != 0)
    info.FromBlock(openInfo.properties, openInfo.propertiesSize);
  info.Set(XString(TV_TAG_ENCODER), encoderName);
  info.ToBlock(encoderInfoBytes);
}

// The raw pass hands on the decoder's properties as they are; the normal path the block made
// from them.
void TvTransmill::FillConversionRecord(const XString& output, bool raw) {
  std::memset(&conversionRecord, 0, sizeof(conversionRecord));
  conversionRecord.sourceFile = openInfo.fileName;
  conversionRecord.outputFile = output.CStr();
  conversionRecord.encoderSettings = encoderSettings.CStr();
  conversionRecord.format = &openInfo.format;
  conversionRecord.idTags = tagBytes.data;
  conversionRecord.idTagsSize = tagBytes.size;
  conversionRecord.extraInfo = raw ? openInfo.properties : encoderInfoBytes.data;
  conversionRecord.extraInfoSize = raw ? openInfo.propertiesSize : encoderInfoBytes.size;
}

void TvTransmill::UnloadEncoder() { encoder.reset(); }

void TvTransmill::CloseRun() {
  XString line;
  if (pumpElapsedMs != 0) {
    line = TvClosingLine(pumpElapsedMs, realtimeFactor);
    Log(line, logHandles);
  }
  LogFileSizeCheck(u"(trans mill exit)", outputFile);
  AwaitErrorRelay();
  if (failed) tvExitFlag = 1;
  if (!silent) Print(failed ? XString(u"Conversion Failed.") : line, true);
  decoder.reset();
}

// Error text written just before the end still fails the run: the relay is given a moment to
// take what waits in the error pipe before the exit code is decided.
void TvTransmill::AwaitErrorRelay() {
  if (!relayThread.IsRunning()) return;
  bool waited = false;
  for (int round = 0; round < kErrorRelayRounds && errorPipe.Available(nullptr) != 0; round++) {
    std::this_thread::sleep_for(std::chrono::milliseconds(kErrorRelayWaitMs));
    waited = true;
  }
  // The relay raises the flag just behind its read: give it that moment too.
  if (waited) std::this_thread::sleep_for(std::chrono::milliseconds(2 * kErrorRelayWaitMs));
}
