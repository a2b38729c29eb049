// Temporary files and folders: unique names in the temporary folder, deleted when dropped.
#include "foundation/XTempFile.h"

#include "foundation/XLastError.h"
#include "foundation/XPath.h"
#include "foundation/XPathSystem.h"

namespace {

// A full temporary folder or a denied one would otherwise be tried for ever.
constexpr int maxAttempts = 100;

XString Narrow(const char* text) { return text ? XString(text, true) : XString(); }

}  // namespace

XTempFile::XTempFile(const char* prefix, const char* suffix) { Create(prefix, suffix); }

XTempFile::~XTempFile() {
  uint32_t kept = XGetLastError();
  Drop();
  XSetLastError(kept);
}

bool XTempFile::Create(const char* prefix, const char* suffix) {
  Drop();
  XString folder = XPath::TempFolder();
  XString head = Narrow(prefix ? prefix : "TMP");
  XString tail = Narrow(suffix);
  for (int attempt = 0; attempt < maxAttempts; ++attempt) {
    XString name = folder;
    name += XPath::TempName(head).CStr();
    name += tail.CStr();
    bool made = xpath::CreateNewFile(name);
    uint32_t error = XGetLastError();
    if (!made && (error == XErrPathNotFound || error == XErrFileNotFound) &&
        XPath::CreateFolders(folder))
      made = xpath::CreateNewFile(name);
    if (made) {
      path = name;
      XSetLastError(XErrNone);
      return true;
    }
  }
  return false;
}

void XTempFile::Assign(const XString& name) {
  Drop();
  path = name;
}

XString XTempFile::Detach() {
  XString name = path;
  path = XString();
  return name;
}

void XTempFile::Drop() {
  if (path.Length()) XPath::DeleteFile(path);
  path = XString();
}

XTempFolder::XTempFolder(const char* prefix) {
  XTempFile file(prefix);
  if (file.IsEmpty()) return;
  XString name = file.Detach();
  XPath::DeleteFile(name);
  name = XPath::EnsureSeparator(name);
  if (XPath::CreateFolders(name)) path = name;
}

XTempFolder::~XTempFolder() {
  if (path.Length() == 0) return;
  uint32_t kept = XGetLastError();
  XPath::DeleteFolderContents(path, true, XString(u"*.*"), true);
  XSetLastError(kept);
}
