// Raw audio on standard input: its format from the "source..." options, its tags from a file.
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"

#include <cstring>

namespace {
const char* const kOpenFunction = "TvTransmill::OpenDecoder";
const char* const kCloseFunction = "TvTransmill::CloseDecoder";
constexpr uint32_t kNoRate = 0xFFFFFFFFu;
}  // namespace

bool TvTransmill::OpenStandardInput(TvOpenInfo* info) {
  Log(u"->->", io.logHandles, kOpenFunction);
  if (!src.stdinWasOpen) {
    ReportError(XString(u"Error: Cannot open StdInput for audio reading."), kOpenFunction);
    tvExitFlag = 1;
    return false;
  }
  src.stdinPipe.Attach(0, XInvalidHandle);
  uint32_t rate = kNoRate, channels = 0, bits = 0, length = 0;
  if (!ReadStdinOptions(rate, channels, bits, length)) {
    ReportError(XString(u"Error: RIFF WAVE StdInput not supported yet."), kOpenFunction);
    tvExitFlag = 1;
    return false;
  }
  src.stdinFormat.SetPCM(static_cast<uint16_t>(channels), rate, static_cast<uint16_t>(bits));
  if (Has(u"sourceisfloat")) src.stdinFormat.SetTag(TV_FORMAT_IEEE_FLOAT);
  info->bitRate = bits * channels * rate;
  info->msLength = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(length)));
  info->byteLength = src.stdinFormat.MsToBytes(info->msLength);
  std::memcpy(&info->format, src.stdinFormat.Format(), TV_FORMAT_PLAIN_SIZE);
  info->fileName = TV_STANDARD_INPUT_NAME;
  ReadStdinTags(info);
  XString text(u"Using StdInput WFX:");
  text += src.stdinFormat.LogText();
  Log(text, io.logHandles, kOpenFunction);
  Log(u"<-<-", io.logHandles, kOpenFunction);
  return true;
}

// False when no sample rate was given: a RIFF header on the stream is not read.
bool TvTransmill::ReadStdinOptions(uint32_t& rate, uint32_t& channels, uint32_t& bits,
                                   uint32_t& length) {
  const struct {
    const char16_t* name;
    uint32_t* target;
  } numbers[] = {{u"sourcefreq", &rate},
                 {u"sourcechannels", &channels},
                 {u"sourcebits", &bits},
                 {u"sourcelength", &length}};
  XString value;
  for (const auto& number : numbers)
    if (Get(number.name, value) && value.Length() != 0)
      *number.target = static_cast<uint32_t>(value.ToInt64());
  return rate != kNoRate;
}

// The tag dump a host left for this run; a file that can't be read means no tags.
void TvTransmill::ReadStdinTags(TvOpenInfo* info) {
  XString path;
  if (!Get(u"idtags", path) || path.Length() == 0) return;
  Log(u"Reading StdIn Tmp File IDTags: ", io.logHandles, nullptr, false);
  XFile file;
  if (file.OpenRead(path)) {
    const int64_t size = file.Size();
    if (size > 0 && size <= 0xFFFFFFFFll && src.stdinTagBytes.Resize(static_cast<uint32_t>(size))) {
      if (file.Read(src.stdinTagBytes.data, src.stdinTagBytes.size, XSeekStart) ==
          src.stdinTagBytes.size) {
        info->idTags = src.stdinTagBytes.data;
        info->idTagsSize = src.stdinTagBytes.size;
      } else {
        src.stdinTagBytes.Free();
      }
    }
  }
  Log(u"Read", io.logHandles);
}

// The entry line comes twice and the exit once, so the log stays one level deeper from here.
bool TvTransmill::CloseStandardInput() {
  Log(u"->->", io.logHandles, kCloseFunction);
  Log(u"->->", io.logHandles, kCloseFunction);
  src.stdinPipe.Close();
  Log(u"<-<-", io.logHandles, kCloseFunction);
  return true;
}

// What the pipe holds now, in whole frames: a pipe hands over bytes as they were copied in, so
// a frame cut in two waits here for its rest. At the end the whole frames go first and a cut
// frame after them comes alone with the end mark, so that dropping it costs nothing else.
bool TvTransmill::ReadStdinBlock(TvAudioBlock* block) {
  bool ended = false;
  const XBuffer& fresh = src.stdinPipe.ReadAvailable(&ended);
  const uint32_t got = src.stdinPipe.receivedCount;
  if (src.stdinHeld != 0)
    std::memmove(src.stdinBlock.data, src.stdinBlock.data + src.stdinBlock.length, src.stdinHeld);
  uint32_t total = src.stdinHeld;
  if (got != 0 && src.stdinBlock.Resize(src.stdinHeld + got, true)) {
    std::memcpy(src.stdinBlock.data + src.stdinHeld, fresh.data, got);
    total += got;
  }
  const uint32_t whole = static_cast<uint32_t>(src.stdinFormat.FloorToBlock(total));
  const bool last = ended && (whole == 0 || whole == total);
  const uint32_t give = last ? total : whole;
  src.stdinBlock.length = give;
  src.stdinHeld = total - give;
  block->endOfStream = last ? 1 : 0;
  if (give == 0) return true;
  std::memcpy(&block->format, src.stdinFormat.Format(), TV_FORMAT_PLAIN_SIZE);
  block->bitRate = src.stdinFormat.Format()->nAvgBytesPerSec * 8;
  block->msDuration = src.stdinFormat.BytesToMs(give);
  block->byteCount = give;
  block->data = src.stdinBlock.data;
  block->msPosition = src.stdinFormat.BytesToMs(dst.bytesEncoded);
  return true;
}
