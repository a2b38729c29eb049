// The tag bridge: its block against the tag list's block form, and tags of real files, written
// here and read back by mutagen and by the bridge.
#include "codecs/common/CodecSupport.h"
#include "codecs/common/TagBridge.h"
#include "foundation/XBuffer.h"
#include "tags/XTagList.h"
#include "tests/codecs/CodecPlugins.h"

#include <algorithm>
#include <memory>

namespace {

using codec::TagItem;
using codec::TagItems;

std::u16string U(const std::string& utf8) { return codec::FromUtf8(utf8); }
std::string N(const std::u16string& text) { return codec::ToUtf8(text); }

TagItem Text(const std::string& key, const std::string& value) {
  return TagItem{U(key), U(value), {}};
}

std::vector<uint8_t> Noise(size_t size, const char* magic, unsigned seed) {
  std::vector<uint8_t> data(size);
  std::mt19937 random(seed);
  for (uint8_t& b : data) b = uint8_t(random());
  std::copy(magic, magic + std::strlen(magic), data.begin());
  return data;
}

bool RunQuiet(const std::string& command) {
  return RunCommand("{ " + command + "; } >/dev/null 2>&1 && echo ok") == "ok";
}

XTagList ListOf(const TagItems& items) {
  XTagList list;
  for (const TagItem& item : items) {
    XTagItem* added =
        list.Add(XString(std::u16string_view(item.key)), XString(std::u16string_view(item.value)));
    if (!item.binary.empty())
      added->binary.AssignData(item.binary.data(), uint32_t(item.binary.size()));
  }
  return list;
}

TagItems ItemsOf(const XTagList& list) {
  TagItems items;
  for (int32_t i = 0; i < list.Count(); ++i) {
    const XTagItem& item = list.At(i);
    items.push_back(
        TagItem{item.key.CStr(), item.value.CStr(),
                std::vector<uint8_t>(item.binary.data, item.binary.data + item.binary.size)});
  }
  return items;
}

TagItems SampleItems() {
  return {Text("Title", "Grüße aus 東京 ♫"), Text("Comment", "line one\r\nline two"), Text("", ""),
          TagItem{u"_albumart_1_Front Album Cover", u"", Noise(1000, "\xFF\xD8\xFF", 1)},
          Text("Artist", "Z")};
}

TEST(TagBridgeTest, BlockIsTheTagListBlockAndACutOneGivesTheItemsBeforeTheCut) {
  TagItems items = SampleItems();
  XBuffer engineBlock;
  ASSERT_TRUE(ListOf(items).ToBlock(engineBlock));
  std::vector<uint8_t> ours = codec::MakeTagItemBlock(items);
  ASSERT_EQ(ours, std::vector<uint8_t>(engineBlock.data, engineBlock.data + engineBlock.size));
  EXPECT_EQ(codec::ReadTagItemBlock(engineBlock.data, engineBlock.size), items);
  EXPECT_EQ(codec::MakeTagItemBlock({}), std::vector<uint8_t>(4, 0));
  // Each cut is read from a buffer of its exact size, so a read past it would show under a
  // memory checker; the items must be those the engine's reader finds.
  for (size_t size = 0; size <= ours.size(); ++size) {
    std::unique_ptr<uint8_t[]> exact(new uint8_t[size + 1]);
    std::copy(ours.begin(), ours.begin() + long(size), exact.get());
    XTagList engine;
    engine.FromBlock(exact.get(), int64_t(size));
    ASSERT_EQ(codec::ReadTagItemBlock(exact.get(), uint32_t(size)), ItemsOf(engine)) << size;
  }
  EXPECT_TRUE(codec::ReadTagItemBlock(nullptr, 100).empty());
}

struct Format {
  std::string ext;
  std::string make;  // from in.wav to the file, with a tag of its own to be replaced
  Fields expected;
};
void PrintTo(const Format& format, std::ostream* out) { *out << format.ext; }

const std::string kTitle = "Grüße aus 東京 ♫";
const std::string kComment = "line one\nline two";

// Each written value under the key each family of formats stores it by: Xiph comments, ID3v2
// frames, APE items.
const std::vector<std::vector<std::string>> kStored = {
    {"TITLE", "TIT2", "TITLE", kTitle},
    {"ARTIST", "TPE1", "ARTIST", "First", "Second"},
    {"COMMENT", "COMM:", "COMMENT", kComment},
    {"TRACKNUMBER", "TRCK", "TRACK", "3", "3/12"},
    {"TRACKTOTAL", "", "", "12"},
    {"DISCNUMBER", "TPOS", "DISC", "1", "1/2"},
    {"DISCTOTAL", "", "", "2"},
    {"DATE", "TDRC", "YEAR", "2024"},
    {"REPLAYGAIN_TRACK_GAIN", "TXXX:REPLAYGAIN_TRACK_GAIN", "REPLAYGAIN_TRACK_GAIN", "-6.50 dB"},
    {"MY FIELD", "TXXX:MY FIELD", "MY FIELD", "custom"},
    {"ENCODER", "TSSE", "ENCODER", "Test encoder"}};

// The fields of one family (0 Xiph, 1 ID3v2, 2 APE); a fifth entry is the pair form of the
// number the other families split in two.
Fields Expected(size_t family) {
  Fields fields;
  for (const auto& row : kStored) {
    if (row[family].empty()) continue;
    bool pair = row.size() > 4 && row[4].find('/') != std::string::npos;
    if (pair)
      fields[row[family]] = {family ? row[4] : row[3]};
    else
      fields[row[family]] = std::vector<std::string>(row.begin() + 3, row.end());
  }
  return fields;
}

std::vector<Format> Formats() {
  return {
      {"flac", "flac -s -f -T OLDFIELD=x -o OUT in.wav", Expected(0)},
      {"ogg", "oggenc -Q -c OLDFIELD=x -o OUT in.wav", Expected(0)},
      {"oga", "flac -s -f --ogg -T OLDFIELD=x -o OUT in.wav", Expected(0)},
      {"opus", "opusenc --quiet --comment OLDFIELD=x in.wav OUT", Expected(0)},
      {"mp3", "lame --silent --add-id3v2 --tc old in.wav OUT", Expected(1)},
      {"wav", "sox in.wav OUT", Expected(1)},
      {"aiff", "sox in.wav OUT", Expected(1)},
      {"wv", "wavpack -q -y -w OLDFIELD=x in.wav -o OUT", Expected(2)},
  };
}

std::string MakeFile(const ScratchFolder& folder, const Format& format) {
  std::string wav = folder / "in.wav";
  if (!folder.Has("in.wav") &&
      !RunQuiet("sox -n -r 44100 -c 2 -b 16 '" + wav + "' synth 0.5 sine 440"))
    return {};
  std::string out = folder / ("a." + format.ext);
  std::string command = format.make;
  command.replace(command.find("OUT"), 3, "'" + out + "'");
  command.replace(command.find("in.wav"), 6, "'" + wav + "'");
  return RunQuiet(command) ? out : std::string();
}

TagItems WrittenItems(const std::vector<uint8_t>& cover, const std::vector<uint8_t>& back) {
  return {Text("Title", kTitle),
          Text("Artist", "First"),
          Text("Artist", "Second"),
          Text("Comment", kComment),
          Text("Track", "03/12"),
          Text("Disc", "1/2"),
          Text("Year", "2024"),
          Text("replaygain_track_gain", "-6.50 dB"),
          Text("My Field", "custom"),
          Text("Encoder", "Test encoder"),
          Text("_cdtoc", "hidden"),
          Text("Empty", ""),
          TagItem{U("_albumart_1_Front Album Cover<subdesc>Vorderseite ü"), u"", cover},
          TagItem{u"_albumart_2_Back Album Cover", u"", back}};
}

// Text items by upper-case key, values of one key in order; pictures as they stand.
TagItems Comparable(TagItems items) {
  for (TagItem& item : items) {
    if (!item.binary.empty()) continue;
    for (char16_t& c : item.key) c = (c >= u'a' && c <= u'z') ? char16_t(c - 32) : c;
  }
  std::erase_if(items,
                [](const TagItem& item) { return item.value.empty() && item.binary.empty(); });
  std::erase_if(items, [](const TagItem& item) { return item.key == u"_CDTOC"; });
  std::stable_sort(items.begin(), items.end(),
                   [](const TagItem& a, const TagItem& b) { return a.key < b.key; });
  return items;
}

class TagBridgeFileTest : public testing::TestWithParam<Format> {};

TEST_P(TagBridgeFileTest, WrittenTagsAreReadBackByMutagenAndByTheBridge) {
  const Format& format = GetParam();
  ScratchFolder folder;
  std::string path = MakeFile(folder, format);
  ASSERT_FALSE(path.empty()) << "the " << format.ext << " tool failed";
  std::vector<uint8_t> cover = Noise(3 << 20, "\xFF\xD8\xFF\xE0", 7);
  std::vector<uint8_t> back = Noise(5000, "\x89PNG\r\n\x1A\n", 8);
  TagItems items = WrittenItems(cover, back);
  std::u16string error;
  ASSERT_TRUE(codec::WriteFileTags(path, items, &error)) << N(error);

  Referee referee = ReadWithMutagen(path, format.ext, folder);
  EXPECT_EQ(referee.text, format.expected);
  EXPECT_EQ(referee.id3Version, format.expected.count("TIT2") ? 4 : 0);
  ASSERT_EQ(referee.pictures.size(), 2u);
  EXPECT_EQ(referee.pictures[0].type, 3);
  EXPECT_EQ(referee.pictures[0].description, "Vorderseite ü");
  EXPECT_TRUE(referee.pictures[0].data == cover);
  EXPECT_EQ(referee.pictures[1].type, 4);
  EXPECT_TRUE(referee.pictures[1].data == back);
  if (format.ext != "wv") {
    EXPECT_EQ(referee.pictures[0].mime, "image/jpeg");
    EXPECT_EQ(referee.pictures[1].description, "");
  }
  TagItems expected = items;
  expected[4].value = u"3/12";  // number pairs lose their leading zeros
  EXPECT_EQ(Comparable(codec::ReadFileTags(path)), Comparable(expected));
}

// A file cut inside its tags, or cut before its audio starts, gives no items.
TEST_P(TagBridgeFileTest, CutAndDamagedFilesGiveNoTagsAndAClearError) {
  const Format& format = GetParam();
  ScratchFolder folder;
  std::string path = MakeFile(folder, format);
  ASSERT_FALSE(path.empty());
  std::vector<uint8_t> picture = Noise(200000, "\x89PNG\r\n\x1A\n", 9);
  ASSERT_TRUE(codec::WriteFileTags(
      path, {Text("Title", "x"), TagItem{u"_albumart_1_Media", u"", picture}}, {}));
  std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  EXPECT_TRUE(codec::ReadFileTags(path).empty());
  std::vector<uint8_t> noise = Noise(20000, "", 3);
  folder.WriteFile("g." + format.ext, std::string(noise.begin(), noise.end()));
  std::string garbage = folder / ("g." + format.ext);
  EXPECT_TRUE(codec::ReadFileTags(garbage).empty());
  std::u16string error;
  EXPECT_FALSE(codec::WriteFileTags(garbage, {Text("Title", "x")}, &error));
  EXPECT_NE(N(error).find("g." + format.ext), std::string::npos) << N(error);
}

INSTANTIATE_TEST_SUITE_P(Formats, TagBridgeFileTest, testing::ValuesIn(Formats()),
                         [](const testing::TestParamInfo<Format>& param) {
                           return param.param.ext;
                         });

TEST(TagBridgeTest, FilesThatCanNotBeTaggedSaySo) {
  ScratchFolder folder;
  std::u16string error;
  EXPECT_FALSE(codec::WriteFileTags(folder / "missing.flac", {Text("Title", "x")}, &error));
  EXPECT_NE(N(error).find("can't be opened"), std::string::npos) << N(error);
  folder.WriteFile("notes.txt", "just some text, no audio here");
  EXPECT_FALSE(codec::WriteFileTags(folder / "notes.txt", {Text("Title", "x")}, &error));
  EXPECT_NE(N(error).find("not of a type that holds tags"), std::string::npos) << N(error);
  EXPECT_TRUE(codec::ReadFileTags(folder / "notes.txt").empty());
}

}  // namespace
