// Decoder plug-in for Ogg Vorbis, read with libvorbisfile: exact length from the last granule
// position, 16-bit output or float on request, channels put back into WAV order.
#define TV_DECODER_PLUGIN
#include "CodecSupport.h"
#include "SampleLayout.h"
#include "TagBridge.h"
#include "VorbisChannels.h"

#include <ogg/ogg.h>
#include <vorbis/vorbisfile.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

using namespace codec;

namespace {

struct Decodable {
  const char16_t* extension;
  const char16_t* formatName;
};
const Decodable kDecodes[] = {{u".ogg", u"Ogg Vorbis"}, {u".oga", u"Ogg Vorbis"}};
constexpr int32_t kDecodeCount = int32_t(sizeof(kDecodes) / sizeof(kDecodes[0]));
constexpr int kBlockFrames = 8192;

struct Decoder {
  TvHostContext host{};
  OggVorbis_File file{};
  bool opened = false;
  bool asFloat = false;
  std::string name;
  TvWaveFormatExtensible image{};
  std::vector<int> order;  // WAV position of each Vorbis channel
  int64_t samples = 0;     // frames of the whole stream
  int64_t position = 0;    // frames handed out
  uint32_t bitRate = 0;
  std::vector<uint8_t> tags;
  std::vector<uint8_t> properties;
  std::vector<float> mixed;
  std::vector<uint8_t> data;
};

Decoder* Cast(TvInstance instance) { return static_cast<Decoder*>(instance); }

void CloseFile(Decoder& d) {
  if (d.opened) ov_clear(&d.file);
  d.opened = false;
}

bool Fail(Decoder& d, const std::string& text) {
  ReportError(d.host, FromUtf8("Error: Unable to open file '" + d.name + "': " + text));
  CloseFile(d);
  return false;
}

// What the first packet of a stream says it is.
std::string CodecOf(const unsigned char* packet, long size) {
  auto starts = [&](const char* magic) { return size >= long(strlen(magic)) && !memcmp(packet, magic, strlen(magic)); };
  if (starts("\x01vorbis")) return "Vorbis";
  if (starts("OpusHead")) return "Opus";
  if (starts("\x7F" "FLAC")) return "FLAC";
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
      if (step > 0) TakePage(page, scan);
      else scan.pending += uint64_t(-step);
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
  if (scan.junk > 0) return "the stream is damaged: " + std::to_string(scan.junk) + " bytes are no valid Ogg pages.";
  if (scan.cut) return "the stream is truncated: the file ends inside an Ogg page.";
  if (!scan.ended) return "the stream is truncated: its last page does not end the stream.";
  return "";
}

std::string OpenReason(int code) {
  switch (code) {
    case OV_EREAD: return "the file could not be read.";
    case OV_ENOTVORBIS: return "not an Ogg Vorbis stream.";
    case OV_EVERSION: return "the Vorbis version is not supported.";
    case OV_EBADHEADER: return "the Vorbis headers are damaged.";
    default: return "libvorbisfile could not open it (error " + std::to_string(code) + ").";
  }
}

// Links of a chained file must agree: the blocks carry one format for the whole stream.
std::string ChainProblem(OggVorbis_File& file) {
  const vorbis_info* first = ov_info(&file, 0);
  for (int link = 1; link < ov_streams(&file); ++link) {
    const vorbis_info* info = ov_info(&file, link);
    if (info->rate != first->rate || info->channels != first->channels)
      return "its chained streams change format (" + std::to_string(first->rate) + " Hz, " +
             std::to_string(first->channels) + " channels, then " + std::to_string(info->rate) + " Hz, " +
             std::to_string(info->channels) + " channels); convert each stream on its own.";
  }
  return "";
}

bool OpenStream(Decoder& d) {
  PageScan scan;
  std::string problem;
  if (!ScanPages(d.name, scan, problem)) return Fail(d, problem);
  problem = ScanProblem(scan);
  if (!problem.empty()) return Fail(d, problem);
  int code = ov_fopen(d.name.c_str(), &d.file);
  if (code != 0) return Fail(d, OpenReason(code));
  d.opened = true;
  problem = ChainProblem(d.file);
  if (!problem.empty()) return Fail(d, problem);
  d.samples = ov_pcm_total(&d.file, -1);
  if (d.samples < 0) return Fail(d, "its length could not be found.");
  const vorbis_info* info = ov_info(&d.file, 0);
  if (info->rate <= 0 || info->channels <= 0) return Fail(d, "the Vorbis headers are damaged.");
  d.image = MakeDecodedImage(d.asFloat ? SampleKind::F32 : SampleKind::S16, info->channels, int(info->rate));
  d.order = vorbis::VorbisOrder(info->channels, ChannelMaskOf(d.image));
  return true;
}

std::u16string QualityText(const vorbis_info& info, uint32_t kbps) {
  bool constant = info.bitrate_nominal > 0 && info.bitrate_upper == info.bitrate_nominal &&
                  info.bitrate_lower == info.bitrate_nominal;
  return FromUtf8("Lossy, " + std::to_string(kbps) + " kbps " + (constant ? "CBR" : "VBR"));
}

void DescribeStream(Decoder& d, TvOpenInfo& info) {
  const vorbis_info& header = *ov_info(&d.file, 0);
  long average = ov_bitrate(&d.file, -1);
  d.bitRate = uint32_t(average > 0 ? average : header.bitrate_nominal > 0 ? header.bitrate_nominal : 0);
  info.format = d.image;
  info.msLength = uint64_t(d.samples) * 1000 / uint64_t(header.rate);
  info.byteLength = uint64_t(d.samples) * d.image.Format.nBlockAlign;
  info.bitRate = d.bitRate;
  d.tags = MakeTagItemBlock(ReadFileTags(d.name));
  d.properties = MakeTagBlock({{TV_TAG_AUDIO_QUALITY, QualityText(header, (d.bitRate + 500) / 1000)}});
  info.idTags = d.tags.data();
  info.idTagsSize = uint32_t(d.tags.size());
  info.properties = d.properties.data();
  info.propertiesSize = uint32_t(d.properties.size());
}

// Set "IDTags": offset 24 the file, offset 36 the block, offset 4 its length.
int32_t WriteTags(Decoder& d, const TvPluginValue& value) {
  if (!value.text1 || (value.value > 0 && !value.data)) return 0;
  TagItems items = value.value > 0 ? ReadTagItemBlock(value.data, uint32_t(value.value)) : TagItems{};
  std::u16string error;
  if (WriteFileTags(ToUtf8(View(value.text1)), items, &error)) return 1;
  ReportError(d.host, u"Error: " + error);
  return 0;
}

bool ReadFailed(Decoder& d, const std::string& text) {
  ReportError(d.host, FromUtf8("Error: Reading '" + d.name + "' failed: " + text));
  return false;
}

// Decodes up to a block's worth of frames into d.mixed, interleaved in WAV order.
bool ReadFrames(Decoder& d, int& frames) {
  int channels = d.image.Format.nChannels;
  d.mixed.resize(size_t(kBlockFrames) * size_t(channels));
  frames = 0;
  while (frames < kBlockFrames) {
    float** pcm = nullptr;
    int link = 0;
    long got = ov_read_float(&d.file, &pcm, kBlockFrames - frames, &link);
    if (got == 0) break;
    if (got == OV_HOLE || got == OV_EBADLINK)
      return ReadFailed(d, "the stream is damaged near " + std::to_string((d.position + frames) * 1000 /
                                                                           d.image.Format.nSamplesPerSec) + " ms.");
    if (got < 0) return ReadFailed(d, "libvorbisfile error " + std::to_string(got) + ".");
    float* out = d.mixed.data() + size_t(frames) * size_t(channels);
    for (int v = 0; v < channels; ++v) {
      const float* in = pcm[v];
      float* to = out + d.order[size_t(v)];
      for (long i = 0; i < got; ++i) to[i * channels] = in[i];
    }
    frames += int(got);
  }
  return true;
}

}  // namespace

