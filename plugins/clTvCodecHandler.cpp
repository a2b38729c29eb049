// Plug-in discovery: the decoder cache and scan, encoder and DSP loading, listings, name tables.
#include "plugins/clTvCodecHandler.h"

#include "foundation/XDebugLog.h"
#include "foundation/XFileFinder.h"
#include "foundation/XModulePath.h"
#include "foundation/XPath.h"
#include "foundation/XRegistry.h"
#include "foundation/XStringList.h"
#include "plugins/clTvDSP.h"
#include "plugins/clTvDecoder.h"
#include "plugins/clTvEncoder.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace {

// The base folder set for every call; a function's static, so that it may be set during the
// static initialisation of another file.
struct BaseOverride {
  std::mutex mutex;
  XString folder;
};

BaseOverride& Override() {
  static BaseOverride value;
  return value;
}

// From the last dot behind the last "/", dot included; empty when there is none.
XString ExtensionFrom(const XString& path) {
  int slash = path.ReverseFindChar(XPathSeparator);
  int dot = path.ReverseFindChar(u'.');
  return dot > slash ? path.From(dot) : XString();
}

// The library files of a folder in the order the file system gives.
void LibraryFiles(const XString& folder, XStringList& list) {
  XFileFinder finder(folder, XString(u"*") + TvPluginSuffix);
  while (finder.Next())
    if (!finder.IsFolder() && clTvCodecHandler::IsLibraryFile(finder.fullPath))
      list.Add(finder.fullPath);
}

// folder + name + suffix; when that is no library, a file of the folder whose name differs
// only in ASCII case (the least in exact order, when several do).
XString LibraryByName(const XString& folder, const XString& name) {
  XString wanted = name + TvPluginSuffix;
  XString exact = folder + wanted;
  if (clTvCodecHandler::IsLibraryFile(exact)) return exact;
  XString found;
  XFileFinder finder(folder, XString(u"*"));
  while (finder.Next()) {
    if (!XString::EqualsNoCase(finder.Name().CStr(), wanted.CStr())) continue;
    if (!clTvCodecHandler::IsLibraryFile(finder.fullPath)) continue;
    if (found.IsEmpty() || finder.fullPath < found) found = finder.fullPath;
  }
  return found.IsEmpty() ? exact : found;
}

const TvHostContext& ContextOrProcess(const TvHostContext* context, TvHostContext& fallback) {
  if (context) return *context;
  fallback = XLogContext();
  return fallback;
}

// Reload and Make with the entry and exit markers and the "Loading ..." line.
template <typename Binding>
bool LoadByPath(const XString& path, Binding& binding, TvHostContext* context, const char* function,
                const char16_t* what) {
  TvHostContext fallback{};
  const TvHostContext& log = ContextOrProcess(context, fallback);
  Log(u"->->", log, function);
  Log(XString(u"Loading ") + what + u" '" + path + u"'", log, function);
  bool loaded =
      clTvCodecHandler::IsLibraryFile(path) && binding.Reload(path.CStr()) && binding.Make(context);
  Log(u"<-<-", log, function);
  return loaded;
}

// Decodes (or StreamingDecodes) entry `index` of an instantiated decoder; false at the end.
bool DecodesEntry(clTvDecoder& decoder, bool streaming, int32_t index, TvPluginValue& value) {
  value = TvPluginValue{};
  value.index = index;
  return decoder.Get(streaming ? TV_KEY_STREAMING_DECODES : TV_KEY_DECODES, &value) != 0;
}

}  // namespace

// ---- Folders ----

XString clTvCodecHandler::BaseFolder(const void* module) {
  {
    std::lock_guard<std::mutex> lock(Override().mutex);
    if (!Override().folder.IsEmpty()) return Override().folder;
  }
  return ModuleFolder(module);
}

void clTvCodecHandler::SetBaseFolder(const XString& folder) {
  std::lock_guard<std::mutex> lock(Override().mutex);
  Override().folder = folder.IsEmpty() ? XString() : XPath::EnsureSeparator(folder);
}

XString clTvCodecHandler::DecoderFolder(const void* module) {
  return BaseFolder(module) + u"decoder/";
}

XString clTvCodecHandler::EncoderFolder(const void* module) {
  return BaseFolder(module) + u"encoder/";
}

