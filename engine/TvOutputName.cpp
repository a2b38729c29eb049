// Output-name rules: the ".IGNORE" extension, the output's folder, the temporary output.
#include "engine/TvRunRules.h"
#include "engine/TvTransmill.h"
#include "foundation/XPath.h"

namespace {
// The longest temporary output name that the rule can make.
constexpr int kTempNameRoom = 256;
}  // namespace

bool TvIsIgnoreExtension(const XString& outputFile) {
  return XString::EqualsNoCase(XPath::ExtensionOf(outputFile).CStr(), u".IGNORE");
}

XString TvTempOutputName(const XString& outputFile) {
  const XString extension = XPath::ExtensionOf(outputFile);
  const int limit = kTempNameRoom - (extension.Length() + 1);
  XString name = outputFile;
  if (name.Length() > limit) name = name.Left(limit > 0 ? limit : 0);
  name += u".tmp";
  name += extension;
  return name;
}

// An existing output is not touched by the encoder: it writes beside it.
void TvTransmill::ApplyOutputNameRules() {
  dst.tempOutputName.Clear();
  if (TvIsIgnoreExtension(opts.outputFile)) {
    opts.writeTags = 0;
    return;
  }
  if (opts.outputFile.FindChar(u'/') != 0) XPath::CreateFolders(XPath::FolderOf(opts.outputFile));
  if (XPath::Exists(opts.outputFile)) dst.tempOutputName = TvTempOutputName(opts.outputFile);
}

const XString& TvTransmill::NameWrittenTo() const {
  return dst.tempOutputName.Length() != 0 ? dst.tempOutputName : opts.outputFile;
}
