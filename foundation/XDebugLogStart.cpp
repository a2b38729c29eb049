// Start-up of the debug log: by environment into the documents folder, or once by setting.
#include <unistd.h>

#include <atomic>

#include "foundation/XDebugLog.h"
#include "foundation/XEvent.h"
#include "foundation/XFile.h"
#include "foundation/XLastError.h"
#include "foundation/XModulePath.h"
#include "foundation/XPath.h"
#include "foundation/XProcessLaunch.h"
#include "foundation/XRegistry.h"
#include "foundation/XString.h"
#include "foundation/XTempFile.h"

void XSetLogFileHandle(intptr_t handle);

namespace {

std::atomic<uint32_t> namesHandedOut{0};

constexpr const char16_t* SettingsKey = u"Software\\Morlane\\Tonvera";

// Created anew, readable and writable, shared; a failure leaves the file closed.
bool CreateLogFile(XFile& file, const XString& path) {
  return file.Open(path, XFileMode::Read | XFileMode::Write, XFileMode::CreateAlways, false, true);
}

// A one-shot request: the setting goes back to 0 before anything else happens.
bool TakeSettingRequest() {
  if (XRegistry::ReadDWORD(u"Debug", XRegistry::RootCurrentUser, SettingsKey) == 0) return false;
  XRegistry::WriteDWORD(0, u"Debug", XRegistry::RootCurrentUser, SettingsKey);
  return true;
}

// Its being there is what the watcher looks for; nothing ever sets it.
XString CreateWatchEvent(XEvent& event) {
  while (true) {
    XString name = XString::Formatted(u"TvDGB%u", XTickCount());
    if (!event.Create(name.CStr())) return XString();
    if (!event.AlreadyExisted()) return name;
  }
}

void StartWatcher(const XString& eventName, const XString& fileName) {
  XProcessLaunch launch;
  launch.programPath = ModuleFolder() + u"InfoPeek";
  launch.arguments =
      XString(u"-DebugWatch=\"") + eventName + u"\" -DebugFile=\"" + fileName + u"\"";
  launch.creationFlags = XCreateNoWindow | XCreateNormalPriority;
  launch.Run();
}

bool StartFromSetting(XFile& debugFile, XEvent& debugWatchEvent) {
  XTempFile temp("DBG", ".TXT");
  XString path = temp.Detach();  // never deleted: the user hands it to support
  if (path.IsEmpty() || !CreateLogFile(debugFile, path)) return false;
  XString eventName = CreateWatchEvent(debugWatchEvent);
  StartWatcher(eventName, path);
  return true;
}

}  // namespace

XString DebugFileName() {
  uint32_t count = namesHandedOut.fetch_add(1);
  unsigned pid = static_cast<unsigned>(getpid());
  XString name = count == 0 ? XString::Formatted(u"TVDebug-%u.txt", pid)
                            : XString::Formatted(u"TVDebug-%u+%u.txt", pid, count);
  return XPath::SpecialFolder(XFolderDocuments) + name;
}

bool StartDebugLog(XFile& debugFile, XEvent& debugWatchEvent) {
  bool open = false;
  if (IsDebugRequested()) {
    // A fresh account may have no documents folder yet.
    XPath::CreateFolders(XPath::SpecialFolder(XFolderDocuments));
    open = CreateLogFile(debugFile, DebugFileName());
  } else if (TakeSettingRequest()) {
    open = StartFromSetting(debugFile, debugWatchEvent);
  }
  XSetLogFileHandle(open ? debugFile.Handle() : -1);
  return open;
}