XString clTvCodecHandler::DSPFolder(const void* module) { return BaseFolder(module) + u"DSPs/"; }

// ---- Decoders ----

bool clTvCodecHandler::FindDecoder(const XString& source, clTvDecoder& decoder,
                                   TvHostContext* context, const void* module, bool streaming,
                                   const char16_t* cacheKey) {
  decoder.End();
  XString ext = streaming ? source : ExtensionFrom(source);
  if (!ext.IsEmpty()) {
    XString loaded = decoder.IsBound() ? decoder.Extension() : XString();
    if (XString::EqualsNoCase(loaded.CStr(), ext.CStr())) return decoder.Make(context);
  }
  const char16_t* key = cacheKey ? cacheKey : TvDecoderCacheKey;
  XString folder = DecoderFolder(module);
  XString found;
  // Only the cached file name counts: a moved installation still hits, and a path written
  // by another installation is never loaded.
  XString cached = XRegistry::ReadString(ext.CStr(), XRegistry::RootCurrentUser, key);
  if (!cached.IsEmpty()) {
    XString path = folder + XPath::FileNameOf(cached);
    if (TryDecoderLibrary(path, ext, decoder, context, streaming)) found = path;
  }
  if (found.IsEmpty()) {
    XStringList files;
    LibraryFiles(folder, files);
    for (int32_t i = 0; i < files.Count() && found.IsEmpty(); ++i)
      if (TryDecoderLibrary(files[i], ext, decoder, context, streaming)) found = files[i];
  }
  if (found.IsEmpty()) return false;
  XRegistry::WriteString(found.CStr(), ext.CStr(), XRegistry::RootCurrentUser, key);
  return true;
}

bool clTvCodecHandler::TryDecoderLibrary(const XString& path, const XString& ext,
                                         clTvDecoder& decoder, TvHostContext* context,
                                         bool streaming) {
  if (IsLibraryFile(path) && decoder.Reload(path.CStr(), ext.CStr()) && decoder.Make(context)) {
    TvPluginValue value;
    for (int32_t index = 0; DecodesEntry(decoder, streaming, index, value) && value.text1; ++index)
      if (XString::EqualsNoCase(value.text1, ext.CStr())) return true;
  }
  decoder.Unload();
  return false;
}

void clTvCodecHandler::ListDecoderFiles(XStringList& list, const void* module) {
  list.Clear();
  LibraryFiles(DecoderFolder(module), list);
}

namespace {

// Extensions and format names of one library, unless it asks to stay unlisted.
void AddDecoderTypes(const XString& path, XStringList& extensions, XStringList& names) {
  clTvDecoder decoder;
  TvHostContext silent{};
  if (!decoder.Reload(path.CStr(), u".NOTUSING") || !decoder.Make(&silent)) return;
  TvPluginValue value{};
  if (decoder.Get(TV_KEY_UNLISTED, &value)) return;
  for (int32_t index = 0; DecodesEntry(decoder, false, index, value); ++index) {
    if (!value.text1 || !value.text2) break;
    XString ext(value.text1);
    if (ext.Find(u".IGNORE")) continue;
    extensions.Add(ext);
    names.Add(value.text2);
  }
}

// "*.a<sep>*.b" of the extensions.
XString Patterns(const std::vector<XString>& extensions, const char16_t* separator) {
  XString text;
  for (size_t i = 0; i < extensions.size(); ++i) {
    if (i) text += separator;
    text += u"*";
    text += extensions[i];
  }
  return text;
}

void BuildFilters(bool allAudioFiles, const XStringList& extensions, const XStringList& names,
                  XStringList& filters) {
  filters.Clear();
  if (allAudioFiles) {
    std::vector<XString> all;
    for (int32_t i = 0; i < extensions.Count(); ++i) all.push_back(extensions[i]);
    filters.Add(XString(u"All Audio Files\r") + Patterns(all, u";"));
  }
  // Sorted by name without case, equal names kept together and in scan order.
  std::vector<int32_t> order;
  for (int32_t i = 0; i < names.Count(); ++i) order.push_back(i);
  std::stable_sort(order.begin(), order.end(), [&](int32_t a, int32_t b) {
    int byCase = XString::Compare(names[a].CStr(), names[b].CStr(), 0, true);
    return byCase ? byCase < 0 : XString::Compare(names[a].CStr(), names[b].CStr()) < 0;
  });
  for (size_t i = 0; i < order.size();) {
    const XString& name = names[order[i]];
    std::vector<XString> run;
    for (; i < order.size() && names[order[i]] == name; ++i) run.push_back(extensions[order[i]]);
    filters.Add(name + u"  (" + Patterns(run, u"; ") + u")\r" + Patterns(run, u";"));
  }
}

}  // namespace

