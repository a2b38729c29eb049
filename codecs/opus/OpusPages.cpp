#include "codecs/opus/OpusPages.h"

#include <ogg/ogg.h>

#include <cstdio>
#include <cstring>
#include <map>

namespace opus_pages {

namespace {

// One logical stream: packets are rebuilt from the lacing values of its pages.
struct Stream {
  bool opus = false;
  uint64_t packets = 0;
  uint32_t partial = 0;  // bytes of a packet that goes on in the next page
  int64_t pending = -1;  // size of the last audio packet, judged once another one follows
};

struct Scan {
  std::map<int, Stream> streams;
  int64_t firstSize = -1;
  bool varies = false;
  bool lastPageEnds = false;
  uint64_t bytes = 0;  // bytes of the whole pages read so far
  PageScan result;
};

void AudioPacket(Scan& scan, Stream& stream, uint32_t size) {
  ++scan.result.audioPackets;
  if (stream.pending >= 0) {
    if (scan.firstSize < 0) scan.firstSize = stream.pending;
    if (stream.pending != scan.firstSize) scan.varies = true;
  }
  stream.pending = size;
}

void TakePage(Scan& scan, ogg_page& page) {
  Stream& stream = scan.streams[ogg_page_serialno(&page)];
  if (ogg_page_bos(&page))
    stream.opus = page.body_len >= 8 && memcmp(page.body, "OpusHead", 8) == 0;
  int segments = page.header[26];
  for (int i = 0; i < segments; ++i) {
    int lacing = page.header[27 + i];
    stream.partial += uint32_t(lacing);
    if (lacing == 255) continue;
    if (stream.opus && ++stream.packets > 2) AudioPacket(scan, stream, stream.partial);
    stream.partial = 0;
  }
  scan.lastPageEnds = ogg_page_eos(&page) != 0;
  scan.bytes += uint64_t(page.header_len + page.body_len);
}

// False once a hole is met: bytes skipped to find the next page mean a damaged or lost page.
bool TakePages(Scan& scan, ogg_sync_state& sync) {
  ogg_page page;
  int found;
  while ((found = ogg_sync_pageout(&sync, &page)) != 0) {
    if (found < 0) {
      scan.result.problem = "the stream is damaged: a page near byte " +
                            std::to_string(scan.bytes) + " is corrupt or missing.";
      return false;
    }
    TakePage(scan, page);
  }
  return true;
}

void ReadFile(Scan& scan, FILE* file) {
  ogg_sync_state sync;
  ogg_sync_init(&sync);
  bool whole = true;
  while (whole) {
    char* buffer = ogg_sync_buffer(&sync, 65536);
    size_t got = fread(buffer, 1, 65536, file);
    if (got == 0) break;
    ogg_sync_wrote(&sync, long(got));
    whole = TakePages(scan, sync);
  }
  bool leftover = sync.fill > sync.returned;
  ogg_sync_clear(&sync);
  if (!whole) return;
  if (ferror(file))
    scan.result.problem = "the file could not be read.";
  else if (leftover)
    scan.result.problem = "the file is truncated: it ends inside a page.";
  else if (!scan.lastPageEnds)
    scan.result.problem = "the file is truncated: the stream's last page is missing.";
}

}  // namespace

PageScan ScanPages(const std::string& path) {
  Scan scan;
  FILE* file = fopen(path.c_str(), "rb");
  if (!file) {
    scan.result.problem = "the file could not be read.";
    return scan.result;
  }
  ReadFile(scan, file);
  fclose(file);
  scan.result.constantSize = scan.firstSize >= 0 && !scan.varies;
  return scan.result;
}

}  // namespace opus_pages
