// Path text handling, folder walks, the move with retry and temporary names; no system calls.
#include "foundation/XPath.h"

#include "foundation/XEvent.h"
#include "foundation/XFileFinder.h"
#include "foundation/XLastError.h"
#include "foundation/XPathSystem.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

using xpath::Ensure;
using xpath::Str;
using xpath::Text;
using xpath::Trim;

namespace {

constexpr char16_t Sep = XPathSeparator;

size_t LastSep(const std::u16string& s) { return s.rfind(Sep); }

char16_t LowerAscii(char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; }

bool SameNoCase(const std::u16string& a, const std::u16string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (LowerAscii(a[i]) != LowerAscii(b[i])) return false;
  return true;
}

void ReplaceAll(std::u16string& s, const std::u16string& find, const std::u16string& with) {
  for (size_t at = s.find(find); at != std::u16string::npos; at = s.find(find, at + with.size()))
    s.replace(at, find.size(), with);
}

// 0-based index of the first character behind the root.
size_t RootIndex(const std::u16string& s) { return (!s.empty() && s[0] == Sep) ? 1 : 0; }

}  // namespace

XString XPath::EnsureSeparator(const XString& path) { return Str(Ensure(Text(path))); }

XString XPath::TrimSeparators(const XString& path) { return Str(Trim(Text(path))); }

XString XPath::FolderOf(const XString& path) {
  std::u16string s = Text(path);
  size_t at = LastSep(s);
  return at == std::u16string::npos ? path : Str(s.substr(0, at + 1));
}

XString XPath::FileNameOf(const XString& path) {
  std::u16string s = Text(path);
  size_t at = LastSep(s);
  return at == std::u16string::npos ? path : Str(s.substr(at + 1));
}

XString XPath::ExtensionOf(const XString& path) {
  std::u16string s = Text(path);
  size_t dot = s.rfind(u'.');
  size_t sep = LastSep(s);
  bool behindFolder = dot != std::u16string::npos && (sep == std::u16string::npos || dot > sep);
  return behindFolder ? Str(s.substr(dot)) : XString(u".");
}

XString XPath::WithoutExtension(const XString& path) {
  std::u16string s = Text(path);
  size_t dot = s.rfind(u'.');
  return dot == std::u16string::npos ? path : Str(s.substr(0, dot));
}

XString XPath::BaseNameOf(const XString& path) {
  return XPath::WithoutExtension(XPath::FileNameOf(path));
}

XString XPath::AppendPath(const XString& path, const XString& name) {
  std::u16string n = Text(name);
  size_t skip = n.find_first_not_of(Sep);
  return Str(Ensure(Text(path)) + (skip == std::u16string::npos ? u"" : n.substr(skip)));
}

XString XPath::QuotePath(const XString& path) { return Str(u"\"" + Text(path) + u"\""); }

int XPath::RootEnd(const XString& path) { return int(RootIndex(Text(path))) + 1; }

bool XPath::Exists(const XString& path, bool* outIsFolder) {
  if (outIsFolder) *outIsFolder = false;
  std::u16string s = Text(path);
  if (s.empty()) return false;
  XFileFinder finder(path);
  if (finder.Next()) {
    if (outIsFolder) *outIsFolder = finder.IsFolder();
    return true;
  }
  // The file system root has no name of its own for the finder to report.
  if (Trim(s).empty()) {
    if (outIsFolder) *outIsFolder = true;
    return true;
  }
  return false;
}

uint32_t XPath::GetAttributes(const XString& path, bool* outFailed) {
  XFileFinder finder(path);
  bool found = finder.Next();
  if (outFailed) *outFailed = !found;
  return found ? finder.data.attributes : 0;
}

bool XPath::IsRecycleFolder(const XString& path) {
  static const char16_t* const names[] = {u"@Recycle", u"#recycle", u"$RECYCLE.BIN", u"@tmp",
                                          u"@eaDir"};
  std::u16string name = Text(XPath::FileNameOf(path));
  for (const char16_t* n : names)
    if (SameNoCase(name, n)) return true;
  return false;
}

XString XPath::ShortName(const XString& path) { return path; }

bool XPath::MoveWithRetry(const XString& source, const XString& target, bool replace,
                          uint32_t timeoutMs, const XEvent* cancelEvent) {
  uint32_t start = XTickCount();
  XSetLastError(XErrNone);
  if (XPath::Move(source, target, replace)) return true;
  for (;;) {
    uint32_t error = XGetLastError();
    if (error != XErrSharingViolation && error != XErrAccessDenied) return false;
    if (XTickCount() - start > timeoutMs) {
      XSetLastError(XErrTimeout);
      return false;
    }
    if (cancelEvent) {
      if (cancelEvent->Wait(10)) {
        XSetLastError(XErrCancelled);
        return false;
      }
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    XSetLastError(XErrNone);
    if (XPath::Move(source, target, replace)) return true;
  }
}

bool XPath::CreateFolders(const XString& path) {
  std::u16string s = Text(path);
  if (s.empty()) {
    XSetLastError(XErrPathNotFound);
    return false;
  }
  size_t root = RootIndex(s);
  std::vector<std::u16string> parts;
  s = Trim(s);
  while (s.size() > root) {
    size_t at = LastSep(s);
    size_t begin = (at == std::u16string::npos) ? 0 : at + 1;
    if (begin < s.size()) parts.push_back(s.substr(begin));
    s = Trim(s.substr(0, begin));
  }
  s = root ? std::u16string(1, Sep) : std::u16string();
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    s += *part;
    if (!xpath::CreateFolder(Str(s)) && XGetLastError() != XErrAlreadyExists) return false;
    s += Sep;
  }
  XSetLastError(XErrNone);
  return true;
}

