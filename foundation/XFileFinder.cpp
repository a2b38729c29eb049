// The finder's portable part: construction, the entry filter and wildcard matching.
#include "foundation/XFileFinder.h"

#include "foundation/XPath.h"

#include <string>
#include <string_view>

namespace {

char16_t Lower(char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; }

}  // namespace

bool WildcardMatch(const char16_t* pattern, const char16_t* name) {
  const char16_t* star = nullptr;  // the last "*" seen, to fall back to
  const char16_t* resume = nullptr;
  while (*name) {
    if (*pattern == u'*') {
      star = pattern++;
      resume = name;
    } else if (*pattern == u'?' || (*pattern && Lower(*pattern) == Lower(*name))) {
      ++pattern;
      ++name;
    } else if (star) {
      pattern = star + 1;
      name = ++resume;
    } else {
      return false;
    }
  }
  while (*pattern == u'*') ++pattern;
  return *pattern == 0;
}

XFileFinder::XFileFinder(const XString& folder, const XString& pattern_, bool foldersOnly_)
    : pattern(XPath::AppendPath(folder, pattern_)), foldersOnly(foldersOnly_) {}

XFileFinder::XFileFinder(const XString& path) : pattern(XPath::TrimSeparators(path)) {}

XFileFinder::~XFileFinder() { Close(); }

bool XFileFinder::Matches(const XString& name) const {
  if (WildcardMatch(wildcard.CStr(), name.CStr())) return true;
  // "name.*" also finds a name without any extension, so "*.*" finds everything.
  std::u16string bare(wildcard.CStr(), size_t(wildcard.Length()));
  if (bare.size() < 2 || bare.compare(bare.size() - 2, 2, u".*") != 0) return false;
  bare.resize(bare.size() - 2);
  return WildcardMatch(bare.c_str(), name.CStr());
}

bool XFileFinder::Next() {
  for (;;) {
    bool got = started ? ReadEntry() : First();
    started = true;
    if (!got) return false;
    if (data.name.Length() == 0) {
      Close();
      return false;
    }
    std::u16string_view name(data.name.CStr());
    if (name == u"." || name == u"..") continue;
    if (foldersOnly && !IsFolder()) continue;
    if (name[0] == u'.') data.attributes = (data.attributes & ~uint32_t(XAttrNormal)) | XAttrHidden;
    fullPath = pattern;
    fullPath += data.name.CStr();
    return true;
  }
}
