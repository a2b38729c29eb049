// XRewriteFile: writes a new version of a file beside it and puts it in place only when done.
#pragma once
#include "foundation/XFile.h"

class XRewriteFile : public XFile {
 public:
  ~XRewriteFile() override;

  // Creates the first free working file "<path>.p<pid>[.n].rewrite.tmp", n from 0 to 99.
  bool OpenRewrite(const XString& path);
  // With commit: replaces target by the working file; otherwise throws the work away.
  bool Finish();
  static XString RewriteName(const XString& path, int n);

  XString target;
  bool commit = false;
};

// Deletes the leftovers "*.rewrite.tmp" of interrupted rewrites in a folder.
void PurgeRewriteFiles(const XString& folder);
