// Decoder plug-in for Ogg Opus, read with opusfile: always 48 kHz, pre-skip and end trimming
// as the granule positions give them, 16-bit output or float on request.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/DecoderTags.h"
#include "codecs/common/OggChannels.h"
#include "codecs/common/SampleLayout.h"
#include "codecs/opus/OpusPages.h"

#include <opusfile.h>

#include <sys/stat.h>
#include <cerrno>
#include <cstring>
#include <new>

using namespace codec;

namespace {

const DecodedType kTypes[] = {{u".opus", u"Opus"}};
constexpr int kRate = 48000;
constexpr size_t kBlockFrames = 16384;
constexpr size_t kPacketFrames = 5760;  // the longest Opus packet, 120 ms

std::string Reason(int code) {
  switch (code) {
    case OP_HOLE:
      return "the stream is damaged: data is missing.";
    case OP_EREAD:
      return "the file could not be read.";
    case OP_EFAULT:
      return "opusfile ran out of memory or failed inside.";
    case OP_EIMPL:
      return "the stream uses a feature opusfile does not support.";
    case OP_ENOTFORMAT:
      return "not an Ogg Opus file (no Opus stream found).";
    case OP_EBADHEADER:
      return "the Opus headers are missing or damaged.";
    case OP_EVERSION:
      return "the Opus header has an unknown version.";
    case OP_EBADPACKET:
      return "an Opus packet is damaged.";
    case OP_EBADLINK:
      return "a link of the stream could not be found (damaged file).";
    case OP_EBADTIMESTAMP:
      return "the stream's timestamps are invalid (damaged or truncated file).";
    default:
      return "opusfile error " + std::to_string(code) + ".";
  }
}

// Chained streams are read as one, so every link must have the same channel count.
bool SameChannels(OggOpusFile* file) {
  int links = op_link_count(file);
  for (int link = 1; link < links; ++link)
    if (op_channel_count(file, link) != op_channel_count(file, 0)) return false;
  return true;
}

std::u16string QualityText(uint32_t bitRate, bool constant) {
  return FromUtf8("Lossy, " + std::to_string((bitRate + 500) / 1000) + " kbps " +
                  (constant ? "CBR" : "VBR"));
}

class OggOpusDecoder : public TaggedDecoder {
 protected:
  bool OpenStream() override;
  Description Describe() override;
  bool IsOpen() const override { return file != nullptr; }
  void CloseStream() override;
  bool Decode(DecodedAudio& audio) override;
  int64_t Seek(uint64_t frame, uint64_t ms) override;

 private:
  int ReadSome(size_t at);
  void PutInWavOrder(size_t count);

  OggOpusFile* file = nullptr;
  int channels = 0;
  std::vector<int> order;     // WAV position of each stream channel
  bool constantSize = false;  // the page scan found packets of one size: CBR
  std::vector<uint8_t> data;
};

void OggOpusDecoder::CloseStream() {
  if (file) op_free(file);
  file = nullptr;
}

bool OggOpusDecoder::OpenStream() {
  struct stat st {};
  if (stat(name.c_str(), &st) != 0) return FailOpen(std::string(strerror(errno)) + ".");
  int code = 0;
  file = op_open_file(name.c_str(), &code);
  if (!file) return FailOpen(Reason(code));
  opus_pages::PageScan scan = opus_pages::ScanPages(name);
  if (!scan.problem.empty()) return FailOpen(scan.problem);
  if (!SameChannels(file))
    return FailOpen("the links of the chained stream have different channel counts.");
  frames = op_pcm_total(file, -1);
  if (frames < 0) return FailOpen(Reason(int(frames)));
  if (frames == 0 || scan.audioPackets == 0) return FailOpen("the stream holds no audio.");
  channels = op_channel_count(file, 0);
  constantSize = scan.constantSize;
  image = OggDecodedImage(asFloat ? SampleKind::F32 : SampleKind::S16, channels, kRate);
  order = OggChannelOrder(channels, ChannelMaskOf(image));
  return true;
}

Description OggOpusDecoder::Describe() {
  opus_int32 average = op_bitrate(file, -1);
  bitRate = average > 0 ? uint32_t(average) : 0;
  return {FileTags(), QualityText(bitRate, constantSize)};
}

// Frames decoded into the block buffer from frame `at` on; 0 at the end, negative on error.
int OggOpusDecoder::ReadSome(size_t at) {
  int room = int((kBlockFrames - at) * size_t(channels));
  if (asFloat)
    return op_read_float(file, reinterpret_cast<float*>(data.data()) + at * channels, room,
                         nullptr);
  return op_read(file, reinterpret_cast<opus_int16*>(data.data()) + at * channels, room, nullptr);
}

void OggOpusDecoder::PutInWavOrder(size_t count) {
  if (asFloat)
    ToBlockOrder(reinterpret_cast<float*>(data.data()), count, order);
  else
    ToBlockOrder(reinterpret_cast<opus_int16*>(data.data()), count, order);
}

bool OggOpusDecoder::Decode(DecodedAudio& audio) {
  data.resize(kBlockFrames * image.Format.nBlockAlign);
  size_t count = 0;
  bool end = false;
  while (!end && kBlockFrames - count >= kPacketFrames) {
    int got = ReadSome(count);
    if (got < 0) return FailRead(Reason(got));
    end = got == 0;
    count += size_t(got);
  }
  PutInWavOrder(count);
  audio.data = data.data();
  audio.frames = count;
  audio.end = end;
  return true;
}

int64_t OggOpusDecoder::Seek(uint64_t frame, uint64_t) {
  return op_pcm_seek(file, ogg_int64_t(frame)) != 0 ? -1 : int64_t(frame);
}

}  // namespace

std::span<const DecodedType> codec::DecodedTypes() { return kTypes; }
DecoderPlugin* codec::NewDecoder() { return new (std::nothrow) OggOpusDecoder; }
