// Pre-cache read: conversions that start together read their sources one after the other.
#include "engine/TvPreCache.h"
#include "engine/TvTransmill.h"
#include "foundation/XMutex.h"
#include "foundation/XRegistry.h"

namespace {
constexpr uint32_t kPiece = 65536;
}

uint32_t TvPreCacheRead(const XString& path) {
  XMutex mutex(u"muttVHPrecacheread");
  if (mutex.IsOpen()) mutex.Lock();
  uint32_t reads = 0;
  XFile file;
  if (file.Open(path, XFileMode::Read, XFileMode::OpenExisting, false, true)) {
    uint8_t buffer[kPiece];
    const int64_t size = file.Size();
    uint64_t remaining = size > 0 ? static_cast<uint64_t>(size) : 0;
    while (remaining > 0) {
      const uint32_t piece = remaining < kPiece ? static_cast<uint32_t>(remaining) : kPiece;
      file.Read(buffer, piece);
      remaining -= piece;  // whatever the read gave: a short file must not hold the run
      reads++;
    }
    file.Close();
  }
  mutex.Close();
  return reads;
}

bool TvTransmill::PreCacheRead() {
  if (opts.inputIsStdin || XRegistry::ReadDWORD(u"tVHNoPreCache") != 0) return false;
  TvPreCacheRead(opts.inputFile);
  return true;
}
