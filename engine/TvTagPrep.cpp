// The tags the output will carry: the host's, the source's, and the few that describe this run.
#include "engine/TvTransmill.h"
#include "foundation/XFile.h"
#include "foundation/XModulePath.h"
#include "foundation/XPath.h"
#include "foundation/XRegistry.h"
#include "tags/XTagList.h"

namespace {
// The value of a tag option with "{qt}" made a double quote.
XString Unquoted(const XString& text) {
  XString copy(text);
  copy.Replace(u"{qt}", u"\"");
  return copy;
}

void Trim(XString& text) {
  text.TrimLeft();
  text.TrimRight();
}

bool IsPseudoEncoder(const XString& name) {
  return XString::SameText(name.CStr(), u"[Audio Info]") ||
         XString::SameText(name.CStr(), u"[Arrange Audio]") ||
         XString::SameText(name.CStr(), u"[ID Tag Update]");
}

// Spaces that look like blanks but aren't: they become blanks before the ends are trimmed.
bool IsOddSpace(char16_t c) {
  return c == 0x00A0 || (c >= 0x2002 && c <= 0x200A) || c == 0x202F || c == 0x205F || c == 0x3000;
}

void CleanSpaces(XString& value) {
  XString clean;
  for (int pos = 1; pos <= value.Length(); pos++) {
    const char16_t c = value.CharAt(pos);
    clean.AppendChar(IsOddSpace(c) ? u' ' : c);
  }
  Trim(clean);
  value = clean;
}

void Replace(XTagList& list, const char16_t* key, const XString& value) {
  list.Remove(XString(key));
  list.Add(XString(key), value);
}

// The first line of a version file below `folder`; empty when there is none.
XString TvVersionLine(const XString& folder, const XString& relativePath) {
  XString path = folder;
  path += relativePath;
  XFile file;
  XString line;
  if (!file.OpenRead(path) || !file.ReadLine(line, false, false)) return XString();
  return line;
}

// "Release 17.2 (Abc encoder 1.3)" gives "Abc encoder 1.3"; other lines stay as they are.
XString TvEncoderVersionText(const XString& line) {
  if (!XString::Equals(line.CStr(), u"Release", 7, true)) return line;
  XString text(line);
  const int blank = text.FindChar(u' ', 9);
  if (blank == 0)
    text = XString();
  else
    text.ChopLeft(blank);
  Trim(text);
  if (text.CharAt(1) == u'(' || text.CharAt(1) == u'[') text.ChopLeft(1);
  const char16_t last = text.CharAt(text.Length());
  if (last == u')' || last == u']') text.ChopRight(1);
  return text;
}
}  // namespace

void TvTransmill::AddOptionTags() {
  for (int32_t index = 0; index < XArgList::Count(); index++) {
    XString key;
    XString value;
    if (!GetAt(index, key, value) || !XString::EqualsNoCase(key.CStr(), u"tag")) continue;
    value = Unquoted(value);
    const int equals = value.FindChar(u'=');
    if (equals > 1) dst.tagList.Add(value.Left(equals - 1), value.From(equals + 1));
  }
}

void TvTransmill::MergeSourceTags(const void* tagBlock, uint32_t tagBlockSize) {
  if (tagBlock == nullptr || tagBlockSize == 0) return;
  XTagList source;
  source.FromBlock(tagBlock, tagBlockSize);
  // A key set by an option keeps the option's values alone; any other key comes with every
  // value the source holds (a field with two artists keeps both).
  const XTagList fromOptions(dst.tagList);
  for (int32_t index = 0; index < source.Count(); index++) {
    if (fromOptions.Find(source.At(index).key) == nullptr) dst.tagList.AddItem(source.At(index));
  }
}

void TvTransmill::RefreshSourceTag() {
  if (dst.tagList.Find(XString(u"Source")) == nullptr) return;
  if (src.openInfo.properties == nullptr || src.openInfo.propertiesSize == 0) return;
  XTagList info;
  info.FromBlock(src.openInfo.properties, src.openInfo.propertiesSize);
  const XString quality = info.GetValue(XString(u"Audio Quality"));
  XString source = dst.tagList.GetValue(XString(u"Source"));
  if (quality.Length() == 0 || XString::SameText(quality.CStr(), source.CStr())) return;
  // An empty description has nothing for the quality to stand behind.
  if (source.Length() != 0) source += u" >> ";
  source += quality;
  XString extension = XPath::ExtensionOf(opts.inputFile);
  if (extension.Length() != 0 && !XString::EqualsNoCase(extension.CStr(), u".iGnore")) {
    extension.ChopLeft(1);
    source += u" [";
    source += extension;
    source += u"]";
  }
  Replace(dst.tagList, u"Source", source);
}

void TvTransmill::RefreshEncodedByTag() {
  if (dst.tagList.Find(XString(u"Encoded By")) == nullptr) return;
  const XString line = TvVersionLine(opts.versionFolder, XString(u"Versions/tVH.txt"));
  XString value(u"Tonvera");
  if (line.Length() != 0) {
    value += u" ";
    value += line;
  }
  Replace(dst.tagList, u"Encoded By", value);
}

void TvTransmill::RefreshEncoderTag() {
  if (dst.tagList.Find(XString(u"Encoder")) == nullptr) return;
  XString path(u"Versions/Compression/");
  path += opts.encoderName;
  path += u".txt";
  const XString line = TvEncoderVersionText(TvVersionLine(opts.versionFolder, path));
  Replace(dst.tagList, u"Encoder", line.Length() != 0 ? line : opts.encoderName);
}

void TvTransmill::RefreshEncoderSettingsTag() {
  if (dst.tagList.Find(XString(u"Encoder Settings")) == nullptr) return;
  XString text(dst.encoderSettings);
  Trim(text);
  if (text.Length() == 0) return;
  if (text.Find(u"-cli_cmd=") != 0) {
    XArgList args;
    args.Parse(text, 1);
    XString command;
    if (args.Get(u"cli_cmd", command, true) && command.Length() != 0) text = Unquoted(command);
  }
  Replace(dst.tagList, u"Encoder Settings", text);
}

// Builds tagList and tagBytes; the tag block of the encoder's record is set in every run.
void TvTransmill::PrepareTags(const void* tagBlock, uint32_t tagBlockSize) {
  if (opts.versionFolder.Length() == 0) opts.versionFolder = ModuleFolder();
  AddOptionTags();
  MergeSourceTags(tagBlock, tagBlockSize);
  if (!IsPseudoEncoder(opts.encoderName) && XRegistry::ReadDWORD(u"tVHNoUpdateEncoderTags") == 0) {
    dst.tagList.Remove(XString(u"Encoding Tool"));
    RefreshSourceTag();
    RefreshEncodedByTag();
    RefreshEncoderTag();
    RefreshEncoderSettingsTag();
  }
  if (XRegistry::ReadDWORD(u"tVHNoTagDropSpaces") == 0) {
    for (int32_t index = 0; index < dst.tagList.Count(); index++)
      CleanSpaces(dst.tagList.At(index).value);
  }
  if (XRegistry::ReadDWORD(u"tVHNoDropRPGainTags") == 0 && opts.keepReplayGainTags == 0) {
    for (const char16_t* key : {u"replaygain_track_gain", u"replaygain_track_peak",
                                u"replaygain_album_gain", u"replaygain_album_peak", u"iTunNORM"})
      dst.tagList.Take(XString(key));
  }
  dst.tagList.Take(XString(u"ITUNSMPB"));
  dst.tagList.ToBlock(dst.tagBytes);
}
