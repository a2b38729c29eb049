// The audio source of a run: the decoder plug-in, and the choice between the three block sources.
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"

#include <algorithm>
#include <cstring>

namespace {
const char* const kDecodeFunction = "TvTransmill::DecodeAudioBlock";
constexpr uint64_t kReadBackMs = 500;
}  // namespace

bool TvTransmill::OpenDecoder(clTvDecoder& dec, TvOpenInfo* info) {
  if (opts.inputIsStdin) return OpenStandardInput(info);
  SendDecoderSetOptions(dec);
  if (opts.quitEventName.Length() != 0) dec.SetText(TV_KEY_EVENT_QUIT, opts.quitEventName.CStr());
  return dec.Open(info) != 0;
}

// Each "DecoderSet" option (case included) is a key of its own for the decoder, in order.
void TvTransmill::SendDecoderSetOptions(clTvDecoder& dec) {
  XString key, value;
  for (int32_t i = 0; GetAt(i, key, value); i++) {
    if (!XString::Equals(key.CStr(), u"DecoderSet")) continue;
    dec.SetKey(value.CStr());
  }
}

bool TvTransmill::CloseDecoder(clTvDecoder& dec) {
  if (opts.inputIsStdin) return CloseStandardInput();
  return dec.Close(&dst.conversion.info) != 0;
}

void TvTransmill::SettleDecodeQuality(clTvDecoder& dec, clTvEncoder& enc, const XString& settings) {
  if (opts.inputIsStdin) return;
  if (enc.GetWithText(TV_KEY_NEED_HQ_AUDIO, settings.CStr()) != 0)
    dec.SetText(TV_KEY_DECODE_AS, TV_DECODE_AS_HIGHEST);
}

bool TvTransmill::DecodeAudioBlock(clTvDecoder& dec, TvAudioBlock* block) {
  if (dsps.tempFile.IsOpen()) return ReadBackBlock(block);
  if (!opts.inputIsStdin) return dec.DecodeBlock(block) != 0;
  return ReadStdinBlock(block);
}

// Half a second at a time from the file that non-live rendering left.
bool TvTransmill::ReadBackBlock(TvAudioBlock* block) {
  if (src.blockBytes.data == nullptr)
    src.blockBytes.Resize(static_cast<uint32_t>(dsps.tempFormat.MsToBytes(kReadBackMs)));
  if (src.blockBytes.data == nullptr) {
    ReportError(XString(u"Error allocating buffer"), kDecodeFunction);
    tvExitFlag = 1;
    return false;
  }
  const uint32_t n =
      static_cast<uint32_t>(std::min<uint64_t>(src.blockBytes.size, dsps.tempLength));
  if (n != 0 && dsps.tempFile.Read(src.blockBytes.data, n) == 0) {
    ReportError(XString(u"Error reading back from temporary DSP file."), kDecodeFunction);
    tvExitFlag = 1;
    return false;
  }
  dsps.tempLength -= n;
  const uint32_t formatBytes =
      dsps.tempFormat.IsExtensible() ? TV_FORMAT_IMAGE_SIZE : TV_FORMAT_PLAIN_SIZE;
  std::memcpy(&block->format, dsps.tempFormat.Format(), formatBytes);
  block->bitRate = dsps.tempFormat.Format()->nAvgBytesPerSec * 8;
  block->msDuration = dsps.tempFormat.BytesToMs(n);
  block->byteCount = n;
  block->data = src.blockBytes.data;
  block->msPosition = dsps.tempFormat.BytesToMs(dst.bytesEncoded);
  block->endOfStream = dsps.tempLength == 0 ? 1 : 0;
  return true;
}
