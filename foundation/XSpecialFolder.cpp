// Special folders on the XDG folders, and paths told by their display names.
#include "foundation/XPath.h"

#include "foundation/XPathSystem.h"
#include "foundation/XStringList.h"

#include <string>

using xpath::Ensure;
using xpath::Str;
using xpath::Text;
using xpath::Trim;

namespace {

constexpr char16_t Sep = XPathSeparator;

char16_t LowerAscii(char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; }

bool StartsNoCase(const std::u16string& text, const std::u16string& head) {
  if (text.size() < head.size()) return false;
  for (size_t i = 0; i < head.size(); ++i)
    if (LowerAscii(text[i]) != LowerAscii(head[i])) return false;
  return true;
}

}  // namespace

namespace {

// A folder the system knows for id, with trailing "/", or empty.
std::u16string KnownFolder(int id) {
  if (id == XFolderTemp) return Text(XPath::TempFolder());
  XString found = xpath::UserFolder(id);
  return found.Length() ? Ensure(Text(found)) : std::u16string();
}

// The folder made from another one where the system has none for id, or empty.
std::u16string DerivedFolder(int id) {
  auto from = [](int base, const char16_t* name) {
    std::u16string folder = KnownFolder(base);
    return folder.empty() ? folder : folder + name;
  };
  switch (id) {
    case XFolderAppData: {
      std::u16string documents = Trim(KnownFolder(XFolderDocuments));
      size_t at = documents.rfind(Sep);
      if (documents.empty() || at == std::u16string::npos) return {};
      return documents.substr(0, at + 1) + u"Application Data/";
    }
    case XFolderCommonFiles:
      return from(XFolderProgramFiles, u"Common/");
    case XFolderMusic:
      return from(XFolderDocuments, u"My Music/");
    case XFolderPictures:
      return from(XFolderDocuments, u"My Pictures/");
    case XFolderVideo:
      return from(XFolderDocuments, u"My Video/");
    case XFolderPublicMusic:
      return from(XFolderPublicDocuments, u"My Music/");
    case XFolderPublicPictures:
      return from(XFolderPublicDocuments, u"My Pictures/");
    case XFolderPublicVideo:
      return from(XFolderPublicDocuments, u"My Video/");
    default:
      return {};
  }
}

struct NamedFolder {
  int id;
  const char16_t* name;
};

constexpr NamedFolder namedFolders[] = {
    {XFolderMusic, u"Music"},
    {XFolderPictures, u"Pictures"},
    {XFolderVideo, u"Video"},
    {XFolderDocuments, u"Documents"},
    {XFolderPublicMusic, u"Public Music"},
    {XFolderPublicPictures, u"Public Pictures"},
    {XFolderPublicVideo, u"Public Video"},
    {XFolderPublicDocuments, u"Public Documents"},
    {XFolderDesktop, u"Desktop"},
    {XFolderTemp, u"[Temporary Folder]"},
};

}  // namespace

XString XPath::SpecialFolder(int id, const char16_t* fallback) {
  std::u16string result = KnownFolder(id);
  if (result.empty()) result = DerivedFolder(id);
  if (result.empty()) result = fallback ? fallback : u"C:\\Error";
  result = Ensure(result);
  return result.size() == 1 ? XString() : Str(result);
}

void XPath::SpecialFolderNames(XStringList& outPaths, XStringList& outNames) {
  outPaths.Clear();
  outNames.Clear();
  for (const NamedFolder& f : namedFolders) {
    outPaths.Add(XPath::SpecialFolder(f.id, u""), 0);
    outNames.Add(XString(f.name), 0);
  }
}

XString XPath::FriendlyPath(const XString& path, bool isFile) {
  std::u16string s = Text(path);
  for (const NamedFolder& f : namedFolders) {
    std::u16string folder = Trim(Text(XPath::SpecialFolder(f.id, u"")));
    if (folder.empty() || !StartsNoCase(s, folder)) continue;
    if (s.size() > folder.size() && s[folder.size()] != Sep) continue;
    return Str(f.name + s.substr(folder.size()));
  }
  return path;
}

XString XPath::RealPath(const XString& friendly) {
  std::u16string s = Text(friendly);
  for (const NamedFolder& f : namedFolders) {
    std::u16string name = f.name;
    if (!StartsNoCase(s, name) || (s.size() > name.size() && s[name.size()] != Sep)) continue;
    std::u16string folder = Trim(Text(XPath::SpecialFolder(f.id, u"")));
    if (folder.empty()) continue;
    return XPath::CleanPath(Str(folder + s.substr(name.size())));
  }
  return friendly;
}
