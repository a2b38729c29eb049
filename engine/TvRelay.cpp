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
  const bool made = io.errorPipe.Create(true) && io.infoPipe.Create(true);
  TvKeepFromChildren(io.errorPipe.readHandle);
  TvKeepFromChildren(io.infoPipe.readHandle);
  if (made) {
    io.logHandles.errorHandle = io.errorPipe.writeHandle;
    io.logHandles.infoHandle = io.infoPipe.writeHandle;
  } else {
    io.logHandles.errorHandle = io.stdErr.IsOpen() ? io.stdErr.Handle() : -1;
    io.logHandles.infoHandle = -1;
  }
  io.logHandles.logHandle = io.debugFile.IsOpen() ? io.debugFile.Handle() : 0;
  XSetLogContext(io.logHandles);
  return made;
}

bool TvTransmill::StartOutputRelay() {
  return io.relayThread.Start(
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
  std::lock_guard<std::mutex> hold(io.relayLock);
  io.infoPipe.ReadAvailable(nullptr);
  const uint32_t infoCount = io.infoPipe.receivedCount;
  if (infoCount > 0) {
    if (opts.hostMode) {
      PassOn(io.stdOut, io.infoPipe.received, infoCount);
    } else if (!opts.silent) {
      // On a console every information starts on a line of its own, behind the bar.
      Print(XString(), true);
      Print(XString::FromWideBytes(io.infoPipe.received.data, static_cast<int>(infoCount & ~1u)),
            true);
    }
  }
  io.errorPipe.ReadAvailable(nullptr);
  const uint32_t errorCount = io.errorPipe.receivedCount;
  if (errorCount > 0) {
    RaiseFailed();
    PassOn(io.stdErr, io.errorPipe.received, errorCount);
  }
  return infoCount > 0 || errorCount > 0;
}

void TvTransmill::StopOutputRelay() {
  if (io.relayThread.IsRunning()) {
    io.relayThread.Close();
  } else if (io.errorPipe.readHandle >= 0 || io.infoPipe.readHandle >= 0) {
    while (RelayStep()) {
    }
  }
  // The context names our pipes and the debug log, which close with this run.
  const TvHostContext current = XLogContext();
  const bool ourPipes = current.errorHandle == io.logHandles.errorHandle &&
                        current.infoHandle == io.logHandles.infoHandle;
  const bool ourLog = io.debugFile.IsOpen() && current.logHandle == io.debugFile.Handle();
  if (ourPipes || ourLog) XSetLogContext(kDefaultContext);
}
