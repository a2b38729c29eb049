// Decoder plug-in for WAV (plain and extensible), AIFF and W64 files, read with libsndfile.
#define TV_DECODER_PLUGIN
#include "PcmFormat.h"
#include "CodecSupport.h"

#include <cstring>
#include <new>
#include <sys/stat.h>

using namespace pcm;
using namespace codec;

namespace {

struct Decodable {
  const char16_t* extension;
  const char16_t* formatName;
};
const Decodable kDecodes[] = {
    {u".wav", u"Wave"}, {u".wave", u"Wave"}, {u".aif", u"Aiff"}, {u".aiff", u"Aiff"}, {u".aifc", u"Aiff"},
    {u".w64", u"Wave64"},
};
constexpr int32_t kDecodeCount = int32_t(sizeof(kDecodes) / sizeof(kDecodes[0]));
constexpr sf_count_t kFramesPerBlock = 8192;

// libsndfile's text fields and the tag keys they travel under.
struct TagField {
  int stringType;
  const char16_t* key;
};
const TagField kTagFields[] = {
    {SF_STR_TITLE, u"Title"},     {SF_STR_ARTIST, u"Artist"},   {SF_STR_ALBUM, u"Album"},
    {SF_STR_DATE, u"Year"},       {SF_STR_GENRE, u"Genre"},     {SF_STR_TRACKNUMBER, u"Track"},
    {SF_STR_COMMENT, u"Comment"}, {SF_STR_COPYRIGHT, u"Copyright"},
};

struct Decoder {
  TvHostContext host{};
  SNDFILE* file = nullptr;
  SF_INFO info{};
  SampleKind kind = SampleKind::None;
  TvWaveFormatExtensible image{};
  std::string name;
  sf_count_t position = 0;  // frames already handed out
  std::vector<uint8_t> tags;
  std::vector<uint8_t> properties;
  std::vector<uint8_t> data;
};

Decoder* Cast(TvInstance instance) { return static_cast<Decoder*>(instance); }

void CloseFile(Decoder& d) {
  if (d.file) sf_close(d.file);
  d.file = nullptr;
}

std::vector<int> ChannelMap(SNDFILE* file, int channels) {
  std::vector<int> map(size_t(channels), 0);
  if (sf_command(file, SFC_GET_CHANNEL_MAP_INFO, map.data(), int(map.size() * sizeof(int))) != SF_TRUE) map.clear();
  return map;
}

// WAVEFORMATEXTENSIBLE where the source is one or has more than two channels.
TvWaveFormatExtensible ImageOf(const Decoder& d) {
  int channels = d.info.channels;
  uint32_t mask = MaskFromMap(ChannelMap(d.file, channels));
  bool extensible = (d.info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAVEX || channels > 2;
  if (mask == 0) mask = TV_CHANNEL_MASK_UNKNOWN;
  return MakeImage(d.kind, channels, d.info.samplerate, extensible, mask);
}

std::u16string ChannelWords(int channels) {
  if (channels == 1) return u"Mono";
  if (channels == 2) return u"Stereo";
  return FromUtf8(std::to_string(channels) + " Channels");
}

std::u16string QualityText(const Decoder& d) {
  std::string rate = std::to_string(d.info.samplerate / 1000);
  if (d.info.samplerate % 1000) rate += "." + std::to_string(d.info.samplerate % 1000 / 100);
  std::string bits = std::to_string(BitsOf(d.kind)) + (IsFloat(d.kind) ? " bit float" : " bit");
  return FromUtf8(rate + " kHz, " + bits + ", ") + ChannelWords(d.info.channels);
}

void ReadTags(Decoder& d) {
  TextPairs items;
  for (const TagField& field : kTagFields) {
    const char* text = sf_get_string(d.file, field.stringType);
    if (text && *text) items.emplace_back(field.key, FromUtf8(text));
  }
  d.tags = MakeTagBlock(items);
  d.properties = MakeTagBlock({{TV_TAG_AUDIO_QUALITY, QualityText(d)}});
}

uint32_t SourceBitRate(const Decoder& d, uint64_t ms, const TvWaveFormatExtensible& image) {
  int sub = d.info.format & SF_FORMAT_SUBMASK;
  bool plain = sub == SF_FORMAT_PCM_S8 || sub == SF_FORMAT_PCM_U8 || sub == SF_FORMAT_PCM_16 ||
               sub == SF_FORMAT_PCM_24 || sub == SF_FORMAT_PCM_32 || sub == SF_FORMAT_FLOAT || sub == SF_FORMAT_DOUBLE;
  struct stat st{};
  if (plain || ms == 0 || stat(d.name.c_str(), &st) != 0) return image.Format.nAvgBytesPerSec * 8;
  return uint32_t(uint64_t(st.st_size) * 8000 / ms);  // a coded source: its average over the file
}

// libsndfile's reason, except for an empty file, which it calls an unknown format.
std::string OpenFailure(const std::string& name) {
  std::string reason = sf_strerror(nullptr);
  struct stat st{};
  if (stat(name.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size == 0) reason = "the file is empty.";
  return reason;
}

bool Fail(Decoder& d, const std::string& text) {
  ReportError(d.host, FromUtf8(text));
  CloseFile(d);
  return false;
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
  // Stop requests and quality hints do not matter to a reader of whole files.
  return EqualsNoCase(key, TV_KEY_EVENT_QUIT) || EqualsNoCase(key, TV_KEY_BATCH_ID) ||
         EqualsNoCase(key, TV_KEY_DECODE_AS);
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  if (!instance || !info) return 0;
  Decoder& d = *Cast(instance);
  CloseFile(d);
  d.name = ToUtf8(View(info->fileName));
  d.info = SF_INFO{};
  d.position = 0;
  d.file = sf_open(d.name.c_str(), SFM_READ, &d.info);
  if (!d.file) return Fail(d, "Error: Unable to open file '" + d.name + "': " + OpenFailure(d.name));
  int container = d.info.format & SF_FORMAT_TYPEMASK;
  if (container != SF_FORMAT_WAV && container != SF_FORMAT_WAVEX && container != SF_FORMAT_AIFF &&
      container != SF_FORMAT_W64 && container != SF_FORMAT_RF64)
    return Fail(d, "Error: Unable to open file '" + d.name + "': not a WAV, AIFF or W64 file.");
  if (d.info.channels <= 0 || d.info.channels > 0xFFFF || d.info.samplerate <= 0 || d.info.frames < 0)
    return Fail(d, "Error: Unable to open file '" + d.name + "': the format header is damaged.");
  d.kind = KindOfSubFormat(d.info.format & SF_FORMAT_SUBMASK);
  sf_command(d.file, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
  d.image = ImageOf(d);
  const TvWaveFormatExtensible& image = d.image;
  info->format = image;
  info->msLength = uint64_t(d.info.frames) * 1000 / uint64_t(d.info.samplerate);
  info->byteLength = uint64_t(d.info.frames) * image.Format.nBlockAlign;
  info->bitRate = SourceBitRate(d, info->msLength, image);
  ReadTags(d);
  info->idTags = d.tags.data();
  info->idTagsSize = uint32_t(d.tags.size());
  info->properties = d.properties.data();
  info->propertiesSize = uint32_t(d.properties.size());
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
  if (!d.file) return 0;
  const TvWaveFormatExtensible& image = d.image;
  sf_count_t got = ReadFrames(d.file, d.kind, d.info.channels, kFramesPerBlock, d.data);
  if (got < 0 || sf_error(d.file) != SF_ERR_NO_ERROR) {
    ReportError(d.host, FromUtf8("Error: Reading '" + d.name + "' failed: " + sf_strerror(d.file)));
    return 0;
  }
  uint64_t rate = uint64_t(d.info.samplerate);
  block->data = got > 0 ? d.data.data() : nullptr;
  block->byteCount = uint32_t(got) * image.Format.nBlockAlign;
  block->format = image;
  block->bitRate = image.Format.nAvgBytesPerSec * 8;
  block->msDuration = uint64_t(got) * 1000 / rate;
  block->msPosition = uint64_t(d.position) * 1000 / rate;
  d.position += got;
  block->endOfStream = got < kFramesPerBlock || d.position >= d.info.frames;
  return 1;
}

// first: position in milliseconds, low half; second: the high half.
int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  if (!instance || !Cast(instance)->file) return 0;
  Decoder& d = *Cast(instance);
  uint64_t ms = (uint64_t(second) << 32) | first;
  uint64_t frame = ms * uint64_t(d.info.samplerate) / 1000;
  if (frame > uint64_t(d.info.frames)) frame = uint64_t(d.info.frames);
  sf_count_t at = sf_seek(d.file, sf_count_t(frame), SEEK_SET);
  if (at < 0) return 0;
  d.position = at;
  return 1;
}

int32_t DeleteATag(TvInstance, uint32_t, uint32_t) { return 0; }

}  // extern "C"
