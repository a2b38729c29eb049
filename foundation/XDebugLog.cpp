// The log writer: one lock and one indentation for the whole process, lines as a tree.
#include "foundation/XDebugLog.h"

#include <mutex>
#include <string>

#include "foundation/XString.h"
#include "foundation/XTextCodec.h"

void XWriteLogFile(intptr_t handle, const char16_t* text, size_t units);

namespace {

constexpr char16_t EnterMarker[] = u"->->";
constexpr char16_t LeaveMarker[] = u"<-<-";

// Constant-initialised, so that logging works from other static initialisers too.
std::mutex logLock;
std::u16string indentation;
bool previousLineEnded = false;

std::mutex contextLock;
TvHostContext processContext = {2, -1, -1};

bool StartsWith(const char16_t* text, const char16_t (&marker)[5]) {
  for (int i = 0; i < 4; ++i) {
    if (text[i] != marker[i]) return false;
  }
  return true;
}

void AppendFunction(std::u16string& line, const char* function) {
  if (function == nullptr) return;
  line += u"  [";
  line += XUtf8ToUtf16(function);
  line += u"]";
}

// The report for a channel: text, function name in brackets, line end; no indentation.
void Report(const char16_t* text, intptr_t handle, const char* function) {
  std::u16string line = text;
  AppendFunction(line, function);
  line += u"\r\n";
  XWriteChannel(handle, line.c_str(), static_cast<uint32_t>(line.size()));
}

const char16_t* OrEmpty(const char16_t* text) { return text != nullptr ? text : u""; }

}  // namespace

void Log(const char16_t* text, const TvHostContext& context, const char* function, bool lineEnd,
         const char16_t* prefix) {
  text = OrEmpty(text);
  std::lock_guard<std::mutex> guard(logLock);
  if (StartsWith(text, LeaveMarker)) {
    indentation.resize(indentation.size() >= 2 ? indentation.size() - 2 : 0);
  }
  std::u16string line;
  if (prefix != nullptr) {
    line = prefix;
  } else if (previousLineEnded) {
    line = indentation;
  }
  line += text;
  if (lineEnd) {
    AppendFunction(line, function);
    line += u"\r\n";
  }
  XWriteLogFile(context.logHandle, line.c_str(), line.size());
  if (StartsWith(text, EnterMarker)) indentation += u"  ";
  previousLineEnded = lineEnd;
}

void LogError(const char16_t* text, const TvHostContext& context, const char* function) {
  text = OrEmpty(text);
  Log(text, context, function, true, u"*** Error: ");
  Report(text, context.errorHandle, function);
}

void LogInfo(const char16_t* text, const TvHostContext& context, const char* function) {
  text = OrEmpty(text);
  Log(text, context, function, true, u"*** Information: ");
  Report(text, context.infoHandle, function);
}

void Log(const XString& text, const TvHostContext& context, const char* function, bool lineEnd,
         const char16_t* prefix) {
  Log(text.CStr(), context, function, lineEnd, prefix);
}

void LogError(const XString& text, const TvHostContext& context, const char* function) {
  LogError(text.CStr(), context, function);
}

void LogInfo(const XString& text, const TvHostContext& context, const char* function) {
  LogInfo(text.CStr(), context, function);
}

void Log(const char16_t* text, const char* function, bool lineEnd, const char16_t* prefix) {
  Log(text, XLogContext(), function, lineEnd, prefix);
}

void LogError(const char16_t* text, const char* function) {
  LogError(text, XLogContext(), function);
}

void LogInfo(const char16_t* text, const char* function) { LogInfo(text, XLogContext(), function); }

void Log(const XString& text, const char* function, bool lineEnd, const char16_t* prefix) {
  Log(text.CStr(), XLogContext(), function, lineEnd, prefix);
}

void LogError(const XString& text, const char* function) {
  LogError(text.CStr(), XLogContext(), function);
}

void LogInfo(const XString& text, const char* function) {
  LogInfo(text.CStr(), XLogContext(), function);
}

void XSetLogContext(const TvHostContext& context) {
  std::lock_guard<std::mutex> guard(contextLock);
  processContext = context;
}

TvHostContext XLogContext() {
  std::lock_guard<std::mutex> guard(contextLock);
  return processContext;
}

void XSetLogFileHandle(intptr_t handle) {
  std::lock_guard<std::mutex> guard(contextLock);
  processContext.logHandle = handle;
}
