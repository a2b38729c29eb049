// Decoder plug-in for Ogg Vorbis, read with libvorbisfile: exact length from the last granule
// position, 16-bit output or float on request, channels put back into WAV order.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/DecoderTags.h"
#include "codecs/common/OggChannels.h"
#include "codecs/common/SampleLayout.h"

#include <ogg/ogg.h>
#include <vorbis/vorbisfile.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

using namespace codec;

namespace {

const DecodedType kTypes[] = {{u".ogg", u"Ogg Vorbis"}, {u".oga", u"Ogg Vorbis"}};
constexpr int kBlockFrames = 8192;

// What the first packet of a stream says it is.
std::string CodecOf(const unsigned char* packet, long size) {
  auto starts = [&](const char* magic) {
    return size >= long(strlen(magic)) && !memcmp(packet, magic, strlen(magic));
  };
  if (starts("\x01vorbis")) return "Vorbis";
  if (starts("OpusHead")) return "Opus";
  if (starts("\x7F"
             "FLAC"))
    return "FLAC";
  if (starts("Speex   ")) return "Speex";
  if (starts("\x80theora")) return "Theora";
  return "an unknown codec";
}

// What a pass over the Ogg pages found, without decoding: the codec of each stream, bytes
// between pages that are no valid page (damage), and whether the last page ends a stream (a
// file cut short ends inside or after an ordinary page). Bytes after a page that ends the
// stream are left alone: the audio is whole.
struct PageScan {
  std::vector<std::string> codecs;
  uint64_t size = 0;
  uint64_t junk = 0;
  uint64_t pending = 0;  // stray bytes since the last page
  bool cut = false;      // the file ends inside a page
  bool ended = false;
};

void TakePage(ogg_page& page, PageScan& scan) {
  if (ogg_page_bos(&page)) scan.codecs.push_back(CodecOf(page.body, page.body_len));
  scan.ended = ogg_page_eos(&page) != 0;
  scan.junk += scan.pending;
  scan.pending = 0;
}

bool ScanPages(const std::string& name, PageScan& scan, std::string& error) {
  FILE* in = fopen(name.c_str(), "rb");
  if (!in) return error = strerror(errno), false;
  ogg_sync_state sync;
  ogg_sync_init(&sync);
  ogg_page page;
  while (true) {
    char* buffer = ogg_sync_buffer(&sync, 65536);
    size_t got = fread(buffer, 1, 65536, in);
    ogg_sync_wrote(&sync, long(got));
    scan.size += got;
    for (long step; (step = ogg_sync_pageseek(&sync, &page)) != 0;) {
      if (step > 0)
        TakePage(page, scan);
      else
        scan.pending += uint64_t(-step);
    }
    if (got == 0) break;
  }
  scan.cut = sync.fill - sync.returned >= 4 && !memcmp(sync.data + sync.returned, "OggS", 4);
  ogg_sync_clear(&sync);
  bool readError = ferror(in) != 0;
  fclose(in);
  if (readError) return error = "the file could not be read.", false;
  return true;
}

std::string ScanProblem(const PageScan& scan) {
  if (scan.size == 0) return "the file is empty.";
  if (scan.codecs.empty()) return "not an Ogg file.";
  bool vorbis = false;
  for (const std::string& codec : scan.codecs) vorbis = vorbis || codec == "Vorbis";
  if (!vorbis) return "the Ogg file holds " + scan.codecs[0] + ", not Vorbis.";
  if (scan.junk > 0)
    return "the stream is damaged: " + std::to_string(scan.junk) + " bytes are no valid Ogg pages.";
  if (scan.cut) return "the stream is truncated: the file ends inside an Ogg page.";
  if (!scan.ended) return "the stream is truncated: its last page does not end the stream.";
  return "";
}

std::string OpenReason(int code) {
  switch (code) {
    case OV_EREAD:
      return "the file could not be read.";
    case OV_ENOTVORBIS:
      return "not an Ogg Vorbis stream.";
    case OV_EVERSION:
      return "the Vorbis version is not supported.";
    case OV_EBADHEADER:
      return "the Vorbis headers are damaged.";
    default:
      return "libvorbisfile could not open it (error " + std::to_string(code) + ").";
  }
}

// Links of a chained file must agree: the blocks carry one format for the whole stream.
std::string ChainProblem(OggVorbis_File& file) {
  const vorbis_info* first = ov_info(&file, 0);
  for (int link = 1; link < ov_streams(&file); ++link) {
    const vorbis_info* info = ov_info(&file, link);
    if (info->rate != first->rate || info->channels != first->channels)
      return "its chained streams change format (" + std::to_string(first->rate) + " Hz, " +
             std::to_string(first->channels) + " channels, then " + std::to_string(info->rate) +
             " Hz, " + std::to_string(info->channels) +
             " channels); convert each stream on its own.";
  }
  return "";
}

std::u16string QualityText(const vorbis_info& info, uint32_t kbps) {
  bool constant = info.bitrate_nominal > 0 && info.bitrate_upper == info.bitrate_nominal &&
                  info.bitrate_lower == info.bitrate_nominal;
  return FromUtf8("Lossy, " + std::to_string(kbps) + " kbps " + (constant ? "CBR" : "VBR"));
}

class VorbisDecoder : public TaggedDecoder {
 protected:
  bool OpenStream() override;
  Description Describe() override;
  bool IsOpen() const override { return opened; }
  void CloseStream() override;
  bool Decode(DecodedAudio& audio) override;
  int64_t Seek(uint64_t frame, uint64_t ms) override;

