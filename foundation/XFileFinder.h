// Enumerates the entries of a folder that match a wildcard pattern, or looks up one entry.
#pragma once
#include "foundation/XString.h"

#include <cstdint>

// What the finder knows of one entry. Times are 100 ns units since 1601-01-01 (UTC).
struct XFindData {
  uint32_t attributes = 0;  // XAttr... bits of XPath.h
  uint64_t creationTime = 0;
  uint64_t lastAccessTime = 0;
  uint64_t lastWriteTime = 0;
  uint64_t size = 0;
  XString name;
};

class XFileFinder {
 public:
  // Entries of folder matching pattern ("*" and "?", ASCII case ignored; "*.*" is all).
  XFileFinder(const XString& folder, const XString& pattern, bool foldersOnly = false);
  // The one entry that path names (trailing "/" removed).
  explicit XFileFinder(const XString& path);
  ~XFileFinder();
  XFileFinder(const XFileFinder&) = delete;
  XFileFinder& operator=(const XFileFinder&) = delete;

  // True for each entry, filling fullPath and data; "." and ".." are passed over.
  bool Next();
  void Close();

  bool IsFolder() const { return (data.attributes & 0x10) != 0; }
  const XString& Name() const { return data.name; }

  XString fullPath;
  XFindData data;

 private:
  bool First();
  bool ReadEntry();
  bool Matches(const XString& name) const;

  void* handle = nullptr;  // the open folder stream; null while closed
  XString pattern;         // the search text before the first step, the folder afterwards
  XString wildcard;        // the name pattern, taken from the search text at the first step
  bool foldersOnly = false;
  bool started = false;
  bool single = false;  // a lookup of one named entry, not an enumeration
};

// Matches name against a pattern of "*" and "?", ignoring ASCII case.
bool WildcardMatch(const char16_t* pattern, const char16_t* name);
