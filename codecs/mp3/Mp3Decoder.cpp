// Decoder plug-in for MPEG audio layers III and II, read with libmpg123: gapless where the
// stream's info tag gives encoder delay and padding, 16-bit output or float on request.
#define TV_DECODER_PLUGIN
#include "CodecSupport.h"
#include "TagBridge.h"

#include <mpg123.h>

#include <cstring>
#include <fstream>
#include <new>
#include <sys/stat.h>

using namespace codec;

namespace {

struct Decodable {
  const char16_t* extension;
  const char16_t* formatName;
};
const Decodable kDecodes[] = {{u".mp3", u"MP3"}, {u".mp2", u"MP2"}};
constexpr int32_t kDecodeCount = int32_t(sizeof(kDecodes) / sizeof(kDecodes[0]));
constexpr size_t kBlockBytes = 1152 * 2 * 4 * 8;

struct Decoder {
  TvHostContext host{};
  mpg123_handle* handle = nullptr;
  bool asFloat = false;
  std::string name;
  TvWaveFormatExtensible image{};
  int64_t samples = 0;   // frames of the whole stream, after gapless trimming
  int64_t position = 0;  // frames handed out
  uint32_t bitRate = 0;
  std::vector<uint8_t> tags;
  std::vector<uint8_t> properties;
  std::vector<uint8_t> data;
};

Decoder* Cast(TvInstance instance) { return static_cast<Decoder*>(instance); }

void CloseFile(Decoder& d) {
  if (d.handle) mpg123_delete(d.handle);
  d.handle = nullptr;
}

bool Fail(Decoder& d, const std::string& text) {
  ReportError(d.host, FromUtf8("Error: Unable to open file '" + d.name + "': " + text));
  CloseFile(d);
  return false;
}

std::string Reason(mpg123_handle* handle, int code) {
  return code == MPG123_ERR && handle ? mpg123_strerror(handle) : mpg123_plain_strerror(code);
}

// Every rate libmpg123 knows, mono and stereo, in the one sample encoding we hand out.
bool PrepareHandle(Decoder& d) {
  int code = MPG123_OK;
  d.handle = mpg123_new(nullptr, &code);
  if (!d.handle) return false;
  mpg123_param(d.handle, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_GAPLESS | MPG123_SKIP_ID3V2, 0);
  mpg123_format_none(d.handle);
  const long* rates = nullptr;
  size_t count = 0;
  mpg123_rates(&rates, &count);
  int encoding = d.asFloat ? MPG123_ENC_FLOAT_32 : MPG123_ENC_SIGNED_16;
  for (size_t i = 0; i < count; ++i) mpg123_format(d.handle, rates[i], MPG123_MONO | MPG123_STEREO, encoding);
  return true;
}

TvWaveFormatExtensible MakeImage(bool asFloat, int channels, long rate) {
  TvWaveFormatExtensible image;
  memset(&image, 0, sizeof image);
  TvWaveFormatEx& f = image.Format;
  f.wFormatTag = asFloat ? TV_FORMAT_IEEE_FLOAT : TV_FORMAT_PCM;
  f.nChannels = uint16_t(channels);
  f.nSamplesPerSec = uint32_t(rate);
  f.wBitsPerSample = asFloat ? 32 : 16;
  f.nBlockAlign = uint16_t(f.wBitsPerSample / 8 * channels);
  f.nAvgBytesPerSec = f.nBlockAlign * uint32_t(rate);
  return image;
}

// Bytes of MPEG data: the file less an ID3v2 tag in front and an ID3v1 tag at the end.
uint64_t AudioBytes(const std::string& name) {
  struct stat st{};
  if (stat(name.c_str(), &st) != 0) return 0;
  uint64_t size = uint64_t(st.st_size);
  std::ifstream in(name, std::ios::binary);
  unsigned char head[10] = {};
  if (in.read(reinterpret_cast<char*>(head), 10) && memcmp(head, "ID3", 3) == 0) {
    uint64_t tag = 10 + ((head[6] & 0x7Fu) << 21 | (head[7] & 0x7Fu) << 14 | (head[8] & 0x7Fu) << 7 | (head[9] & 0x7Fu));
    size = size > tag ? size - tag : 0;
  }
  char tail[3] = {};
  if (size > 128 && in.seekg(-128, std::ios::end) && in.read(tail, 3) && memcmp(tail, "TAG", 3) == 0) size -= 128;
  return size;
}

std::u16string QualityText(const mpg123_frameinfo2& frame, uint32_t kbps) {
  const char* mode = frame.vbr == MPG123_CBR ? "CBR" : frame.vbr == MPG123_ABR ? "ABR" : "VBR";
  return FromUtf8("Lossy, " + std::to_string(kbps) + " kbps " + mode);
}

// The stream must hold frames, and as many as its info tag announces: fewer means the file
// was cut short or damaged, which would otherwise decode as a silently shorter stream.
bool CheckStream(Decoder& d) {
  off_t announced = mpg123_framelength(d.handle);
  int code = mpg123_scan(d.handle);
  if (code != MPG123_OK) return Fail(d, "reading the MPEG stream failed: " + Reason(d.handle, code));
  off_t found = mpg123_framelength(d.handle);
  off_t length = mpg123_length(d.handle);
  if (found <= 0 || length <= 0) return Fail(d, "no MPEG audio frames found.");
  long delay = 0;
  double unused = 0;
  bool tagged = mpg123_getstate(d.handle, MPG123_ENC_DELAY, &delay, &unused) == MPG123_OK && delay >= 0;
  if (tagged && found < announced)
    return Fail(d, "the stream is truncated or damaged: " + std::to_string(found) + " of " +
                       std::to_string(announced) + " frames.");
  d.samples = length;
  return true;
}

bool OpenStream(Decoder& d) {
  if (!PrepareHandle(d)) return Fail(d, "libmpg123 could not be set up.");
  int code = mpg123_open(d.handle, d.name.c_str());
  if (code != MPG123_OK) return Fail(d, Reason(d.handle, code));
  long rate = 0;
  int channels = 0, encoding = 0;
  code = mpg123_getformat(d.handle, &rate, &channels, &encoding);
  if (code == MPG123_DONE) return Fail(d, "no MPEG audio frames found.");
  if (code != MPG123_OK) return Fail(d, "not an MPEG audio file (" + Reason(d.handle, code) + ").");
  mpg123_format_none(d.handle);
  mpg123_format(d.handle, rate, channels, encoding);  // one format for the whole stream
  d.image = MakeImage(d.asFloat, channels, rate);
  return CheckStream(d);
}

void DescribeStream(Decoder& d, TvOpenInfo& info) {
  mpg123_frameinfo2 frame{};
  mpg123_info(d.handle, &frame);
  uint64_t rate = d.image.Format.nSamplesPerSec;
  uint64_t ms = uint64_t(d.samples) * 1000 / rate;
  uint64_t bytes = AudioBytes(d.name);
  d.bitRate = ms ? uint32_t(bytes * 8000 / ms) : uint32_t(frame.bitrate) * 1000;
  if (frame.vbr == MPG123_CBR) d.bitRate = uint32_t(frame.bitrate) * 1000;
  info.format = d.image;
  info.msLength = ms;
  info.byteLength = uint64_t(d.samples) * d.image.Format.nBlockAlign;
  info.bitRate = d.bitRate;
  d.tags = MakeTagItemBlock(ReadFileTags(d.name));
  d.properties = MakeTagBlock({{TV_TAG_AUDIO_QUALITY, QualityText(frame, (d.bitRate + 500) / 1000)}});
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

}  // namespace

extern "C" {

TvInstance Create(TvHostContext* context) {
  mpg123_init();  // a no-op since 1.27; needed by older libraries
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
  if (!d.handle) return 0;
  d.data.resize(kBlockBytes);
  size_t done = 0;
  int code = mpg123_read(d.handle, d.data.data(), d.data.size(), &done);
  if (code != MPG123_OK && code != MPG123_DONE && code != MPG123_NEW_FORMAT) {
    ReportError(d.host, FromUtf8("Error: Reading '" + d.name + "' failed: " + Reason(d.handle, code)));
    return 0;
  }
  uint32_t align = d.image.Format.nBlockAlign;
  uint64_t frames = done / align;
  uint64_t rate = d.image.Format.nSamplesPerSec;
  block->data = frames ? d.data.data() : nullptr;
  block->byteCount = uint32_t(frames * align);
  block->format = d.image;
  block->bitRate = d.bitRate;
  block->msDuration = frames * 1000 / rate;
  block->msPosition = uint64_t(d.position) * 1000 / rate;
  d.position += int64_t(frames);
  block->endOfStream = code == MPG123_DONE;
  return 1;
}

// first: position in milliseconds, low half; second: the high half.
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  if (!instance || !Cast(instance)->handle) return 0;
  Decoder& d = *Cast(instance);
  uint64_t ms = (uint64_t(second) << 32) | first;
  uint64_t frame = ms * d.image.Format.nSamplesPerSec / 1000;
  if (frame > uint64_t(d.samples)) frame = uint64_t(d.samples);
  off_t at = mpg123_seek(d.handle, off_t(frame), SEEK_SET);
  if (at < 0) return 0;
  d.position = at;
  return 1;
}

int32_t DeleteATag(TvInstance, uint32_t, uint32_t) { return 0; }

}  // extern "C"