extern "C" {

TvInstance Create(TvHostContext* context) {
  Decoder* d = new (std::nothrow) Decoder;
  if (d && context) d->host = *context;
  return d;
}

int32_t Destroy(TvInstance instance) {
  if (!instance) return 0;
  CloseFile(*Cast(instance));
  delete Cast(instance);
  return 1;
}

int32_t Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !value || !key) return 0;
  if (EqualsNoCase(key, TV_KEY_DECODES)) {
    if (value->index < 0 || value->index >= kDecodeCount) return 0;
    value->text1 = kDecodes[value->index].extension;
    value->text2 = kDecodes[value->index].formatName;
    return 1;
  }
  return 0;
}

int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  if (!instance || !key) return 0;
  Decoder& d = *Cast(instance);
  if (EqualsNoCase(key, TV_KEY_DECODE_AS)) {
    d.asFloat = value && EqualsNoCase(View(value->text1), TV_DECODE_AS_HIGHEST);
    return 1;
  }
  if (EqualsNoCase(key, TV_KEY_ID_TAGS)) return value ? WriteTags(d, *value) : 0;
  return EqualsNoCase(key, TV_KEY_EVENT_QUIT) || EqualsNoCase(key, TV_KEY_BATCH_ID);
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  if (!instance || !info) return 0;
  Decoder& d = *Cast(instance);
  CloseFile(d);
  d.name = ToUtf8(View(info->fileName));
  d.position = 0;
  if (!OpenStream(d)) return 0;
  DescribeStream(d, *info);
  return 1;
}

