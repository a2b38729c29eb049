// Tags go into the finished output through a decoder of its type; the list of outputs made.
#include "engine/TvRunRules.h"
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"
#include "foundation/XFile.h"
#include "foundation/XPath.h"
#include "foundation/XStringList.h"
#include "plugins/clTvCodecHandler.h"
#include "plugins/clTvDSP.h"
#include "plugins/clTvDecoder.h"
#include "tags/XTagList.h"

#include <chrono>
#include <thread>

namespace {
const char* const kWriterFunction = "TvTransmill::IDTagWriter";
constexpr int kUnlockTries = 30;
constexpr int kUnlockWaitMs = 100;
constexpr int kSetTries = 10;
constexpr int kSetWaitMs = 750;

void SleepMs(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// An exclusive open that works means the encoder, or a scanner, has let go of the file.
void AwaitRelease(const XString& path) {
  if (!XPath::Exists(path)) return;
  for (int round = 0; round < kUnlockTries; round++) {
    XFile probe;
    if (probe.Open(path, XFileMode::Read, XFileMode::OpenExisting, false, false)) return;
    SleepMs(kUnlockWaitMs);
  }
}

bool SetTags(clTvDecoder& decoder, const XString& path, void* tags, uint32_t size) {
  TvPluginValue value = {};
  value.value = static_cast<int32_t>(size);
  value.text1 = path.CStr();
  value.data = tags;
  for (int round = 1; round <= kSetTries; round++) {
    if (decoder.Set(TV_KEY_ID_TAGS, &value) != 0) return true;
    if (round < kSetTries) SleepMs(kSetWaitMs);
  }
  return false;
}
}  // namespace

bool TvTransmill::IDTagWriter(const XString& path, void* tags, uint32_t size) {
  if (tags == nullptr || size == 0) return true;
  if (XString::EqualsNoCase(XPath::ExtensionOf(opts.tagLoadFile).CStr(), u".iGnore")) return true;
  Log(u"->->", io.logHandles, kWriterFunction);
  if (!opts.silent) Print(XString(u"Writing ID Tags: "), false);
  // No error handle: a decoder that can't cope with the file mustn't fail the run.
  TvHostContext context = io.logHandles;
  context.errorHandle = 0;
  clTvDecoder writer;
  if (clTvCodecHandler::FindDecoder(opts.tagLoadFile, writer, &context)) {
    AwaitRelease(path);
    if (!SetTags(writer, path, tags, size)) return false;
  }
  if (!opts.silent) Print(XString(u"Done"), true);
  Log(u"<-<-", io.logHandles, kWriterFunction);
  return true;
}

void TvTransmill::WriteTagsIfAsked(int32_t tagWord) {
  if (tagWord == 0) return;
  if (io.logHandles.logHandle != 0) LogFileSizeCheck(u"(before ID Tags Written)", opts.outputFile);
  if (opts.hostMode) SendTagWritingAction(opts.outputFile);
  if (IDTagWriter(opts.outputFile, dst.tagBytes.data, dst.tagBytes.size)) return;
  XString text(u"Unable to tag file '");
  text += opts.outputFile;
  text += u"'";
  ReportError(text, "TvTransmill::TvTransmill");
  RaiseFailed();
}

// The encoder may name several outputs as FileName1, FileName2... in its returned block.
void TvTransmill::CollectOutputNames(XStringList& names) {
  if (dst.conversion.info.extraInfo != nullptr && dst.conversion.info.extraInfoSize != 0) {
    XTagList reported;
    reported.FromBlock(dst.conversion.info.extraInfo, dst.conversion.info.extraInfoSize);
    for (int32_t number = 1;; number++) {
      const XString value =
          reported.GetValue(XString::Concat(XString(u"FileName"), XString(number).CStr()));
      if (value.Length() == 0) break;
      names.Add(value);
    }
  }
  if (names.Count() == 0) {
    names.Add(XString(dst.conversion.info.outputFile));
    return;
  }
  Log(u"Multi-FileNames Reported Back to Transmill:", io.logHandles);
  if (opts.hostMode) {
    for (int32_t index = 0; index < names.Count(); index++) {
      Log(names[index], io.logHandles);
      SendFileName(names[index]);
    }
  }
  Log(u"", io.logHandles);
}
