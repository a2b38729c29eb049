// Decoder plug-in for WAV (plain and extensible), AIFF and W64 files, read with libsndfile.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/DecoderPlugin.h"
#include "codecs/common/TagItemBlock.h"
#include "codecs/pcm/PcmFormat.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>
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

// Where a file's audio data starts and how many bytes its header says it holds.
struct DataChunk {
  uint64_t start = 0;
  uint64_t size = 0;
};

uint64_t Little(const uint8_t* p, int bytes) {
  uint64_t v = 0;
  for (int i = bytes - 1; i >= 0; --i) v = v << 8 | p[i];
  return v;
}
uint64_t Big(const uint8_t* p, int bytes) {
  uint64_t v = 0;
  for (int i = 0; i < bytes; ++i) v = v << 8 | p[i];
  return v;
}

// Walks the chunks of a RIFF, RIFX, RF64, AIFF or W64 file to its data chunk; false when there is
// none or its size is left open, as a stream written to a pipe leaves it.
bool FindDataChunk(FILE* file, DataChunk& data) {
  uint8_t head[24];
  if (fread(head, 1, 12, file) != 12) return false;
  const bool riff = !memcmp(head, "RIFF", 4) || !memcmp(head, "RIFX", 4);
  const bool rf64 = !memcmp(head, "RF64", 4);
  const bool aiff = !memcmp(head, "FORM", 4);
  const bool w64 = !memcmp(head, "riff", 4);
  if (!riff && !rf64 && !aiff && !w64) return false;
  const bool big = aiff || !memcmp(head, "RIFX", 4);
  // W64: a 16-byte name and an 8-byte size that counts the header; the rest 4 and 4.
  const int nameBytes = w64 ? 16 : 4, sizeBytes = w64 ? 8 : 4, align = w64 ? 8 : 2;
  uint64_t at = w64 ? 40 : 12;
  uint64_t rf64Data = 0;
  while (fseeko(file, off_t(at), SEEK_SET) == 0 &&
         fread(head, 1, size_t(nameBytes + sizeBytes), file) == size_t(nameBytes + sizeBytes)) {
    uint64_t size = big ? Big(head + 4, 4) : Little(head + nameBytes, sizeBytes);
    uint64_t body = at + uint64_t(nameBytes + sizeBytes);
    if (w64) size = size >= 24 ? size - 24 : 0;
    uint8_t field[16];
    if (rf64 && !memcmp(head, "ds64", 4) && fread(field, 1, 16, file) == 16)
      rf64Data = Little(field + 8, 8);  // behind the size of the whole file
    if (!memcmp(head, aiff ? "SSND" : "data", 4)) {
      if (aiff) {
        if (size < 8 || fread(head, 1, 4, file) != 4) return false;
        uint64_t offset = Big(head, 4);
        data.start = body + 8 + offset;
        data.size = size - 8 > offset ? size - 8 - offset : 0;
        return true;
      }
      if (rf64 && size == 0xFFFFFFFFu) size = rf64Data;
      data.start = body;
      data.size = size;
      return w64 || rf64 || (size != 0 && size != 0xFFFFFFFFu);
    }
    uint64_t next = body + (size + uint64_t(align - 1)) / uint64_t(align) * uint64_t(align);
    if (next <= at) return false;  // a size that wraps around would walk in circles
    at = next;
  }
  return false;
}

// The sample frames the header announces, when it announces more data than the file holds. A
// coded sub-format (frameBytes 0) has no fixed frame size and is not checked.
uint64_t AnnouncedFrames(const std::string& name, int frameBytes) {
  FILE* file = frameBytes > 0 ? fopen(name.c_str(), "rb") : nullptr;
  if (!file) return 0;
  DataChunk data;
  bool found = FindDataChunk(file, data);
  bool sized = fseeko(file, 0, SEEK_END) == 0;
  uint64_t fileSize = sized ? uint64_t(ftello(file)) : 0;
  fclose(file);
  if (!found || !sized || data.start > fileSize || data.size <= fileSize - data.start) return 0;
  return data.size / uint64_t(frameBytes);
}

// Bytes per frame of the sub-formats that store each sample in a fixed width; 0 for the others.
int FrameBytes(int subFormat, int channels) {
  switch (subFormat) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
      return channels;
    case SF_FORMAT_PCM_16:
      return 2 * channels;
    case SF_FORMAT_PCM_24:
      return 3 * channels;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_FLOAT:
      return 4 * channels;
    case SF_FORMAT_DOUBLE:
      return 8 * channels;
    default:
      return 0;
  }
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
  // The reader gives what is there without a word when the data is cut short.
  uint64_t announced =
      AnnouncedFrames(name, FrameBytes(info.format & SF_FORMAT_SUBMASK, info.channels));
  if (announced > uint64_t(info.frames))
    return FailOpen("the stream is truncated: " + std::to_string(info.frames) + " of " +
                    std::to_string(announced) + " samples.");
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
