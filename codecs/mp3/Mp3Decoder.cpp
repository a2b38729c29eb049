// Decoder plug-in for MPEG audio layers III and II, read with libmpg123: gapless where the
// stream's info tag gives encoder delay and padding, 16-bit output or float on request.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/DecoderTags.h"

#include <mpg123.h>

#include <sys/stat.h>
#include <cstring>
#include <fstream>
#include <new>

using namespace codec;

namespace {

const DecodedType kTypes[] = {{u".mp3", u"MP3"}, {u".mp2", u"MP2"}};
constexpr size_t kBlockBytes = 1152 * 2 * 4 * 8;

std::string Reason(mpg123_handle* handle, int code) {
  return code == MPG123_ERR && handle ? mpg123_strerror(handle) : mpg123_plain_strerror(code);
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
  struct stat st {};
  if (stat(name.c_str(), &st) != 0) return 0;
  uint64_t size = uint64_t(st.st_size);
  std::ifstream in(name, std::ios::binary);
  unsigned char head[10] = {};
  if (in.read(reinterpret_cast<char*>(head), 10) && memcmp(head, "ID3", 3) == 0) {
    uint64_t tag = 10 + ((head[6] & 0x7Fu) << 21 | (head[7] & 0x7Fu) << 14 |
                         (head[8] & 0x7Fu) << 7 | (head[9] & 0x7Fu));
    size = size > tag ? size - tag : 0;
  }
  char tail[3] = {};
  if (size > 128 && in.seekg(-128, std::ios::end) && in.read(tail, 3) &&
      memcmp(tail, "TAG", 3) == 0)
    size -= 128;
  return size;
}

std::u16string QualityText(const mpg123_frameinfo2& frame, uint32_t kbps) {
  const char* mode = frame.vbr == MPG123_CBR ? "CBR" : frame.vbr == MPG123_ABR ? "ABR" : "VBR";
  return FromUtf8("Lossy, " + std::to_string(kbps) + " kbps " + mode);
}

class Mp3Decoder : public TaggedDecoder {
 protected:
  bool OpenStream() override;
  Description Describe() override;
  bool IsOpen() const override { return handle != nullptr; }
  void CloseStream() override;
  bool Decode(DecodedAudio& audio) override;
  int64_t Seek(uint64_t frame, uint64_t ms) override;

 private:
  bool PrepareHandle();
  bool CheckStream();

  mpg123_handle* handle = nullptr;
  std::vector<uint8_t> data;
};

void Mp3Decoder::CloseStream() {
  if (handle) mpg123_delete(handle);
  handle = nullptr;
}

// Every rate libmpg123 knows, mono and stereo, in the one sample encoding we hand out.
bool Mp3Decoder::PrepareHandle() {
  int code = MPG123_OK;
  handle = mpg123_new(nullptr, &code);
  if (!handle) return false;
  mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_GAPLESS | MPG123_SKIP_ID3V2, 0);
  mpg123_format_none(handle);
  const long* rates = nullptr;
  size_t count = 0;
  mpg123_rates(&rates, &count);
  int encoding = asFloat ? MPG123_ENC_FLOAT_32 : MPG123_ENC_SIGNED_16;
  for (size_t i = 0; i < count; ++i)
    mpg123_format(handle, rates[i], MPG123_MONO | MPG123_STEREO, encoding);
  return true;
}

// The stream must hold frames, and as many as its info tag announces: fewer means the file
// was cut short or damaged, which would otherwise decode as a silently shorter stream.
bool Mp3Decoder::CheckStream() {
  off_t announced = mpg123_framelength(handle);
  int code = mpg123_scan(handle);
  if (code != MPG123_OK) return FailOpen("reading the MPEG stream failed: " + Reason(handle, code));
  off_t found = mpg123_framelength(handle);
  off_t length = mpg123_length(handle);
  if (found <= 0 || length <= 0) return FailOpen("no MPEG audio frames found.");
  long delay = 0;
  double unused = 0;
  bool tagged =
      mpg123_getstate(handle, MPG123_ENC_DELAY, &delay, &unused) == MPG123_OK && delay >= 0;
  if (tagged && found < announced)
    return FailOpen("the stream is truncated or damaged: " + std::to_string(found) + " of " +
                    std::to_string(announced) + " frames.");
  frames = length;
  return true;
}

bool Mp3Decoder::OpenStream() {
  if (!PrepareHandle()) return FailOpen("libmpg123 could not be set up.");
  int code = mpg123_open(handle, name.c_str());
  if (code != MPG123_OK) return FailOpen(Reason(handle, code));
  long rate = 0;
  int channels = 0, encoding = 0;
  code = mpg123_getformat(handle, &rate, &channels, &encoding);
  if (code == MPG123_DONE) return FailOpen("no MPEG audio frames found.");
  if (code != MPG123_OK) return FailOpen("not an MPEG audio file (" + Reason(handle, code) + ").");
  mpg123_format_none(handle);
  mpg123_format(handle, rate, channels, encoding);  // one format for the whole stream
  image = MakeImage(asFloat, channels, rate);
  return CheckStream();
}

Description Mp3Decoder::Describe() {
  mpg123_frameinfo2 frame{};
  mpg123_info(handle, &frame);
  uint64_t ms = MsOf(uint64_t(frames));
  uint64_t bytes = AudioBytes(name);
  bitRate = ms ? uint32_t(bytes * 8000 / ms) : uint32_t(frame.bitrate) * 1000;
  if (frame.vbr == MPG123_CBR) bitRate = uint32_t(frame.bitrate) * 1000;
  return {FileTags(), QualityText(frame, (bitRate + 500) / 1000)};
}

bool Mp3Decoder::Decode(DecodedAudio& audio) {
  data.resize(kBlockBytes);
  size_t done = 0;
  int code = mpg123_read(handle, data.data(), data.size(), &done);
  if (code != MPG123_OK && code != MPG123_DONE && code != MPG123_NEW_FORMAT)
    return FailRead(Reason(handle, code));
  audio.data = data.data();
  audio.frames = done / image.Format.nBlockAlign;
  audio.end = code == MPG123_DONE;
  return true;
}

int64_t Mp3Decoder::Seek(uint64_t frame, uint64_t) {
  off_t at = mpg123_seek(handle, off_t(frame), SEEK_SET);
  return at < 0 ? -1 : int64_t(at);
}

}  // namespace

std::span<const DecodedType> codec::DecodedTypes() { return kTypes; }

DecoderPlugin* codec::NewDecoder() {
  mpg123_init();  // a no-op since 1.27; needed by older libraries
  return new (std::nothrow) Mp3Decoder;
}