 private:
  bool ReadFrames(int& count);

  OggVorbis_File file{};
  bool opened = false;
  std::vector<int> order;  // WAV position of each Vorbis channel
  std::vector<float> mixed;
  std::vector<uint8_t> data;
};

void VorbisDecoder::CloseStream() {
  if (opened) ov_clear(&file);
  opened = false;
}

bool VorbisDecoder::OpenStream() {
  PageScan scan;
  std::string problem;
  if (!ScanPages(name, scan, problem)) return FailOpen(problem);
  problem = ScanProblem(scan);
  if (!problem.empty()) return FailOpen(problem);
  int code = ov_fopen(name.c_str(), &file);
  if (code != 0) return FailOpen(OpenReason(code));
  opened = true;
  problem = ChainProblem(file);
  if (!problem.empty()) return FailOpen(problem);
  frames = ov_pcm_total(&file, -1);
  if (frames < 0) return FailOpen("its length could not be found.");
  const vorbis_info* info = ov_info(&file, 0);
  if (info->rate <= 0 || info->channels <= 0) return FailOpen("the Vorbis headers are damaged.");
  image =
      OggDecodedImage(asFloat ? SampleKind::F32 : SampleKind::S16, info->channels, int(info->rate));
  order = OggChannelOrder(info->channels, ChannelMaskOf(image));
  return true;
}

Description VorbisDecoder::Describe() {
  const vorbis_info& header = *ov_info(&file, 0);
  long average = ov_bitrate(&file, -1);
  bitRate = uint32_t(average > 0                  ? average
                     : header.bitrate_nominal > 0 ? header.bitrate_nominal
                                                  : 0);
  return {FileTags(), QualityText(header, (bitRate + 500) / 1000)};
}

// Decodes up to a block's worth of frames into mixed, interleaved in WAV order.
bool VorbisDecoder::ReadFrames(int& count) {
  int channels = image.Format.nChannels;
  mixed.resize(size_t(kBlockFrames) * size_t(channels));
  count = 0;
  while (count < kBlockFrames) {
    float** pcm = nullptr;
    int link = 0;
    long got = ov_read_float(&file, &pcm, kBlockFrames - count, &link);
    if (got == 0) break;
    if (got == OV_HOLE || got == OV_EBADLINK)
      return FailRead("the stream is damaged near " +
                      std::to_string(MsOf(uint64_t(position + count))) + " ms.");
    if (got < 0) return FailRead("libvorbisfile error " + std::to_string(got) + ".");
    float* out = mixed.data() + size_t(count) * size_t(channels);
    for (int v = 0; v < channels; ++v) {
      const float* in = pcm[v];
      float* to = out + order[size_t(v)];
      for (long i = 0; i < got; ++i) to[i * channels] = in[i];
    }
    count += int(got);
  }
  return true;
}

bool VorbisDecoder::Decode(DecodedAudio& audio) {
  int count = 0;
  if (!ReadFrames(count)) return false;
  bool end = count < kBlockFrames || position + count >= frames;
  if (end && position + count < frames)
    return FailRead("the stream ended after " + std::to_string(position + count) + " of " +
                    std::to_string(frames) + " samples.");
  SampleKind kind = asFloat ? SampleKind::F32 : SampleKind::S16;
  data.resize(size_t(count) * image.Format.nBlockAlign);
  FromFloat(mixed.data(), size_t(count) * image.Format.nChannels, kind, data.data());
  audio.data = data.data();
  audio.frames = uint64_t(count);
  audio.end = end;
  return true;
}

int64_t VorbisDecoder::Seek(uint64_t frame, uint64_t) {
  return ov_pcm_seek(&file, ogg_int64_t(frame)) != 0 ? -1 : int64_t(frame);
}

}  // namespace

std::span<const DecodedType> codec::DecodedTypes() { return kTypes; }
DecoderPlugin* codec::NewDecoder() { return new (std::nothrow) VorbisDecoder; }
