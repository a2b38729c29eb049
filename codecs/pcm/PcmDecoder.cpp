// Decoder plug-in for WAV (plain and extensible), AIFF and W64 files, read with libsndfile.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/DecoderPlugin.h"
#include "codecs/common/TagItemBlock.h"
#include "codecs/pcm/PcmFormat.h"

#include <sys/stat.h>
#include <new>

using namespace pcm;
using namespace codec;

namespace {

const DecodedType kTypes[] = {
    {u".wav", u"Wave"},  {u".wave", u"Wave"}, {u".aif", u"Aiff"},
    {u".aiff", u"Aiff"}, {u".aifc", u"Aiff"}, {u".w64", u"Wave64"},
};
constexpr sf_count_t kFramesPerBlock = 8192;

// libsndfile's text fields and the tag keys they travel under.
struct TagField {
  int stringType;
  const char16_t* key;
};
const TagField kTagFields[] = {
    {SF_STR_TITLE, u"Title"},     {SF_STR_ARTIST, u"Artist"},       {SF_STR_ALBUM, u"Album"},
    {SF_STR_DATE, u"Year"},       {SF_STR_GENRE, u"Genre"},         {SF_STR_TRACKNUMBER, u"Track"},
    {SF_STR_COMMENT, u"Comment"}, {SF_STR_COPYRIGHT, u"Copyright"},
};

std::vector<int> ChannelMap(SNDFILE* file, int channels) {
  std::vector<int> map(size_t(channels), 0);
  if (sf_command(file, SFC_GET_CHANNEL_MAP_INFO, map.data(), int(map.size() * sizeof(int))) !=
      SF_TRUE)
    map.clear();
  return map;
}

std::u16string ChannelWords(int channels) {
  if (channels == 1) return u"Mono";
  if (channels == 2) return u"Stereo";
  return FromUtf8(std::to_string(channels) + " Channels");
}

// libsndfile's reason, except for an empty file, which it calls an unknown format.
std::string OpenFailure(const std::string& name) {
  std::string reason = sf_strerror(nullptr);
  struct stat st {};
  if (stat(name.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size == 0)
    reason = "the file is empty.";
  return reason;
}

class PcmDecoder : public DecoderPlugin {
 protected:
  bool OpenStream() override;
  Description Describe() override;
  bool IsOpen() const override { return file != nullptr; }
  void CloseStream() override;
  bool Decode(DecodedAudio& audio) override;
  int64_t Seek(uint64_t frame, uint64_t ms) override;
  uint32_t BlockBitRate() const override { return image.Format.nAvgBytesPerSec * 8; }

 private:
  TvWaveFormatExtensible ImageOf() const;
  std::u16string QualityText() const;
  std::vector<uint8_t> ReadTags() const;
  uint32_t SourceBitRate() const;

  SNDFILE* file = nullptr;
  SF_INFO info{};
  SampleKind kind = SampleKind::None;
  std::vector<uint8_t> data;
};

void PcmDecoder::CloseStream() {
  if (file) sf_close(file);
  file = nullptr;
}

bool PcmDecoder::OpenStream() {
  info = SF_INFO{};
  file = sf_open(name.c_str(), SFM_READ, &info);
  if (!file) return FailOpen(OpenFailure(name));
  int container = info.format & SF_FORMAT_TYPEMASK;
  if (container != SF_FORMAT_WAV && container != SF_FORMAT_WAVEX && container != SF_FORMAT_AIFF &&
      container != SF_FORMAT_W64 && container != SF_FORMAT_RF64)
    return FailOpen("not a WAV, AIFF or W64 file.");
  if (info.channels <= 0 || info.channels > 0xFFFF || info.samplerate <= 0 || info.frames < 0)
    return FailOpen("the format header is damaged.");
  kind = KindOfSubFormat(info.format & SF_FORMAT_SUBMASK);
  sf_command(file, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
  image = ImageOf();
  frames = info.frames;
  return true;
}

// WAVEFORMATEXTENSIBLE where the source is one or has more than two channels.
TvWaveFormatExtensible PcmDecoder::ImageOf() const {
  int channels = info.channels;
  uint32_t mask = MaskFromMap(ChannelMap(file, channels));
  bool extensible = (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAVEX || channels > 2;
  if (mask == 0) mask = TV_CHANNEL_MASK_UNKNOWN;
  return MakeImage(kind, channels, info.samplerate, extensible, mask);
}

Description PcmDecoder::Describe() {
  bitRate = SourceBitRate();
  return {ReadTags(), QualityText()};
}

uint32_t PcmDecoder::SourceBitRate() const {
  int sub = info.format & SF_FORMAT_SUBMASK;
  bool plain = sub == SF_FORMAT_PCM_S8 || sub == SF_FORMAT_PCM_U8 || sub == SF_FORMAT_PCM_16 ||
               sub == SF_FORMAT_PCM_24 || sub == SF_FORMAT_PCM_32 || sub == SF_FORMAT_FLOAT ||
               sub == SF_FORMAT_DOUBLE;
  uint64_t ms = MsOf(uint64_t(frames));
  struct stat st {};
  if (plain || ms == 0 || stat(name.c_str(), &st) != 0) return image.Format.nAvgBytesPerSec * 8;
  return uint32_t(uint64_t(st.st_size) * 8000 / ms);  // a coded source: its average over the file
}

std::u16string PcmDecoder::QualityText() const {
  std::string rate = std::to_string(info.samplerate / 1000);
  if (info.samplerate % 1000) rate += "." + std::to_string(info.samplerate % 1000 / 100);
  std::string bits = std::to_string(BitsOf(kind)) + (IsFloat(kind) ? " bit float" : " bit");
  return FromUtf8(rate + " kHz, " + bits + ", ") + ChannelWords(info.channels);
}

// The file's own text fields: libsndfile reads them, so TagLib is not needed here.
std::vector<uint8_t> PcmDecoder::ReadTags() const {
  TagItems items;
  for (const TagField& field : kTagFields) {
    const char* text = sf_get_string(file, field.stringType);
    if (text && *text) items.push_back({field.key, FromUtf8(text), {}});
  }
  return MakeTagItemBlock(items);
}

bool PcmDecoder::Decode(DecodedAudio& audio) {
  sf_count_t got = ReadFrames(file, kind, info.channels, kFramesPerBlock, data);
  if (got < 0 || sf_error(file) != SF_ERR_NO_ERROR) return FailRead(sf_strerror(file));
  audio.data = data.data();
  audio.frames = uint64_t(got);
  audio.end = got < kFramesPerBlock || position + got >= info.frames;
  return true;
}

int64_t PcmDecoder::Seek(uint64_t frame, uint64_t) {
  sf_count_t at = sf_seek(file, sf_count_t(frame), SEEK_SET);
  return at < 0 ? -1 : at;
}

}  // namespace

std::span<const DecodedType> codec::DecodedTypes() { return kTypes; }
DecoderPlugin* codec::NewDecoder() { return new (std::nothrow) PcmDecoder; }
