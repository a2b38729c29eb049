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
    stdErr.Close();
    stdErr.OpenCreate(value);
    errorFileGiven = 1;
  }
  Get(u"convert_to", encoderName, true);
  Get(u"infile", inputFile, true);
  inputIsStdin = XString::SameText(inputFile.CStr(), u"-") ? 1 : 0;
  Get(u"outfile", outputFile, true);
  tagLoadFile = outputFile;
  if (Has(u"fntousefortagloaddec", true)) Get(u"fntousefortagloaddec", tagLoadFile, true);

  const bool noneGiven =
      encoderName.Length() == 0 && inputFile.Length() == 0 && outputFile.Length() == 0;
  if (noneGiven || Has(u"help", true)) {
    if (hostMode) {
      ReportError(u"Error missing infile & outfile & convert_to.", kParseFunction);
    } else {
      PrintBanner();
      PrintUsage();
    }
    return false;
  }
  if (encoderName.Length() == 0)
    return ReportError(u"Error no encoder specified.", kParseFunction), false;
  if (inputFile.Length() == 0)
    return ReportError(u"Error no input file specified", kParseFunction), false;
  if (outputFile.Length() == 0)
    return ReportError(u"Error no ouput file specified", kParseFunction), false;

  if (Has(u"noidtag", true)) writeTags = 0;
  if (Has(u"silent", true) || hostMode) silent = 1;
  ReadOwnValues();
  OpenNamedObjects();
  BuildDspList();
  return true;
}

// The options that only keep a value for later phases; an empty value counts as absent.
void TvTransmill::ReadOwnValues() {
  XString value;
  if (Get(u"evtquit", value, true) && value.Length() > 0) quitEventName = value;
  if (Get(u"evtafterconvseterror", value, true) && value.Length() > 0)
    afterConvErrorEventName = value;
  if (Get(u"batchid", value, true) && value.Length() > 0) {
    if (XString::EqualsNoCase(value.CStr(), u"auto"))
      batchAuto = 1;
    else
      batchId = static_cast<uint32_t>(value.ToInt64());
  }
  if (Get(u"evtwatchdog", value, true) && value.Length() > 0) watchdogEventName = value;
  if (Get(u"processor", value, true) && value.Length() > 0) {
    processorNumber = static_cast<uint32_t>(value.ToInt64());
    ApplyProcessor(value);
  }
  if (Get(u"shrbytesencoded", value, true) && value.Length() > 0) bytesEncodedShareName = value;
  if (Get(u"priority", value, true) && value.Length() > 0) priorityName = value;
  if (Get(u"tmpfolder", value, true) && value.Length() > 0) {
    tmpFolder = value;
    tmpFolder.AppendUnique(u'/');
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
  if (batchAuto) batchCommand = DspCommandText(pairs);

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
    dspEffects.push_back(std::move(entry));
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
  for (size_t n = 1; n <= dspEffects.size(); n++)
    if (XString::EqualsNoCase(key.CStr(), DspOptionName(static_cast<int>(n)).CStr())) return true;
  return false;
}

XString TvTransmill::StripTransmillCmds() {
  const char* const function = "TvTransmill::StripTransmillCmds";
  Log(u"->->", logHandles, function, true, nullptr);
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
  Log(u"<-<-", logHandles, function, true, nullptr);
  return line;
}
