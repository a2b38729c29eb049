// Option intake, second half: the engine's own options, the DSP list, the encoder's line.
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"

#include <algorithm>

namespace {

const char* const kParseFunction = "TvTransmill::ParseCommandLine";

// Options that the engine reads itself and never passes to the encoder.
const char16_t* const kOwnOptions[] = {
    u"infile",
    u"outfile",
    u"convert_to",
    u"tvcmd",
    u"tvcmd8",
    u"evtquit",
    u"evtafterconvseterror",
    u"evtwatchdog",
    u"priority",
    u"silent",
    u"errorfile",
    u"processor",
    u"sourcefreq",
    u"sourcebits",
    u"sourcechannels",
    u"sourcelength",
    u"idtags",
    u"noidtag",
    u"tag",
    u"shrbytesencoded",
    u"batchid",
    u"tmpfolder",
    u"fntousefortagloaddec",
    u"DecoderSet",
    u"dsppreset",
};

XString DspOptionName(int number) {
  XString name(u"dspeffect");
  name += XString(number).CStr();
  return name;
}

// Appends the pairs of dspeffect1, dspeffect2, ... up to the first missing number.
void TakeDspEffects(const XArgList& source, XArgList& pairs) {
  for (int number = 1;; number++) {
    XString value;
    if (!source.Get(DspOptionName(number).CStr(), value, true)) return;
    value.Replace(u"{qt}", u"\"", false);
    const int eq = value.FindChar(u'=', 1);
    if (eq == 0) continue;
    pairs.Add(value.Left(eq - 1), value.From(eq + 1), 0);
  }
}

}  // namespace

bool TvTransmill::ParseCommandLine() {
  XString value;
  if (Get(u"errorfile", value, true) && value.Length() > 0) {
    io.stdErr.Close();
    io.stdErr.OpenCreate(value);
    opts.errorFileGiven = 1;
  }
  Get(u"convert_to", opts.encoderName, true);
  Get(u"infile", opts.inputFile, true);
  opts.inputIsStdin = XString::SameText(opts.inputFile.CStr(), u"-") ? 1 : 0;
  Get(u"outfile", opts.outputFile, true);
  opts.tagLoadFile = opts.outputFile;
  if (Has(u"fntousefortagloaddec", true)) Get(u"fntousefortagloaddec", opts.tagLoadFile, true);

  const bool noneGiven = opts.encoderName.Length() == 0 && opts.inputFile.Length() == 0 &&
                         opts.outputFile.Length() == 0;
  if (noneGiven || Has(u"help", true)) {
    if (opts.hostMode) {
      ReportError(u"Error missing infile & outfile & convert_to.", kParseFunction);
    } else {
      PrintBanner();
      PrintUsage();
    }
    return false;
  }
  if (opts.encoderName.Length() == 0)
    return ReportError(u"Error no encoder specified.", kParseFunction), false;
  if (opts.inputFile.Length() == 0)
    return ReportError(u"Error no input file specified", kParseFunction), false;
  if (opts.outputFile.Length() == 0)
    return ReportError(u"Error no ouput file specified", kParseFunction), false;

  if (Has(u"noidtag", true)) opts.writeTags = 0;
  if (Has(u"silent", true) || opts.hostMode) opts.silent = 1;
  ReadOwnValues();
  OpenNamedObjects();
  BuildDspList();
  return true;
}

// The options that only keep a value for later phases; an empty value counts as absent.
void TvTransmill::ReadOwnValues() {
  XString value;
  if (Get(u"evtquit", value, true) && value.Length() > 0) opts.quitEventName = value;
  if (Get(u"evtafterconvseterror", value, true) && value.Length() > 0)
    opts.afterConvErrorEventName = value;
  if (Get(u"batchid", value, true) && value.Length() > 0) {
    if (XString::EqualsNoCase(value.CStr(), u"auto"))
      opts.batchAuto = 1;
    else
      opts.batchId = static_cast<uint32_t>(value.ToInt64());
  }
  if (Get(u"evtwatchdog", value, true) && value.Length() > 0) opts.watchdogEventName = value;
  if (Get(u"processor", value, true) && value.Length() > 0)
    opts.processorNumber = static_cast<uint32_t>(value.ToInt64());
  if (Get(u"shrbytesencoded", value, true) && value.Length() > 0)
    opts.bytesEncodedShareName = value;
  if (Get(u"priority", value, true) && value.Length() > 0) opts.priorityName = value;
  if (Get(u"tmpfolder", value, true) && value.Length() > 0) {
    opts.tmpFolder = value;
    opts.tmpFolder.AppendUnique(u'/');
  }
}

void TvTransmill::ReadDspPreset(const XString& path, XArgList& pairs) {
  XFile file;
  if (!file.OpenRead(path)) return;
  XString line;
  file.ReadLine(line, true, false);
  if (line.Length() == 0) return;
  TakeDspEffects(XArgList(line, 1), pairs);
}

void TvTransmill::BuildDspList() {
  XArgList pairs(static_cast<const char16_t*>(nullptr));  // not the process's arguments
  XString preset;
  if (Get(u"dsppreset", preset, true) && preset.Length() > 0) ReadDspPreset(preset, pairs);
  TakeDspEffects(*this, pairs);
  if (opts.batchAuto) opts.batchCommand = DspCommandText(pairs);

  // ReplayGain measures the finished audio, so it always runs behind every other effect.
  std::vector<int> order;
  for (int i = 0; i < pairs.Count(); i++) order.push_back(i);
  XString name, options;
  std::stable_partition(order.begin(), order.end(), [&](int i) {
    pairs.GetAt(i, name, options);
    return !XString::SameText(name.CStr(), u"ReplayGain");
  });
  for (int i : order) {
    auto entry = std::make_unique<clTvDSPEntry>();
    pairs.GetAt(i, entry->name, entry->options);
    dsps.effects.push_back(std::move(entry));
  }
}

XString TvTransmill::DspCommandText(const XArgList& pairs) {
  XString text, name, options;
  for (int i = 0; i < pairs.Count(); i++) {
    pairs.GetAt(i, name, options);
    XString pair = name;
    pair += u"=";
    pair += options.CStr();
    pair.Replace(u"\"", u"{qt}", false);
    text += u" -";
    text += DspOptionName(i + 1).CStr();
    text += u"=\"";
    text += pair.CStr();
    text += u"\"";
  }
  return text;
}

bool TvTransmill::IsOwnOption(const XString& key) const {
  for (const char16_t* own : kOwnOptions)
    if (XString::EqualsNoCase(key.CStr(), own)) return true;
  for (size_t n = 1; n <= dsps.effects.size(); n++)
    if (XString::EqualsNoCase(key.CStr(), DspOptionName(static_cast<int>(n)).CStr())) return true;
  return false;
}

XString TvTransmill::StripTransmillCmds() {
  const char* const function = "TvTransmill::StripTransmillCmds";
  Log(u"->->", io.logHandles, function, true, nullptr);
  XString line, key, value;
  for (int i = 0; GetAt(i, key, value); i++) {
    if (IsOwnOption(key)) continue;
    line += u" -";
    line += key.CStr();
    if (value.Length() == 0) continue;
    line += u"=\"";
    line += value.CStr();
    line += u"\"";
  }
  Log(u"<-<-", io.logHandles, function, true, nullptr);
  return line;
}
