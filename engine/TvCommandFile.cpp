// Option intake, first half: the process's arguments and the host's command file.
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"

#include <cstring>
#include <new>
#include <vector>

void TvTransmill::SplitProcessCommandLine(int argc, const char* const* argv) {
  XStringList items;
  for (int i = 0; i < argc; i++) items.Add(XString(argv[i], true), 0);
  Log(u"Splitting Command Line:", io.logHandles, nullptr, true, nullptr);
  Log(items.ToCommandText().CStr(), io.logHandles, nullptr, true, nullptr);
  ParseArgv(argc, argv, 1);
}

bool TvTransmill::ReadCommandFileIfNamed() {
  XString path;
  if (Get(u"tvcmd", path, true)) return ReadTvCommandFile(path, false);
  if (Get(u"tvcmd8", path, true)) return ReadTvCommandFile(path, true);
  return true;
}

// The four failures reach the debug log only: the caller shows its own box.
static bool CommandFileFailure(const TvHostContext& context, const char16_t* text) {
  Log(text, context, nullptr, false, nullptr);
  return false;
}

bool TvTransmill::ReadTvCommandFile(const XString& path, bool narrow) {
  XFile file;
  if (!file.OpenRead(path)) return CommandFileFailure(io.logHandles, u"Error opening TvCmd File.");
  bool sizeFailed = false;
  const uint64_t size = static_cast<uint64_t>(file.Size(&sizeFailed));
  if (sizeFailed || size == 0)
    return CommandFileFailure(io.logHandles, u"Error TvCmd File is Empty.");
  const uint32_t length = static_cast<uint32_t>(size);
  const uint64_t room = uint64_t(length) + (narrow ? 1 : 4);
  if (room > 0xFFFFFFFFu)
    return CommandFileFailure(io.logHandles, u"Error allocating TvCmd File Buffer.");

  // Units rather than bytes, so the UTF-16 text is aligned; the zero fill ends the text.
  std::vector<char16_t> units;
  try {
    units.assign((room + 1) / 2, 0);
  } catch (const std::bad_alloc&) {
    return CommandFileFailure(io.logHandles, u"Error allocating TvCmd File Buffer.");
  }
  bool readFailed = false;
  const uint32_t got = file.Read(units.data(), length, 0, &readFailed);
  if (readFailed || got != length || size >= 0x100000000ull)
    return CommandFileFailure(io.logHandles, u"Error reading TvCmd File.");

  XString text;
  if (narrow)
    text = XString::FromUtf8Bytes(reinterpret_cast<const char*>(units.data()), length);
  else
    text = XString(units.data());
  Parse(text, 1);
  opts.hostMode = 1;
  return true;
}
