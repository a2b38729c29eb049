// Writes valid tag blocks of both forms into a folder, as the fuzzer's seed corpus.
#include <cstdio>
#include <string>

#include "foundation/XBuffer.h"
#include "tags/XTagList.h"
#include "tags/XTagPicture.h"

namespace {

void Write(const std::string& path, const XBuffer& block) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return;
  std::fwrite(block.data, 1, block.size, f);
  std::fclose(f);
}

void Emit(const std::string& folder, const std::string& name, const XTagList& list) {
  XBuffer block;
  if (list.ToBlock(block)) Write(folder + "/" + name + "-wide", block);
  if (list.ToBlockUtf8(block)) Write(folder + "/" + name + "-utf8", block);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: MakeSeeds <folder>\n");
    return 1;
  }
  std::string folder = argv[1];
  XTagList list;
  Emit(folder, "empty", list);
  list.Add(u"Artist", u"A");
  Emit(folder, "one", list);
  list.Add(u"Title", u"Caf\u00e9 \u6771\u4eac \U0001F3B5");
  list.Add(u"Comment", u"line one\r\nline two");
  list.Add(u"Genre", u"Rock\rPop\rJazz");
  list.Add(u"", u"");
  Emit(folder, "text", list);
  const uint8_t png[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 0x0D, 'I', 'H'};
  list.AddData(PictureKey(1, u"Front Album Cover", u""), png, sizeof(png));
  list.AddData(PictureKey(2, u"Back Album Cover", u"inner sleeve"), png, 5);
  list.AddData(u"_cdtoc", png, 3);
  list.Add(u"_crc", u"1234ABCD");
  list.Add(u"replaygain_track_gain", u"-6.5 dB");
  Emit(folder, "mixed", list);
  XTagList pictures;
  for (int i = 1; i <= 3; ++i)
    pictures.AddData(PictureKey(i, PictureSuffix(i + 2).From(2), u""), png, i * 4);
  Emit(folder, "pictures", pictures);
  return 0;
}
