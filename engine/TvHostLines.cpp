// The lines a host reads on standard output: "MSGTO: tVH: " and what the run has to tell.
#include "engine/TvTransmill.h"
#include "foundation/XPath.h"

namespace {

// Sends a status text only when it is set and differs, case counted, from the last one.
bool TakeIfNew(XString& last, const char16_t* text) {
  if (text == nullptr || text[0] == 0 || XString::SameText(last.CStr(), text)) return false;
  last = text;
  return true;
}

}  // namespace

void TvTransmill::SendHostLine(const XString& rest) {
  if (!opts.hostMode) return;
  XString line(u"MSGTO: tVH: ");
  line += rest.CStr();
  Print(line, true);
}

void TvTransmill::SendMsLen(uint64_t milliseconds) {
  XString rest(u"msLen: ");
  rest += XString::FromUInt64(milliseconds).CStr();
  SendHostLine(rest);
}

void TvTransmill::SendAction(const XString& text) {
  XString rest(u"Action: ");
  rest += text.CStr();
  SendHostLine(rest);
}

void TvTransmill::SendEncodingAction(const XString& output) {
  XString text(u"Encoding '");
  text += XPath::BaseNameOf(output).CStr();
  text += u"'";
  SendAction(text);
}

void TvTransmill::SendTagWritingAction(const XString& output) {
  XString text(u"Writing ID Tags '");
  text += XPath::BaseNameOf(output).CStr();
  text += u"'";
  SendAction(text);
}

void TvTransmill::SendActionInput(const char16_t* text) {
  if (!opts.hostMode || !TakeIfNew(io.lastActionInput, text)) return;
  SendHostLine(XString::Concat(XString(u"ActionInput: "), text));
}

void TvTransmill::SendActionOutput(const char16_t* text) {
  if (!opts.hostMode || !TakeIfNew(io.lastActionOutput, text)) return;
  SendHostLine(XString::Concat(XString(u"ActionOutput: "), text));
}

// Only a rise is sent, so a host never sees the percentage go back, nor 0 %.
void TvTransmill::SendPercentDone(uint32_t percent) {
  if (percent > 100) percent = 100;
  if (!opts.hostMode || percent <= io.lastPercentSent) return;
  io.lastPercentSent = percent;
  XString rest(u"PCDone: ");
  rest += XString(static_cast<int32_t>(percent)).CStr();
  rest += u" %";
  SendHostLine(rest);
}

void TvTransmill::SendFileName(const XString& path) {
  SendHostLine(XString::Concat(XString(u"FileName: "), path.CStr()));
}
