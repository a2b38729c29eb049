// The host's controls of a run: the quit and error events, the watchdog and the shared counter.
#include "engine/TvTransmill.h"

namespace {
constexpr uint32_t kSignOfLifePeriod = 50;
constexpr uint32_t kCounterSize = 8;

// An event whose name was not given stays without a handle: never set, and setting does nothing.
void OpenIfNamed(XEvent& event, const XString& name) {
  if (name.Length() > 0)
    event.Create(name.CStr());
  else
    event.Close();  // a fresh XEvent is a private one: without a name there is none at all
}
}  // namespace

void TvTransmill::OpenNamedObjects() {
  OpenIfNamed(io.quitEvent, opts.quitEventName);
  OpenIfNamed(io.afterConvErrorEvent, opts.afterConvErrorEventName);
  OpenIfNamed(io.watchdogEvent, opts.watchdogEventName);
  if (opts.bytesEncodedShareName.Length() > 0)
    io.bytesEncodedShare.Create(opts.bytesEncodedShareName.CStr(), kCounterSize);
}

void TvTransmill::WatchStopSignals() {
  // Only this run's own event: a host may share its quit event among many runs.
  io.stopSignals.Start([this] { io.signalQuitEvent.Set(); });
}

void TvTransmill::StartSignOfLife() {
  if (!io.watchdogEvent.IsOpen()) return;
  io.signOfLifeThread.Start(
      [this](XEvent& quit) {
        XSetCurrentThreadName(u"tvSignOfLife");
        // The host resets the event when it wants a heartbeat; the run only ever sets it.
        while (!quit.Wait(kSignOfLifePeriod)) io.watchdogEvent.Set();
      },
      false, 0);
}

void TvTransmill::StopSignOfLife() {
  if (io.signOfLifeThread.IsRunning()) io.signOfLifeThread.Close();
}

void TvTransmill::PublishBytesEncoded(uint64_t total) {
  if (!io.bytesEncodedShare.IsOpen()) return;
  uint8_t bytes[kCounterSize];
  for (uint32_t i = 0; i < kCounterSize; i++) bytes[i] = static_cast<uint8_t>(total >> (8 * i));
  io.bytesEncodedShare.Write(bytes);
}