void clTvCodecHandler::ListDecoderTypes(bool allAudioFiles, XStringList* extensions,
                                        XStringList* formatNames, XStringList* filters,
                                        const void* module) {
  XStringList files, allExtensions, allNames;
  ListDecoderFiles(files, module);
  for (int32_t i = 0; i < files.Count(); ++i) AddDecoderTypes(files[i], allExtensions, allNames);
  if (extensions) *extensions = allExtensions;
  if (formatNames) *formatNames = allNames;
  if (filters) BuildFilters(allAudioFiles, allExtensions, allNames, *filters);
}

// ---- Encoders ----

bool clTvCodecHandler::LoadEncoder(const XString& name, clTvEncoder& encoder,
                                   TvHostContext* context, const void* module) {
  return LoadByPath(EncoderPath(name, module), encoder, context, "clTvCodecHandler::LoadEncoder",
                    u"Encoder");
}

XString clTvCodecHandler::EncoderPath(const XString& name, const void* module) {
  return LibraryByName(EncoderFolder(module), name);
}

XString clTvCodecHandler::EncoderExtension(const XString& name, const void* module) {
  clTvEncoder encoder;
  TvHostContext silent{};
  XString path = EncoderPath(name, module);
  if (!IsLibraryFile(path) || !encoder.Reload(path.CStr()) || !encoder.Make(&silent))
    return XString();
  TvPluginValue value{};
  if (!encoder.Get(TV_KEY_EXTENSION, &value) || !value.text1) return XString();
  return XString(value.text1);
}

void clTvCodecHandler::ListEncoders(XStringList& list, const XString& exclusions,
                                    const void* module) {
  XStringList excluded, files;
  excluded.Split(exclusions.CStr(), u":");
  LibraryFiles(EncoderFolder(module), files);
  list.Clear();
  for (int32_t i = 0; i < files.Count(); ++i) {
    XString stem = XPath::WithoutExtension(XPath::FileNameOf(files[i]));
    if (!excluded.Contains(stem)) list.Add(stem);
  }
  // "{" sorts behind every letter: bracketed names go last, but "[multi encoder]" stays first.
  for (int32_t i = 0; i < list.Count(); ++i)
    if (list[i].CharAt(1) == u'[' && !XString::EqualsNoCase(list[i].CStr(), u"[multi encoder]"))
      list[i] = XString(u"{") + list[i].From(2);
  list.Sort(true);
  for (int32_t i = 0; i < list.Count(); ++i)
    if (list[i].CharAt(1) == u'{') list[i] = XString(u"[") + list[i].From(2);
}

// ---- DSP effects ----

bool clTvCodecHandler::LoadDSP(const XString& name, clTvDSP& dsp, TvHostContext* context,
                               const void* module) {
  return LoadByPath(DSPPath(name, module), dsp, context, "clTvCodecHandler::LoadDSP", u"DSP");
}

XString clTvCodecHandler::DSPPath(const XString& name, const void* module) {
  return LibraryByName(DSPFolder(module), name);
}

// ---- Name tables ----

bool clTvCodecHandler::IsLosslessFormatName(const XString& name) {
  static const char16_t* const names[] = {
      u"Aiff",          u"Apple Lossless", u"FLAC",
      u"Monkeys Audio", u"Optim FROG",     u"The True Audio (TTA)",
      u"Wave",          u"Wave64",         u"WavPack"};
  for (const char16_t* n : names)
    if (XString::EqualsNoCase(name.CStr(), n)) return true;
  return false;
}

bool clTvCodecHandler::IsMultiLineTag(const XString& key) { return XPath::IsMultiLineTagKey(key); }