bool XPath::DeleteFolderContents(const XString& path, bool removeSelf, const XString& pattern,
                                 bool recurse) {
  if (path.Length() < 3) {
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  XString wildcard = pattern.Length() ? pattern : XString(u"*.*");
  bool ok = true;
  XFileFinder finder(path, wildcard);
  while (finder.Next()) {
    // A linked folder is removed as a link: what it points at is not ours to empty.
    bool folder = finder.IsFolder() && !(finder.data.attributes & XAttrLink);
    if (!folder) {
      if (!XPath::DeleteFile(finder.fullPath)) ok = false;
    } else if (recurse) {
      if (!XPath::DeleteFolderContents(finder.fullPath, true, wildcard, true)) ok = false;
    }
  }
  finder.Close();
  if (removeSelf && ok) {
    uint32_t kept = XGetLastError();
    xpath::RemoveFolder(XPath::TrimSeparators(path));
    XSetLastError(kept);
  }
  return ok;
}

namespace {

bool TransferFolder(const XString& source, const XString& target, bool move) {
  bool isFolder = false;
  if (!XPath::Exists(source, &isFolder) || !isFolder) {
    XSetLastError(XErrPathNotFound);
    return false;
  }
  if (!XPath::CreateFolders(target)) return false;
  XFileFinder finder(source, XString(u"*"));
  while (finder.Next()) {
    XString to = XPath::AppendPath(target, finder.data.name);
    bool folder = finder.IsFolder() && !(move && (finder.data.attributes & XAttrLink));
    bool ok = folder ? TransferFolder(finder.fullPath, to, move)
                     : (move ? XPath::Move(finder.fullPath, to, true)
                             : XPath::Copy(finder.fullPath, to, false));
    if (!ok) return false;
  }
  finder.Close();
  if (move && !xpath::RemoveFolder(XPath::TrimSeparators(source))) return false;
  return true;
}

}  // namespace

bool XPath::CopyFolder(const XString& source, const XString& target) {
  return TransferFolder(source, target, false);
}

bool XPath::MoveFolder(const XString& source, const XString& target) {
  return TransferFolder(source, target, true);
}

XString XPath::LastErrorTextOrEmpty() {
  uint32_t error = XGetLastError();
  if (error == 0) return XString();
  char text[32];
  snprintf(text, sizeof text, "(Win:%u)", unsigned(error));
  return XString(text, true);
}

XString XPath::NewGuidText() {
  uint8_t bytes[16] = {};
  xpath::RandomBytes(bytes, sizeof bytes);
  bytes[6] = uint8_t((bytes[6] & 0x0F) | 0x40);
  bytes[8] = uint8_t((bytes[8] & 0x3F) | 0x80);
  static const char16_t digits[] = u"0123456789ABCDEF";
  std::u16string text;
  for (uint8_t b : bytes) {
    text += digits[b >> 4];
    text += digits[b & 15];
  }
  return Str(text);
}

// Temporary names.

XString XPath::TempFolder() {
  XString folder = xpath::SystemTempFolder();
  return XPath::EnsureSeparator(folder.Length() ? folder : XString(u"/tmp"));
}

XString XPath::TempName(const XString& prefix) {
  static std::once_flag once;
  static XString guid;
  static std::atomic<int32_t> counter{0};
  std::call_once(once, [] { guid = XPath::NewGuidText(); });
  int32_t n = counter.fetch_add(1) + 1;
  std::u16string number = Text(XString(int64_t(n)));
  return Str(Text(prefix) + u"-" + Text(guid) + u"-" + number);
}

// Tag values.

namespace {

bool IsSingleValueKey(const std::u16string& key) {
  static const char16_t* const keys[] = {u"album",
                                         u"album sort",
                                         u"subtitle",
                                         u"set subtitle",
                                         u"encoded by",
                                         u"label",
                                         u"encoder settings",
                                         u"tempo",
                                         u"source",
                                         u"initial key",
                                         u"contact",
                                         u"copyright",
                                         u"title",
                                         u"comment",
                                         u"title sort",
                                         u"length",
                                         u"year",
                                         u"original release year",
                                         u"release date",
                                         u"recording dates",
                                         u"description",
                                         u"CUESHEET",
                                         u"EACLOG"};
  for (const char16_t* k : keys)
    if (SameNoCase(key, k)) return true;
  std::u16string lower;
  for (char16_t c : key) lower += LowerAscii(c);
  return lower.find(u"lyrics") != std::u16string::npos;
}

}  // namespace

bool XPath::IsMultiLineTagKey(const XString& key) { return IsSingleValueKey(Text(key)); }

XString XPath::EscapeTagValue(const XString& key, const XString& value, bool encode,
                              bool keepBreaks) {
  std::u16string v = Text(value);
  bool single = IsSingleValueKey(Text(key));
  if (encode) {
    if (single && keepBreaks) {
      ReplaceAll(v, u"\r", u"{CR}");
      ReplaceAll(v, u"\n", u"{LF}");
    } else if (!single) {
      ReplaceAll(v, u"\r", u"; ");
    }
    ReplaceAll(v, u"\r\n", u"{rN}");
    ReplaceAll(v, u"\n", u"{rN}");
    ReplaceAll(v, u"{rN}", u"\r");
  } else if (single && keepBreaks) {
    ReplaceAll(v, u"{CR}", u"\r");
    ReplaceAll(v, u"{LF}", u"\n");
  } else if (!single) {
    ReplaceAll(v, u"; ", u"\r");
  }
  return Str(v);
}
