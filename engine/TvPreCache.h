// The read-through of a source that puts it in the system's file cache before decoding.
#pragma once
#include <cstdint>

class XString;

// Reads the whole file in pieces of at most 65536 bytes, one process of the machine at a
// time (mutex "muttVHPrecacheread"); the data is thrown away and failures are ignored.
// Returns the number of reads made.
uint32_t TvPreCacheRead(const XString& path);
