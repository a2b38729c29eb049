// XRewriteFile: a working file beside the target that replaces it only when complete.
#include "foundation/XRewriteFile.h"

#include "foundation/XFilePlatform.h"
#include "foundation/XLastError.h"

XRewriteFile::~XRewriteFile() {
  if (IsOpen()) {
    commit = false;
    Finish();
  }
}

XString XRewriteFile::RewriteName(const XString& name, int n) {
  XString text = name + u".p" + XString::FromUInt64(xfileos::ProcessId());
  if (n > 0) text += u"." + XString::FromInt64(n);
  text += u".rewrite.tmp";
  return text;
}

bool XRewriteFile::OpenRewrite(const XString& name) {
  Close();
  XString wanted(name);  // name may be our own target
  target = std::move(wanted);
  commit = false;
  for (int n = 0; n < 100; ++n) {
    if (Open(RewriteName(target, n), XFileMode::Write, XFileMode::CreateNew)) return true;
  }
  path.Clear();
  return false;
}

bool XRewriteFile::Finish() {
  if (path.IsEmpty()) return false;
  XString work = std::move(path);
  path.Clear();
  Close();
  if (commit) {
    for (int attempt = 0; attempt < 10; ++attempt) {
      if (attempt) xfileos::SleepMs(50);
      if (xfileos::Replace(work.ToUtf8(), target.ToUtf8())) return true;
    }
  }
  uint32_t error = XGetLastError();
  xfileos::Delete(work.ToUtf8());
  XSetLastError(commit ? error : XErrNone);
  return false;
}

void PurgeRewriteFiles(const XString& folder) {
  if (!folder.IsEmpty()) xfileos::DeleteFilesEndingWith(folder.ToUtf8(), ".rewrite.tmp");
}