int32_t Close(TvInstance instance, TvConversionInfo*) {
  if (!instance) return 0;
  CloseFile(*Cast(instance));
  return 1;
}

int32_t DecodeBlock(TvInstance instance, TvAudioBlock* block) {
  if (!instance || !block) return 0;
  Decoder& d = *Cast(instance);
  if (!d.opened) return 0;
  int frames = 0;
  if (!ReadFrames(d, frames)) return 0;
  bool end = frames < kBlockFrames || d.position + frames >= d.samples;
  if (end && d.position + frames < d.samples)
    return ReadFailed(d, "the stream ended after " + std::to_string(d.position + frames) + " of " +
                             std::to_string(d.samples) + " samples.");
  SampleKind kind = d.asFloat ? SampleKind::F32 : SampleKind::S16;
  uint32_t align = d.image.Format.nBlockAlign;
  d.data.resize(size_t(frames) * align);
  FromFloat(d.mixed.data(), size_t(frames) * d.image.Format.nChannels, kind, d.data.data());
  uint64_t rate = d.image.Format.nSamplesPerSec;
  block->data = frames ? d.data.data() : nullptr;
  block->byteCount = uint32_t(frames) * align;
  block->format = d.image;
  block->bitRate = d.bitRate;
  block->msDuration = uint64_t(frames) * 1000 / rate;
  block->msPosition = uint64_t(d.position) * 1000 / rate;
  block->endOfStream = end;
  d.position += frames;
  return 1;
}

// first: position in milliseconds, low half; second: the high half.
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  if (!instance || !Cast(instance)->opened) return 0;
  Decoder& d = *Cast(instance);
  uint64_t ms = (uint64_t(second) << 32) | first;
  uint64_t frame = ms * d.image.Format.nSamplesPerSec / 1000;
  if (frame > uint64_t(d.samples)) frame = uint64_t(d.samples);
  if (ov_pcm_seek(&d.file, ogg_int64_t(frame)) != 0) return 0;
  d.position = int64_t(frame);
  return 1;
}

int32_t DeleteATag(TvInstance, uint32_t, uint32_t) { return 0; }

}  // extern "C"
