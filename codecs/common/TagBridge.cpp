// Tags of audio files: the type is found from the file's first bytes, then each type is read
// and written through its TagLib class and tag family.
#include "codecs/common/TagBridge.h"

#include <taglib/aifffile.h>
#include <taglib/apefile.h>
#include <taglib/flacfile.h>
#include <taglib/id3v1tag.h>
#include <taglib/infotag.h>
#include <taglib/mpcfile.h>
#include <taglib/mpegfile.h>
#include <taglib/oggflacfile.h>
#include <taglib/opusfile.h>
#include <taglib/speexfile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "codecs/common/CodecSupport.h"
#include "codecs/common/TagFamilies.h"
#include "codecs/common/TagMapping.h"

namespace codec {

namespace {

using namespace TagLib;
using namespace tagfamily;

enum class Kind {
  Unreadable,
  Unknown,
  Flac,
  Mpeg,
  Vorbis,
  Opus,
  OggFlac,
  Speex,
  WavPack,
  Monkey,
  Musepack,
  Wav,
  Aiff
};

// Enough of the file's start to find two MPEG frames behind any junk.
constexpr size_t kHeadSize = 16384;

bool Has(const std::string& head, size_t at, const char* magic) {
  return head.compare(at, std::strlen(magic), magic) == 0;
}

// An ID3v2 tag may stand before the audio of several types; its length is skipped.
size_t Id3v2Length(const std::string& head) {
  if (head.size() < 10 || !Has(head, 0, "ID3")) return 0;
  size_t size = 0;
  for (int i = 6; i < 10; ++i) size = (size << 7) | (uint8_t(head[i]) & 0x7F);
  bool footer = (uint8_t(head[5]) & 0x10) != 0;
  return 10 + size + (footer ? 10 : 0);
}

Kind OggKind(const std::string& head) {
  if (head.size() < 28) return Kind::Unknown;
  size_t payload = 27 + uint8_t(head[26]);
  if (Has(head, payload, "\x01vorbis")) return Kind::Vorbis;
  if (Has(head, payload, "OpusHead")) return Kind::Opus;
  if (Has(head, payload,
          "\x7F"
          "FLAC"))
    return Kind::OggFlac;
  if (Has(head, payload, "Speex   ")) return Kind::Speex;
  return Kind::Unknown;
}

// The length of the MPEG audio frame whose header stands at p; 0 if it is no valid header.
size_t MpegFrameLength(const uint8_t* p) {
  static const int kBitrates[2][3][15] = {
      {{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
       {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
       {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}},
      {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
       {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
       {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}}};
  static const int kRates[3] = {44100, 48000, 32000};
  int version = (p[1] >> 3) & 3, layer = 4 - ((p[1] >> 1) & 3);
  int bitrateIndex = p[2] >> 4, rateIndex = (p[2] >> 2) & 3, padding = (p[2] >> 1) & 1;
  if (p[0] != 0xFF || (p[1] & 0xE0) != 0xE0 || version == 1 || layer == 4 || bitrateIndex == 0 ||
      bitrateIndex == 15 || rateIndex == 3)
    return 0;
  bool mpeg1 = version == 3;
  int bitrate = kBitrates[mpeg1 ? 0 : 1][layer - 1][bitrateIndex] * 1000;
  int rate = kRates[rateIndex] >> (mpeg1 ? 0 : version == 2 ? 1 : 2);
  if (layer == 1) return size_t((12 * bitrate / rate + padding) * 4);
  int perSample = layer == 3 && !mpeg1 ? 72 : 144;
  return size_t(perSample * bitrate / rate + padding);
}

// MPEG audio has no magic: two frames in a row near the start make it.
bool IsMpegStream(const std::string& head) {
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(head.data());
  for (size_t at = 0; at + 4 <= head.size(); ++at) {
    size_t length = MpegFrameLength(bytes + at);
    if (length && at + length + 4 <= head.size() && MpegFrameLength(bytes + at + length))
      return true;
  }
  return false;
}

Kind KindOfHead(const std::string& head) {
  if (Has(head, 0, "fLaC")) return Kind::Flac;
  if (Has(head, 0, "OggS")) return OggKind(head);
  if (Has(head, 0, "wvpk")) return Kind::WavPack;
  if (Has(head, 0, "MAC ")) return Kind::Monkey;
  if (Has(head, 0, "MPCK") || Has(head, 0, "MP+")) return Kind::Musepack;
  if (Has(head, 0, "RIFF") && Has(head, 8, "WAVE")) return Kind::Wav;
  if (Has(head, 0, "FORM") && (Has(head, 8, "AIFF") || Has(head, 8, "AIFC"))) return Kind::Aiff;
  return IsMpegStream(head) ? Kind::Mpeg : Kind::Unknown;
}

std::string ReadHead(std::ifstream& in, size_t at, size_t size) {
  std::string head(size, '\0');
  in.clear();
  in.seekg(std::streamoff(at));
  in.read(head.data(), std::streamsize(size));
  head.resize(size_t(std::max<std::streamsize>(in.gcount(), 0)));
  return head;
}

// The type by content, so that a file whose name hides its type is still found.
Kind DetectKind(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return Kind::Unreadable;
  std::string head = ReadHead(in, Id3v2Length(ReadHead(in, 0, 10)), kHeadSize);
  return KindOfHead(head);
}

// --- Reading ---

template <typename OggFile>
TagItems ReadOgg(const char* path) {
  TagItems items;
  OggFile file(path, false);
  if (!file.isValid() || !file.tag()) return items;
  ReadXiph(*file.tag(), items);
  AppendPictures(file.tag()->pictureList(), items);
  return items;
}

TagItems ReadFlac(const char* path) {
  TagItems items;
  FLAC::File file(path, false);
  if (!file.isValid()) return items;
  if (file.hasXiphComment()) ReadXiph(*file.xiphComment(), items);
  AppendPictures(file.pictureList(), items);
  return items;
}

TagItems ReadMpeg(const char* path) {
  TagItems items;
  MPEG::File file(path, false);
  if (!file.isValid()) return items;
  if (file.hasID3v2Tag() && !file.ID3v2Tag()->isEmpty()) {
    ReadId3(*file.ID3v2Tag(), items);
  } else if (file.hasAPETag()) {
    ReadApe(*file.APETag(), items);
  } else if (file.hasID3v1Tag()) {
    tagmap::AppendProperties(file.ID3v1Tag()->properties(), tagmap::Family::Id3, items);
  }
  return items;
}

template <typename ApeFile>
TagItems ReadApeFile(const char* path) {
  TagItems items;
  ApeFile file(path, false);
  if (!file.isValid()) return items;
  if (file.hasAPETag())
    ReadApe(*file.APETag(), items);
  else if (file.hasID3v1Tag())
    tagmap::AppendProperties(file.ID3v1Tag()->properties(), tagmap::Family::Id3, items);
  return items;
}

TagItems ReadWav(const char* path) {
  TagItems items;
  RIFF::WAV::File file(path, false);
  if (!file.isValid()) return items;
  if (file.hasID3v2Tag())
    ReadId3(*file.ID3v2Tag(), items);
  else if (file.hasInfoTag())
    tagmap::AppendProperties(file.InfoTag()->properties(), tagmap::Family::Id3, items);
  return items;
}

TagItems ReadAiff(const char* path) {
  TagItems items;
  RIFF::AIFF::File file(path, false);
  if (file.isValid() && file.hasID3v2Tag()) ReadId3(*file.tag(), items);
  return items;
}

// --- Writing ---

// A FLAC metadata block's length has 24 bits: a larger picture can't be stored.
constexpr unsigned kMaxFlacBlock = 0xFFFFFF;

enum class Outcome { Saved, CantOpen, Damaged, ReadOnly, SaveFailed };

// Opens the file as its type, lets fill change and save it, and tells how that went.
template <typename AnyFile, typename Fill>
Outcome Rewrite(const char* path, Fill fill) {
  AnyFile file(path, false);
  if (!file.isOpen()) return Outcome::CantOpen;
  if (!file.isValid()) return Outcome::Damaged;
  if (file.readOnly()) return Outcome::ReadOnly;
  return fill(file) ? Outcome::Saved : Outcome::SaveFailed;
}

template <typename OggFile>
Outcome WriteOgg(const char* path, const TagItems& items) {
  return Rewrite<OggFile>(path, [&](OggFile& file) {
    if (!file.tag()) return false;
    WriteXiph(*file.tag(), items, true);
    return file.save();
  });
}

Outcome WriteFlac(const char* path, const TagItems& items) {
  return Rewrite<FLAC::File>(path, [&](FLAC::File& file) {
    file.removePictures();
    WriteXiph(*file.xiphComment(true), items, false);
    for (FLAC::Picture* picture : MakeFlacPictures(items)) {
      if (picture->render().size() <= kMaxFlacBlock)
        file.addPicture(picture);
      else
        delete picture;
    }
    file.strip(FLAC::File::ID3v1 | FLAC::File::ID3v2);
    return file.save();
  });
}

Outcome WriteMpeg(const char* path, const TagItems& items) {
  return Rewrite<MPEG::File>(path, [&](MPEG::File& file) {
    WriteId3(*file.ID3v2Tag(true), items);
    return file.save(MPEG::File::ID3v2, File::StripOthers, ID3v2::v4, File::DoNotDuplicate);
  });
}

template <typename ApeFile>
Outcome WriteApeFile(const char* path, const TagItems& items) {
  return Rewrite<ApeFile>(path, [&](ApeFile& file) {
    file.strip(ApeFile::ID3v1);
    WriteApe(*file.APETag(true), items);
    return file.save();
  });
}

Outcome WriteWav(const char* path, const TagItems& items) {
  return Rewrite<RIFF::WAV::File>(path, [&](RIFF::WAV::File& file) {
    WriteId3(*file.ID3v2Tag(), items);
    return file.save(RIFF::WAV::File::ID3v2, File::StripOthers, ID3v2::v4);
  });
}

Outcome WriteAiff(const char* path, const TagItems& items) {
  return Rewrite<RIFF::AIFF::File>(path, [&](RIFF::AIFF::File& file) {
    WriteId3(*file.tag(), items);
    return file.save(ID3v2::v4);
  });
}

Outcome WriteKind(Kind kind, const char* path, const TagItems& items) {
  switch (kind) {
    case Kind::Flac:
      return WriteFlac(path, items);
    case Kind::Mpeg:
      return WriteMpeg(path, items);
    case Kind::Vorbis:
      return WriteOgg<Ogg::Vorbis::File>(path, items);
    case Kind::Opus:
      return WriteOgg<Ogg::Opus::File>(path, items);
    case Kind::OggFlac:
      return WriteOgg<Ogg::FLAC::File>(path, items);
    case Kind::Speex:
      return WriteOgg<Ogg::Speex::File>(path, items);
    case Kind::WavPack:
      return WriteApeFile<WavPack::File>(path, items);
    case Kind::Monkey:
      return WriteApeFile<APE::File>(path, items);
    case Kind::Musepack:
      return WriteApeFile<MPC::File>(path, items);
    case Kind::Wav:
      return WriteWav(path, items);
    case Kind::Aiff:
      return WriteAiff(path, items);
    default:
      return Outcome::CantOpen;
  }
}

std::u16string OutcomeText(Outcome outcome, const std::string& path) {
  std::u16string name = u"'" + FromUtf8(path) + u"'";
  switch (outcome) {
    case Outcome::CantOpen:
      return u"The file " + name + u" can't be opened to write its tags.";
    case Outcome::Damaged:
      return u"The file " + name + u" is damaged, so its tags can't be written.";
    case Outcome::ReadOnly:
      return u"The file " + name + u" is read-only, so its tags can't be written.";
    case Outcome::SaveFailed:
      return u"The tags could not be saved to " + name + u".";
    default:
      return {};
  }
}

}  // namespace

TagItems ReadFileTags(const std::string& path) {
  const char* name = path.c_str();
  switch (DetectKind(path)) {
    case Kind::Flac:
      return ReadFlac(name);
    case Kind::Mpeg:
      return ReadMpeg(name);
    case Kind::Vorbis:
      return ReadOgg<Ogg::Vorbis::File>(name);
    case Kind::Opus:
      return ReadOgg<Ogg::Opus::File>(name);
    case Kind::OggFlac:
      return ReadOgg<Ogg::FLAC::File>(name);
    case Kind::Speex:
      return ReadOgg<Ogg::Speex::File>(name);
    case Kind::WavPack:
      return ReadApeFile<WavPack::File>(name);
    case Kind::Monkey:
      return ReadApeFile<APE::File>(name);
    case Kind::Musepack:
      return ReadApeFile<MPC::File>(name);
    case Kind::Wav:
      return ReadWav(name);
    case Kind::Aiff:
      return ReadAiff(name);
    default:
      return {};
  }
}

bool WriteFileTags(const std::string& path, const TagItems& items, std::u16string* error) {
  Kind kind = DetectKind(path);
  std::u16string text;
  if (kind == Kind::Unreadable)
    text = OutcomeText(Outcome::CantOpen, path);
  else if (kind == Kind::Unknown)
    text = u"The file '" + FromUtf8(path) + u"' is not of a type that holds tags.";
  else
    text = OutcomeText(WriteKind(kind, path.c_str(), items), path);
  if (error) *error = text;
  return text.empty();
}

}  // namespace codec
