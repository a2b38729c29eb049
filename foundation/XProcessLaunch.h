// XProcessLaunch: a description of a process to start, and the start itself.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/XString.h"

// Creation flags in the system's numbering; only these change anything on Linux.
enum : uint32_t {
  XCreateNormalPriority = 0x20,
  XCreateIdlePriority = 0x40,
  XCreateHighPriority = 0x80,
  XCreateBelowNormalPriority = 0x4000,
  XCreateAboveNormalPriority = 0x8000,
  // No console of its own: the child gets no standard input, and writes to the user's
  // terminal when the process has one, otherwise nowhere.
  XCreateNoWindow = 0x08000000,
};

struct XProcessLaunch {
  // The whole command line; when empty, made of the quoted program path, a blank and the
  // arguments. It is split as the system splits a command line: blanks and tabs separate
  // outside double quotes, quotes group and are dropped, \" is a quote.
  XString commandLine;
  XString programPath;
  XString arguments;
  bool wait = false;
  // With wait: 0 waits for ever; otherwise the run gives false once this has passed.
  uint32_t timeout = 0;
  // Without it, descriptors other than the standard three are closed in the child.
  bool inheritHandles = false;
  uint32_t creationFlags = XCreateNormalPriority;
  bool terminateOnTimeout = false;
  // Empty: the current folder.
  XString workingFolder;

  // Set by Run: the child's process id, and after a completed wait its exit code
  // (128 + the signal number for a child ended by a signal).
  int processId = 0;
  uint32_t exitCode = 0;

  // Starts the process. Without wait, true once it started (it is reaped in the background).
  // With wait, true when it ended in time; past the time-out false, and the child is killed
  // only when terminateOnTimeout is set. A start failure gives false with the last error set.
  bool Run();
};

// Splits a command line into its arguments by the rules above.
std::vector<std::u16string> XSplitCommandLine(const char16_t* commandLine);
