// The Vorbis comment field that carries a WAV channel mask in a FLAC file, as other FLAC tools
// write it ("0x0033"): the channels then lie in WAV order for that mask.
#pragma once
#include <FLAC/metadata.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace flacmask {

inline constexpr char kField[] = "WAVEFORMATEXTENSIBLE_CHANNEL_MASK";

// The speakers a FLAC reader takes for each channel count when no mask field is given; from five
// channels on they are not those a WAV file takes.
inline uint32_t Assumed(int channels) {
  // mono, stereo, 3.0, quad, 5.0 and 5.1 with side speakers, 6.1, 7.1
  static const uint32_t kMasks[] = {0x4, 0x3, 0x7, 0x33, 0x607, 0x60F, 0x70F, 0x63F};
  return channels >= 1 && channels <= 8 ? kMasks[channels - 1] : 0;
}

inline std::string Format(uint32_t mask) {
  char text[16];
  snprintf(text, sizeof text, "0x%04X", unsigned(mask));
  return text;
}

// The mask in a "0x..." value; 0 for anything else.
inline uint32_t Parse(const char* value) {
  if (!value || value[0] != '0' || (value[1] != 'x' && value[1] != 'X') || !value[2]) return 0;
  char* end = nullptr;
  unsigned long mask = strtoul(value + 2, &end, 16);
  return *end == '\0' && mask <= 0xFFFFFFFFul ? uint32_t(mask) : 0;
}

// The mask field's value in a VORBIS_COMMENT block, or "" when it has none.
inline std::string Find(const FLAC__StreamMetadata* comments) {
  if (!comments || comments->type != FLAC__METADATA_TYPE_VORBIS_COMMENT) return "";
  int at = FLAC__metadata_object_vorbiscomment_find_entry_from(comments, 0, kField);
  if (at < 0) return "";
  const FLAC__StreamMetadata_VorbisComment_Entry& entry =
      comments->data.vorbis_comment.comments[at];
  const char* text = reinterpret_cast<const char*>(entry.entry);
  const char* equals = static_cast<const char*>(memchr(text, '=', entry.length));
  return equals ? std::string(equals + 1, text + entry.length) : "";
}

}  // namespace flacmask
