// The capture pipes and the output relay thread that empties them every 50 ms.
#include "engine/TvStdHandles.h"
#include "engine/TvTransmill.h"
#include "foundation/XDebugLog.h"

namespace {

constexpr uint32_t kRelayPeriod = 50;
constexpr uint32_t kRelayStopTimeout = 60000;
const TvHostContext kDefaultContext = {2, -1, -1};

// Bytes as they came, except on a terminal, where the UTF-16 text is shown as UTF-8.
void PassOn(XFile& target, const XBuffer& bytes, uint32_t count) {
  if (TvIsTerminal(target.Handle())) {
    const XString text = XString::FromWideBytes(bytes.data, static_cast<int>(count & ~1u));
    XWriteChannel(target.Handle(), text.CStr(), static_cast<uint32_t>(text.Length()));
  } else if (target.IsOpen()) {
    target.Write(bytes.data, count);
  }
}

}  // namespace

bool TvTransmill::CreateCapturePipes() {
  // The write ends go to child engines; the read ends stay with this process alone.
  const bool made = errorPipe.Create(true) && infoPipe.Create(true);
  TvKeepFromChildren(errorPipe.readHandle);
  TvKeepFromChildren(infoPipe.readHandle);
  if (made) {
    logHandles.errorHandle = errorPipe.writeHandle;
    logHandles.infoHandle = infoPipe.writeHandle;
  } else {
    logHandles.errorHandle = stdErr.IsOpen() ? stdErr.Handle() : -1;
    logHandles.infoHandle = -1;
  }
  logHandles.logHandle = debugFile.IsOpen() ? debugFile.Handle() : 0;
  XSetLogContext(logHandles);
  return made;
}

bool TvTransmill::StartOutputRelay() {
  return relayThread.Start(
      [this](XEvent& quit) {
        XSetCurrentThreadName(u"tvOutputRelay");
        while (!quit.IsSet()) {
          RelayStep();
          quit.Wait(kRelayPeriod);
        }
        while (RelayStep()) {
        }
      },
      false, kRelayStopTimeout);
}

bool TvTransmill::RelayStep() {
  infoPipe.ReadAvailable(nullptr);
  const uint32_t infoCount = infoPipe.receivedCount;
  if (infoCount > 0) {
    if (hostMode) {
      PassOn(stdOut, infoPipe.received, infoCount);
    } else if (!silent) {
      // On a console every information starts on a line of its own, behind the bar.
      Print(XString(), true);
      Print(XString::FromWideBytes(infoPipe.received.data, static_cast<int>(infoCount & ~1u)),
            true);
    }
  }
  errorPipe.ReadAvailable(nullptr);
  const uint32_t errorCount = errorPipe.receivedCount;
  if (errorCount > 0) {
    RaiseFailed();
    PassOn(stdErr, errorPipe.received, errorCount);
  }
  return infoCount > 0 || errorCount > 0;
}

void TvTransmill::StopOutputRelay() {
  if (relayThread.IsRunning()) {
    relayThread.Close();
  } else if (errorPipe.readHandle >= 0 || infoPipe.readHandle >= 0) {
    while (RelayStep()) {
    }
  }
  // The context names our pipes and the debug log, which close with this run.
  const TvHostContext current = XLogContext();
  const bool ourPipes =
      current.errorHandle == logHandles.errorHandle && current.infoHandle == logHandles.infoHandle;
  const bool ourLog = debugFile.IsOpen() && current.logHandle == debugFile.Handle();
  if (ourPipes || ourLog) XSetLogContext(kDefaultContext);
}
