// Shared state of the test plug-ins: configuration, call log, failure counts, key answers.
#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sdk/tv_plugin.h"

// The configuration is a UTF-8 file named by TVTEST_PLUGIN_CONFIG, read at each create:
// "name=value" lines; "log=<file>" names the call log all plug-ins append to, one line per
// call: "<name> <export> <arguments> -> <result>". Every other setting is
// "<plug-in name>.<setting>", the name being the library's file stem (TestDecoder, TestDSP2...):
//   get.<Key>[.<text1>], set.<Key>   answers, see Answer (unknown keys give 0)
//   save.<Key>=<file>                a Set's data block (value bytes) is written there
//   fail.<Export>=N                  call N of the export and every later one give 0 (per
//                                    instance; creates are counted in the call log)
//   error.<Export>=<text>            written to the error channel when that export fails
// Decoder: rate, channels, bits, tag (format), frames (total), blockframes, mslength
//   (override), emptyblocks=N (first N DecodeBlock calls have nothing yet), status (block
//   text), tags=<file> and properties=<file> (tag blocks handed out by Open), anyfile=1 (Open
//   does not need the file to exist). Audio bytes are TvTestAudioByte(position).
// Encoder: writes the raw audio to the output file; writetags=1 asks for tag writing;
//   extrainfo=<file> leaves that tag block in the record at the end.
// DSP: invert=1 complements every audio byte (live and non-live); own=1 hands on a buffer
//   of its own; rate=N rewrites the format's rate in a non-live pass.
struct TestInstance {
  std::string name;
  std::map<std::string, std::string> settings;  // this plug-in's, without the prefix
  std::string logPath;
  TvHostContext context{};
  std::map<std::string, int> calls;  // per export, counted from 1
  std::u16string texts[4];           // answers handed out through TvPluginValue
  TvPluginValue request{};           // the value record of a Communicate request
  std::vector<uint8_t> buffer;       // audio, tags or an own block buffer
  std::vector<uint8_t> tags;
  std::vector<uint8_t> properties;
  uint64_t position = 0;  // bytes handed out so far
  int fd = -1;            // the encoder's output

  std::string Setting(const std::string& key, const std::string& fallback = "") const;
  long Number(const std::string& key, long fallback = 0) const;
  // Counts a call of the export; false when the configuration makes this call fail
  // ("fail.<Export>=N": call N and every later one), which also writes "error.<Export>" to
  // the error channel.
  bool Allowed(const char* exportName);
  // Calls of the export already in the call log, by any instance of this library.
  int PreviousCalls(const char* exportName) const;
  // Appends "<name> <text>" as a line to the call log.
  void Record(const std::string& text) const;
  // Get or Set from the answers "get.<Key>" (or "get.<Key>.<text1>") and "set.<Key>": entries
  // split by ";", fields by "|": result|text1|text2|text3|text1 of the request record.
  // The entry is picked by the index field; none there answers 0.
  int32_t Answer(const char* exportName, const char* verb, const char16_t* key,
                 TvPluginValue* value);
};

// A new instance for the library name, configured from the environment; null when the
// library is built to fail its create, or configured to ("fail.<Create>=N" counts the
// creates in the call log, so it needs "log=").
TestInstance* MakeInstance(const char* name, const char* exportName, TvHostContext* context,
                           bool alwaysFail);

#ifdef TVTEST_CREATE_RETURNS_ZERO
constexpr bool CreateAlwaysFails = true;
#else
constexpr bool CreateAlwaysFails = false;
#endif
void EndInstance(TestInstance* instance, const char* exportName);

std::string ToUtf8(const char16_t* text);  // "(null)" for null
std::u16string ToUtf16(const std::string& text);
std::string Quoted(const char16_t* text);                      // the text in double quotes, or null
std::string FormatText(const TvWaveFormatExtensible* format);  // tag/channels/rate/bits
std::vector<uint8_t> ReadWholeFile(const std::string& path);
bool WriteWholeFile(const std::string& path, const void* data, size_t size);
