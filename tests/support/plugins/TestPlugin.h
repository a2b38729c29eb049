// The test plug-ins: one decoder, one encoder and one DSP effect, steered by a configuration
// file, that log every call so that tests see what a host did with them.
#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sdk/tv_plugin.h"

// The environment variable that names the configuration file.
#define TVTEST_CONFIG_VARIABLE "TVTEST_PLUGIN_CONFIG"

// The configuration: "key=value" lines, read anew at each create. A plug-in's name is its
// library's file stem; its settings are "<name>.<setting>", or "*.<setting>" for every plug-in
// without its own. "log=<file>": the call log, "<name> <export> <arguments> -> <result>".
// Every kind:
//   get.<Key>, set.<Key>, get.*, set.*: answers to Get and Set, entries split by ";" and
//     picked by the index field, fields by "|": result|text1|text2|text3. "(null)" leaves a
//     text null; no entry answers 0.
//   save.<Key>=<file>: a Set's data block is written there.
//   fail.<Export>=N: call N of the export and every later one fail; "N-M" only calls N to M.
//     Creates are counted in the call log, other calls per instance, Get and Set also per key.
//   error.<Export>=<text>: written to the error channel when that export fails.
// Decoder: rate, channels, bits, tag, frames (of Open), mslength, anyfile=1 (Open needs no file),
//   ramp=1 (byte n is n mod 256). blocks=<tokens>, comma-separated: "<n>" n bytes, "<n>E"
//   n bytes and the end, "E" an empty last block, "@<ms>" after a count sets the position,
//   "e" nothing yet, "N" nothing for ever, "G" nothing yet until the file named by gate=<file>
//   exists, "F" a failing call, "Q" the quit event.
// Encoder: writes the audio to the output file (output=0: no file; write=0: nothing written);
//   writetags=1.
// DSP: a call's parameters ("key" alone is "key=1") win over the file. mul=N, add=N: byte b
//   becomes b*N+add; rate=N rewrites the rate; cut=N keeps N bytes of a non-live pass; quit=1
//   makes a non-live pass set the quit event.
// TVTEST_OMIT_<Export> leaves an export out (NoSetPosition, NoRemoveConfigBit).
namespace tvtest {

struct TestInstance {
  std::string name, logPath;
  std::map<std::string, std::string> settings, parameters;  // a DSP's last parameters win
  TvHostContext context{};
  std::map<std::string, int> calls;    // per export (and export.key), counted from 1
  std::u16string texts[3], quitEvent;  // from a Set of EventQuit, or a non-live pass
  std::vector<uint8_t> buffer;
  uint64_t position = 0;  // bytes handed out so far
  std::string blocks;     // the decoder's tokens still to come
  int fd = -1;            // the encoder's output

  std::string Setting(const std::string& key, const std::string& fallback = "") const;
  long Number(const std::string& key, long fallback = 0) const;
  void TakeParameters(const char16_t* text);
  // Counts a call; false when configured to fail.
  bool Allowed(const std::string& exportName);
  void Record(const std::string& text) const;
  // A call that only logs: counted, then "<export><details> -> <ok>"; gives ok back.
  int32_t Logged(const std::string& exportName, const std::string& details);
  // Get or Set from the configured answers; logs the call.
  int32_t Answer(const char* exportName, const char16_t* key, TvPluginValue* value);
  void RaiseQuit(const char16_t* eventName) const;
};

inline TestInstance* Of(TvInstance instance) { return static_cast<TestInstance*>(instance); }
// A new instance named after the library that holds `self`; null when configured to fail.
TestInstance* MakeInstance(void* self, const char* exportName, TvHostContext* context);
int32_t EndInstance(TvInstance instance, const char* exportName);

// Byte n of the decoder's stream: varies within and across 256-byte runs, so that a lost,
// doubled or shifted block shows.
inline uint8_t TvTestAudioByte(uint64_t n) { return uint8_t(n * 7u + n / 256u); }

std::string Numbers(std::initializer_list<uint64_t> numbers);  // " 1 2 3"
std::string ToUtf8(const char16_t* text);                      // "(null)" for null
std::u16string ToUtf16(const std::string& text);
std::string Quoted(const char16_t* text);                      // in double quotes, or null
std::string FormatText(const TvWaveFormatExtensible* format);  // tag/channels/rate/bits/align
std::vector<uint8_t> ReadWholeFile(const std::string& path);
bool WriteWholeFile(const std::string& path, const void* data, size_t size);

}  // namespace tvtest

// The exports all kinds share, with the kind's prefix (none, ENC_, DSP_).
#define TVTEST_SHARED_EXPORTS(P)                                                                  \
  TvInstance P##Create(TvHostContext* context) {                                                  \
    return tvtest::MakeInstance(reinterpret_cast<void*>(&P##Create), #P "Create", context);       \
  }                                                                                               \
  int32_t P##Destroy(TvInstance instance) { return tvtest::EndInstance(instance, #P "Destroy"); } \
  int32_t P##Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {                \
    return tvtest::Of(instance)->Answer(#P "Set", key, value);                                    \
  }
// ShowConfigBit and RemoveConfigBit of an encoder or DSP: logged, answering 1.
#ifdef TVTEST_OMIT_RemoveConfigBit
#define TVTEST_REMOVE_CONFIG_BIT(P)
#else
#define TVTEST_REMOVE_CONFIG_BIT(P)                                            \
  int32_t P##RemoveConfigBit(TvInstance instance, uint32_t a) {                \
    tvtest::Of(instance)->Record(#P "RemoveConfigBit" + tvtest::Numbers({a})); \
    return 1;                                                                  \
  }
#endif
#define TVTEST_CONFIG_BIT_EXPORTS(P)                                                              \
  int32_t P##ShowConfigBit(TvInstance instance, uint32_t a, uint32_t b, uint32_t c, uint32_t d) { \
    tvtest::Of(instance)->Record(#P "ShowConfigBit" + tvtest::Numbers({a, b, c, d}));             \
    return 1;                                                                                     \
  }                                                                                               \
  TVTEST_REMOVE_CONFIG_BIT(P)
