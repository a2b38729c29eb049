// The debug log: indented trace lines in a UTF-16LE file, and the error and information reports.
#pragma once
#include <cstdint>

#include "foundation/TvHostContext.h"

class XEvent;
class XFile;
class XString;

// Writes one piece of a line to the context's log file under the process-wide lock.
// A text starting with "->->" indents the lines after it by two blanks, one starting with
// "<-<-" takes two away first. With lineEnd the function name (narrow, e.g.
// "TvTransmill::OpenDecoder") follows in brackets and the line ends; without it the next
// piece continues the line. prefix, when given, takes the place of the indentation.
void Log(const char16_t* text, const TvHostContext& context, const char* function = nullptr,
         bool lineEnd = true, const char16_t* prefix = nullptr);

// Logs the text with "*** Error: ", then writes it with the function name and CR LF to the
// context's error handle, which fails the run.
void LogError(const char16_t* text, const TvHostContext& context, const char* function = nullptr);

// Logs the text with "*** Information: " and writes it to the information handle.
void LogInfo(const char16_t* text, const TvHostContext& context, const char* function = nullptr);

void Log(const XString& text, const TvHostContext& context, const char* function = nullptr,
         bool lineEnd = true, const char16_t* prefix = nullptr);
void LogError(const XString& text, const TvHostContext& context, const char* function = nullptr);
void LogInfo(const XString& text, const TvHostContext& context, const char* function = nullptr);

// The same calls for code that holds no context: they use the process-wide one below.
void Log(const char16_t* text, const char* function = nullptr, bool lineEnd = true,
         const char16_t* prefix = nullptr);
void LogError(const char16_t* text, const char* function = nullptr);
void LogInfo(const char16_t* text, const char* function = nullptr);
void Log(const XString& text, const char* function = nullptr, bool lineEnd = true,
         const char16_t* prefix = nullptr);
void LogError(const XString& text, const char* function = nullptr);
void LogInfo(const XString& text, const char* function = nullptr);

// The process-wide context. Until one is set, errors go to standard error, informations
// nowhere, and the log to the file that StartDebugLog opened, if any. Text written to a
// terminal goes out as UTF-8, anywhere else as UTF-16LE.
void XSetLogContext(const TvHostContext& context);
TvHostContext XLogContext();

// True when TONVERA_DEBUG is set to a non-empty value.
bool IsDebugRequested();

// The next log file name: "TVDebug-<pid>.txt", then "TVDebug-<pid>+<n>.txt", in the
// documents folder.
XString DebugFileName();

// Opens the debug log when asked for, by TONVERA_DEBUG or else by the one-shot Debug setting
// (which is reset at once, and also starts the InfoPeek watcher on a temporary file, holding
// debugWatchEvent while the run lives). Makes the opened file the process-wide log. Returns
// whether a log is open; a file that can't be created leaves debugFile closed.
bool StartDebugLog(XFile& debugFile, XEvent& debugWatchEvent);

// Writes a raw UTF-16 text to a handle as the channels do: UTF-8 on a terminal, UTF-16LE
// otherwise. Failures are ignored; a closed handle (0 or -1) writes nothing.
void XWriteChannel(intptr_t handle, const char16_t* text, uint32_t units);
