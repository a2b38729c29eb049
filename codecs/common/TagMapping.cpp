// Key names, number pairs and picture keys between tag items and TagLib's fields.
#include "codecs/common/TagMapping.h"

#include <algorithm>
#include <cstring>

#include "codecs/common/CodecSupport.h"

namespace codec::tagmap {

namespace {

// Our key and TagLib's property name; id3 replaces the name for ID3v2 where it differs.
struct KeyName {
  const char16_t* ours;
  const char* property;
  const char* id3 = nullptr;
};

const KeyName kKeys[] = {
    {u"Title", "TITLE"},
    {u"Artist", "ARTIST"},
    {u"Album", "ALBUM"},
    {u"Album Artist", "ALBUMARTIST"},
    {u"Year", "DATE"},
    {u"Genre", "GENRE"},
    {u"Track", "TRACKNUMBER"},
    {u"Disc", "DISCNUMBER"},
    {u"Comment", "COMMENT"},
    {u"Composer", "COMPOSER"},
    {u"Lyrics", "LYRICS"},
    {u"Copyright", "COPYRIGHT"},
    {u"Encoder", "ENCODER", "ENCODING"},
    {u"Encoded By", "ENCODEDBY"},
    {u"Encoder Settings", "ENCODER SETTINGS"},
    {u"Source", "SOURCE"},
    {u"replaygain_track_gain", "REPLAYGAIN_TRACK_GAIN"},
    {u"replaygain_track_peak", "REPLAYGAIN_TRACK_PEAK"},
    {u"replaygain_album_gain", "REPLAYGAIN_ALBUM_GAIN"},
    {u"replaygain_album_peak", "REPLAYGAIN_ALBUM_PEAK"},
    // Player data the engine drops on conversion; ID3v2 keeps it in comments.
    {u"iTunNORM", "ITUNNORM", "COMMENT:ITUNNORM"},
    {u"ITUNSMPB", "ITUNSMPB", "COMMENT:ITUNSMPB"},
};

// Xiph comments keep a pair's total in a field of its own; the first name is written.
struct PairFields {
  const char16_t* ours;
  const char* number;
  const char* totals[2];
};
const PairFields kPairs[] = {
    {u"Track", "TRACKNUMBER", {"TRACKTOTAL", "TOTALTRACKS"}},
    {u"Disc", "DISCNUMBER", {"DISCTOTAL", "TOTALDISCS"}},
};

// Fields that hold pictures in their text form: read through the picture interfaces instead.
const char* const kXiphPictureFields[] = {"METADATA_BLOCK_PICTURE", "COVERART", "COVERARTMIME"};

// Names of the picture types by index; 0 is the type for anything not listed.
const char16_t* const kPictureTypes[] = {u"Other",
                                         u"32x32 Icon",
                                         u"Other Icon",
                                         u"Front Album Cover",
                                         u"Back Album Cover",
                                         u"Leaflet Page",
                                         u"Media",
                                         u"Lead Artist",
                                         u"Artist",
                                         u"Conductor",
                                         u"Band",
                                         u"Composer",
                                         u"Writer",
                                         u"Recording Location",
                                         u"During Recording",
                                         u"During Performance",
                                         u"Video Capture",
                                         u"A Bright Coloured Fish",
                                         u"Illustration",
                                         u"Artist Logo",
                                         u"Publisher Logo"};
constexpr int kPictureTypeCount = int(std::size(kPictureTypes));
constexpr int kFrontCover = 3;

constexpr char16_t kPicturePrefix[] = u"_albumart_";
constexpr char16_t kSubDescWord[] = u"<subdesc>";

const char* PropertyName(const KeyName& key, Family family) {
  return family == Family::Id3 && key.id3 ? key.id3 : key.property;
}

bool IsDigits(std::u16string_view text) {
  return !text.empty() && text.size() < 10 &&
         std::all_of(text.begin(), text.end(), [](char16_t c) { return c >= u'0' && c <= u'9'; });
}

std::u16string Trim(std::u16string_view text) {
  size_t begin = text.find_first_not_of(u' ');
  if (begin == std::u16string_view::npos) return {};
  size_t end = text.find_last_not_of(u' ');
  return std::u16string(text.substr(begin, end - begin + 1));
}

// "3/12", "03 / 12" or "3" as numbers; false for anything else (vinyl sides like "A1").
bool ParsePair(std::u16string_view text, long& number, long& total) {
  size_t slash = text.find(u'/');
  std::u16string first = Trim(text.substr(0, slash));
  std::u16string second = slash == std::u16string_view::npos ? u"0" : Trim(text.substr(slash + 1));
  if (!IsDigits(first) || !IsDigits(second)) return false;
  number = std::stol(ToUtf8(first));
  total = std::stol(ToUtf8(second));
  return true;
}

std::u16string PairText(long number, long total) {
  std::string text = std::to_string(number);
  if (total > 0) text += "/" + std::to_string(total);
  return FromUtf8(text);
}

// A pair in its plain form: no leading zeros, no total of 0; other text is kept as it is.
std::u16string NormalPair(const std::u16string& text) {
  long number = 0, total = 0;
  return ParsePair(text, number, total) ? PairText(number, total) : text;
}

const PairFields* FindPair(std::u16string_view key) {
  for (const PairFields& pair : kPairs)
    if (EqualsNoCase(key, pair.ours)) return &pair;
  return nullptr;
}

void InsertPair(TagLib::PropertyMap& map, const PairFields& pair, const std::u16string& value) {
  long number = 0, total = 0;
  if (!ParsePair(value, number, total)) {
    map.insert(pair.number, TagLib::StringList(ToTagLib(value)));
    return;
  }
  map.insert(pair.number, TagLib::StringList(TagLib::String(std::to_string(number))));
  if (total > 0)
    map.insert(pair.totals[0], TagLib::StringList(TagLib::String(std::to_string(total))));
}

// The number fields of a Xiph comment joined with their totals; the totals are used up.
void JoinXiphPairs(TagLib::PropertyMap& map) {
  for (const PairFields& pair : kPairs) {
    TagLib::String total;
    for (const char* name : pair.totals) {
      if (total.isEmpty() && map.contains(name) && !map[name].isEmpty()) total = map[name].front();
      map.erase(name);
    }
    if (!map.contains(pair.number) || map[pair.number].isEmpty() || total.isEmpty()) continue;
    TagLib::String& first = map[pair.number].front();
    if (first.find("/") == -1) first += "/" + total;
  }
}

// ID3v2 keeps one comment and one lyrics text per description; further values join the first
// as lines of their own.
bool IsSingleTextFrame(const TagLib::String& name) { return name == "COMMENT" || name == "LYRICS"; }

std::u16string OurKey(const TagLib::String& property, Family family) {
  for (const KeyName& key : kKeys)
    if (property == PropertyName(key, family)) return key.ours;
  return FromTagLib(property);
}

void AppendField(const std::u16string& key, const TagLib::StringList& values, TagItems& out) {
  bool pair = FindPair(key) != nullptr;
  for (const TagLib::String& value : values) {
    std::u16string text = FromTagLib(value);
    if (text.empty()) continue;
    out.push_back(TagItem{key, pair ? NormalPair(text) : text, {}});
  }
}

bool StartsWithNoCase(std::u16string_view text, std::u16string_view prefix) {
  return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

int PictureTypeIndex(std::u16string_view name) {
  for (int i = 0; i < kPictureTypeCount; ++i)
    if (EqualsNoCase(name, kPictureTypes[i])) return i;
  return kFrontCover;
}

std::string SniffMime(const std::vector<uint8_t>& data) {
  auto starts = [&](const char* magic, size_t at = 0) {
    size_t n = std::strlen(magic);
    return data.size() >= at + n && std::memcmp(data.data() + at, magic, n) == 0;
  };
  if (starts("\xFF\xD8\xFF")) return "image/jpeg";
  if (starts("\x89PNG")) return "image/png";
  if (starts("GIF8")) return "image/gif";
  if (starts("BM")) return "image/bmp";
  if (starts("RIFF") && starts("WEBP", 8)) return "image/webp";
  return "application/octet-stream";
}

}  // namespace

TagLib::String ToTagLib(const std::u16string& text) {
  return TagLib::String(ToUtf8(text), TagLib::String::UTF8);
}

std::u16string FromTagLib(const TagLib::String& text) { return FromUtf8(text.to8Bit(true)); }

TagLib::PropertyMap ToProperties(const TagItems& items, Family family) {
  TagLib::PropertyMap map;
  for (const TagItem& item : items) {
    if (item.key.empty() || item.key[0] == u'_' || !item.binary.empty() || item.value.empty())
      continue;
    const PairFields* pair = FindPair(item.key);
    if (pair && family == Family::Xiph) {
      InsertPair(map, *pair, item.value);
      continue;
    }
    TagLib::String name = ToTagLib(item.key);
    for (const KeyName& key : kKeys)
      if (EqualsNoCase(item.key, key.ours)) name = PropertyName(key, family);
    TagLib::String value = ToTagLib(pair ? NormalPair(item.value) : item.value);
    if (family == Family::Id3 && IsSingleTextFrame(name) && map.contains(name)) {
      map[name].front() += "\n" + value;
      continue;
    }
    map.insert(name, TagLib::StringList(value));
  }
  return map;
}

void AppendProperties(const TagLib::PropertyMap& source, Family family, TagItems& out) {
  TagLib::PropertyMap map = source;
  if (family == Family::Xiph) {
    for (const char* name : kXiphPictureFields) map.erase(name);
    JoinXiphPairs(map);
  }
  for (const KeyName& key : kKeys) {
    const char* name = PropertyName(key, family);
    if (!map.contains(name)) continue;
    AppendField(key.ours, map[name], out);
    map.erase(name);
  }
  for (const auto& [name, values] : map) AppendField(OurKey(name, family), values, out);
}

bool ParsePicture(const TagItem& item, PictureOut& out) {
  if (item.binary.empty() || !StartsWithNoCase(item.key, kPicturePrefix)) return false;
  size_t cut = item.key.find(u'_', std::size(kPicturePrefix));
  std::u16string type = cut == std::u16string::npos ? u"" : item.key.substr(cut + 1);
  size_t word = type.find(kSubDescWord);
  out.subDescription.clear();
  if (word != std::u16string::npos) {
    out.subDescription = type.substr(word + std::size(kSubDescWord) - 1);
    type.resize(word);
  }
  out.type = PictureTypeIndex(type);
  out.data = &item.binary;
  out.mime = SniffMime(item.binary);
  return true;
}

TagItem MakePicture(int number, int type, const std::u16string& subDescription, const char* data,
                    size_t size) {
  if (type < 0 || type >= kPictureTypeCount) type = 0;
  TagItem item;
  item.key = kPicturePrefix + FromUtf8(std::to_string(number)) + u"_" + kPictureTypes[type];
  if (!subDescription.empty()) item.key += kSubDescWord + subDescription;
  item.binary.assign(reinterpret_cast<const uint8_t*>(data),
                     reinterpret_cast<const uint8_t*>(data) + size);
  return item;
}

}  // namespace codec::tagmap
