// The finish of a pumped run: closing the plug-ins, replacing the old output, the size check.
#include "engine/TvRunRules.h"
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"
#include "foundation/XFormat.h"
#include "foundation/XLastError.h"
#include "foundation/XPath.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"

namespace {
const char* const kRunFunction = "TvTransmill::TvTransmill";
constexpr uint32_t kOverwriteTimeoutMs = 2000;

// The size of a file by opening it; -1 when it can't be opened.
int64_t OpenedSize(const XString& path) {
  XFile file;
  if (!file.OpenRead(path)) return -1;
  return file.Size();
}
}  // namespace

XString TvClosingLine(uint64_t elapsedMs, double factor) {
  if (elapsedMs == 0) return XString();
  XString line(u"Conversion completed in ");
  line += XFormatDuration(elapsedMs, 0);
  if (factor != 0.0) {
    line += u" x";
    if (factor >= 10.0)
      line += XString::FromUInt64(static_cast<uint64_t>(factor));
    else
      line += XFormatDouble(factor, 1, true, XUserNumberFormat());
    line += u" realtime encoding";
  }
  return line;
}

void TvTransmill::Finish() {
  Log(u"============= CONVERSION END =============", io.logHandles);
  dst.pumpElapsedMs = static_cast<uint32_t>(XTickCount() - dst.pumpStartTicks);
  Communicate(TV_PHASE_END_ENCODING, TvPeerOf(*src.decoder), TvPeerOf(*dst.encoder));
  if (!opts.silent) {
    Print(XString(), true);
    Print(XString(), true);
  }
  dst.realtimeFactor = static_cast<double>(src.openInfo.msLength) /
                       static_cast<double>(dst.pumpElapsedMs != 0 ? dst.pumpElapsedMs : 1);
  if (!CloseDecoder(*src.decoder)) RaiseFailed();
  // The only moment at which the after-conversion error event counts.
  if (QuitRequested() || AfterConvErrorRequested()) RaiseFailed();
  if (!EndLiveDSPs()) RaiseFailed();
  // Error text still in the pipe fails the run before the encoder decides what to keep.
  RelayStep();
  int32_t tagWord = 0;
  if (!dst.encoder->EndConversion(&dst.conversion.info, &tagWord)) RaiseFailed();
  if (!opts.writeTags) tagWord = 0;
  LogFileSizeCheck(dst.tempOutputName.Length() != 0 ? u"(before overwrite final)" : u"",
                   NameWrittenTo());
  if (dst.tempOutputName.Length() != 0) OverwriteOutput(tagWord);
  dsps.tempFile.Close();
  dsps.tempName.Drop();
  CheckOutputSize();
  WriteTagsIfAsked(tagWord);
  XStringList names;
  CollectOutputNames(names);
  Communicate(TV_PHASE_AFTER_CONVERSION, TvPeerOf(*src.decoder), TvPeerOf(*dst.encoder));
  if (!AfterConversionDSPs(names)) RaiseFailed();
}

// The old output is replaced only by a complete, successful, non-empty conversion.
void TvTransmill::OverwriteOutput(int32_t& tagWord) {
  if (OpenedSize(dst.tempOutputName) <= 0 || HasFailed() || QuitRequested()) {
    tagWord = 0;
  } else {
    XPath::DeleteFile(opts.outputFile);
    const XEvent* cancel = opts.quitEventName.Length() != 0 ? &io.quitEvent : nullptr;
    if (XPath::MoveWithRetry(dst.tempOutputName, opts.outputFile, true, kOverwriteTimeoutMs,
                             cancel)) {
      dst.conversion.info.outputFile = opts.outputFile.CStr();
    } else {
      const uint32_t error = XGetLastError();
      XString text(u"Error overwriting file ");
      if (error != 0) text += XString().Format(u"(Win:%u)", error);
      text += u" '";
      text += opts.outputFile;
      text += u"'";
      ReportError(text, kRunFunction);
      RaiseFailed();
      tagWord = 0;
    }
  }
  XPath::DeleteFile(dst.tempOutputName);
}

void TvTransmill::CheckOutputSize() {
  if (TvIsIgnoreExtension(opts.outputFile)) return;
  const int64_t size = OpenedSize(opts.outputFile);
  if (size > 0) return;
  const char16_t* format = u"Encoder created a blank file: %s";
  if (size < 0)
    format = XPath::Exists(opts.outputFile) ? u"Encoder wrote inaccessible file: %s"
                                            : u"Encoder output file does not exist: %s";
  ReportError(XString().Format(format, opts.outputFile.CStr()), kRunFunction);
}

// Only with a debug log, and not for a name that holds ".iGnore" (case included).
void TvTransmill::LogFileSizeCheck(const char16_t* label, const XString& name) {
  if (io.logHandles.logHandle == 0 || name.Find(u".iGnore") != 0) return;
  const int64_t size = OpenedSize(name);
  const XString sizeText = XFormatNumber(size < 0 ? 0 : size, XUserNumberFormat());
  XString text;
  text.Format(u"File Size Check %s: %s bytes   Filename: %s", label, sizeText.CStr(), name.CStr());
  Log(text, io.logHandles);
}
