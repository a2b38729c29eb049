// Decoder plug-in for WavPack, read with libwavpack: integer PCM at the stream's own sample
// size or 32-bit float, bit-exact, with the correction file (.wvc) beside it when there is one.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/DecoderTags.h"
#include "codecs/common/SampleLayout.h"
#include "codecs/wavpack/WavPackBlocks.h"

#include <wavpack/wavpack.h>

#include <unistd.h>
#include <bit>
#include <cstring>
#include <new>

using namespace codec;

namespace {

const DecodedType kTypes[] = {{u".wv", u"WavPack"}};
constexpr uint32_t kBlockFrames = 4096;

// The file's mask when it names as many speakers as it has channels, else the usual one.
uint32_t ChannelMask(WavpackContext* wpc, int channels) {
  uint32_t mask = uint32_t(WavpackGetChannelMask(wpc));
  if (mask && std::popcount(mask) == channels) return mask;
  uint32_t usual = DefaultChannelMask(channels);
  return usual ? usual : TV_CHANNEL_MASK_UNKNOWN;
}

TvWaveFormatExtensible ImageOf(WavpackContext* wpc, SampleKind kind, int channels) {
  uint32_t mask = ChannelMask(wpc, channels);
  bool extensible = channels > 2 || mask != DefaultChannelMask(channels);
  return MakeImage(kind, channels, int(WavpackGetSampleRate(wpc)), extensible, mask);
}

std::u16string QualityText(WavpackContext* wpc) {
  if (WavpackGetMode(wpc) & MODE_LOSSLESS) return u"Lossless";
  long kbps = long(WavpackGetAverageBitrate(wpc, 0) / 1000 + 0.5);
  return FromUtf8("Lossy, " + std::to_string(kbps) + " kbps hybrid");
}

class WavPackDecoder : public TaggedDecoder {
 protected:
  bool OpenStream() override;
  Description Describe() override;
  bool IsOpen() const override { return wpc != nullptr; }
  void CloseStream() override;
  bool Decode(DecodedAudio& audio) override;
  int64_t Seek(uint64_t frame, uint64_t ms) override;

 private:
  bool CheckFiles();
  bool Unpack(uint32_t& count);

  WavpackContext* wpc = nullptr;
  SampleKind kind = SampleKind::None;
  int channels = 0;
  std::vector<int32_t> unpacked;
  std::vector<uint8_t> data;
};

void WavPackDecoder::CloseStream() {
  if (wpc) WavpackCloseFile(wpc);
  wpc = nullptr;
}

// The file and its correction file, when there is one, must be sound before decoding starts.
bool WavPackDecoder::CheckFiles() {
  std::string reason, correction = name + "c";  // the name the library looks for
  if (!wavpack::CheckBlocks(name, reason)) return FailOpen(reason);
  if (access(correction.c_str(), F_OK) == 0 && !wavpack::CheckBlocks(correction, reason))
    return FailOpen("its correction file: " + reason);
  return true;
}

bool WavPackDecoder::OpenStream() {
  if (!CheckFiles()) return false;
  char error[128] = {};
  // Normalising leaves ordinary float files (exponent 127) as they are and scales odd ones to +-1.
  wpc = WavpackOpenFileInput(name.c_str(), error, OPEN_WVC | OPEN_NORMALIZE, 0);
  if (!wpc) return FailOpen(error[0] ? error : "not a WavPack file.");
  channels = WavpackGetNumChannels(wpc);
  bool isFloat = (WavpackGetMode(wpc) & MODE_FLOAT) != 0;
  int bytes = WavpackGetBytesPerSample(wpc);
  kind = isFloat ? (bytes == 4 ? SampleKind::F32 : SampleKind::None) : IntegerKind(bytes * 8);
  if (kind == SampleKind::None || channels < 1 || WavpackGetSampleRate(wpc) == 0)
    return FailOpen("unsupported sample layout (" + std::to_string(bytes) + " bytes per sample).");
  image = ImageOf(wpc, kind, channels);
  frames = WavpackGetNumSamples64(wpc);  // -1 when the file does not say
  if (frames == 0) return FailOpen("the stream holds no audio.");
  return true;
}

Description WavPackDecoder::Describe() {
  bitRate = uint32_t(WavpackGetAverageBitrate(wpc, 1) + 0.5);
  return {FileTags(), QualityText(wpc)};
}

// Unpacks the next frames into data; false (reported) on damage or a stream that ends early.
bool WavPackDecoder::Unpack(uint32_t& count) {
  size_t values = size_t(kBlockFrames) * size_t(channels);
  unpacked.resize(values);
  bool atEnd = frames > 0 && position >= frames;  // after a seek to the very end
  count = atEnd ? 0 : WavpackUnpackSamples(wpc, unpacked.data(), kBlockFrames);
  if (int errors = WavpackGetNumErrors(wpc))
    return FailReadAndClose(std::to_string(errors) + " damaged block(s) (CRC error).");
  if (count == 0 && frames > 0 && position < frames)
    return FailReadAndClose("the stream ends after " + std::to_string(position) + " of " +
                            std::to_string(frames) + " samples (truncated file).");
  values = size_t(count) * size_t(channels);
  data.resize(values * size_t(BitsOf(kind) / 8));
  if (kind == SampleKind::F32)
    memcpy(data.data(), unpacked.data(), values * 4);  // the library hands out the float bits
  else
    FromInt32(unpacked.data(), values, kind, data.data());
  return true;
}

bool WavPackDecoder::Decode(DecodedAudio& audio) {
  uint32_t count = 0;
  if (!Unpack(count)) return false;
  audio.data = data.data();
  audio.frames = count;
  audio.end = count == 0 || (frames > 0 && position + count >= frames);
  return true;
}

// A failed seek leaves the library's context unusable, so the file is closed.
int64_t WavPackDecoder::Seek(uint64_t frame, uint64_t ms) {
  if (frames > 0 && int64_t(frame) >= frames) return frames;
  if (!WavpackSeekSample64(wpc, int64_t(frame))) {
    FailReadAndClose("seeking to " + std::to_string(ms) + " ms failed.");
    return -1;
  }
  return int64_t(frame);
}

}  // namespace

std::span<const DecodedType> codec::DecodedTypes() { return kTypes; }
DecoderPlugin* codec::NewDecoder() { return new (std::nothrow) WavPackDecoder; }
