// Keeps C++ exceptions inside a plug-in: every export runs its body through Guarded.
#pragma once
#include "sdk/tv_plugin.h"

#include <exception>

namespace codec {

// Tells the host (when there is one) that an export ended by an exception.
void ReportEscape(const TvHostContext* host, const char* exportName, const char* what) noexcept;

// Runs one export's body. Nothing may unwind into the engine, so an exception becomes an error
// line on the host's channel and a zero result.
template <typename Body>
auto Guarded(const TvHostContext* host, const char* exportName, Body&& body) noexcept
    -> decltype(body()) {
  try {
    return body();
  } catch (const std::exception& e) {
    ReportEscape(host, exportName, e.what());
  } catch (...) {
    ReportEscape(host, exportName, "an unknown exception");
  }
  return {};
}

}  // namespace codec
