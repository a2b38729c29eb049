// Output-name rules: the claim on the output, the ".IGNORE" extension, the output's folder, the
// temporary output.
#include "engine/TvRunRules.h"
#include "engine/TvTransmill.h"
#include "foundation/XLastError.h"
#include "foundation/XPath.h"

namespace {
const char* const kClaimFunction = "TvTransmill::ClaimOutput";
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

// Taken before anything is made, for the process's life: two runs on one output would write one
// temporary name. The key is the resolved path, so that every spelling of the output meets it.
bool TvTransmill::ClaimOutput() {
  if (TvIsIgnoreExtension(opts.outputFile)) return true;
  if (!opts.inputIsStdin && XPath::SameFile(opts.inputFile, opts.outputFile)) {
    ReportError(u"Error: Output file '" + opts.outputFile + u"' is the input file '" +
                    opts.inputFile + u"'.",
                kClaimFunction);
    return false;
  }
  // A system without the means to claim still converts, unguarded.
  if (dst.outputClaim.OpenClaim(XPath::ResolvedPath(opts.outputFile)) ||
      XGetLastError() != XErrSharingViolation)
    return true;
  ReportError(u"Error: Output file '" + opts.outputFile + u"' is being written by another run.",
              kClaimFunction);
  return false;
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
