// The test plug-ins: one decoder, one encoder and one DSP effect, steered by a configuration
// file, that log every call so that tests can see what a host did with them.
#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sdk/tv_plugin.h"

// The environment variable that names the configuration file.
#define TVTEST_CONFIG_VARIABLE "TVTEST_PLUGIN_CONFIG"

// The configuration is a UTF-8 file of "key=value" lines, read anew at each create, so that it
// may change between calls. A plug-in's name is its library's file stem (a copy named
// flac.so is "flac"); its settings are "<name>.<setting>", and "*.<setting>" applies to every
// plug-in that has no setting of its own. "log=<file>" names the call log that all plug-ins
// append to, one line per call: "<name> <export> <arguments> -> <result>".
//
// Every kind:
//   get.<Key>[.<text1>], set.<Key>, get.*, set.*
//       the answers to Get and Set: entries split by ";" and picked by the index field, fields
//       by "|": result|text1|text2|text3|text1 of a request record (Communicate). "(null)"
//       leaves a text null. An index past the entries, or an unknown key, answers 0.
//   save.<Key>=<file>      a Set's data block (value bytes at offset 4) is written there
//   fail.<Export>=N        call N of the export and every later one fail; "N-M" only calls N
//                          to M. Creates are counted in the call log (so per library), other
//                          exports per instance. Get and Set are also counted per key, as
//                          fail.<Export>.<Key> (fail.Set.IDTags=1-2: the first two tag writes).
//   error.<Export>=<text>  written to the error channel when that export fails
//   quit.<Export>=N        call N sets the run's quit event: the name a Set of EventQuit gave,
//                          or the one a non-live pass is given
// Decoder: rate, channels, bits, tag (the format; 44100, 2, 16, 1), frames (total, 44100),
//   blockframes (4410), mslength (overrides the length computed from frames), emptyblocks=N
//   (the first N DecodeBlock calls have nothing yet, which is no failure), status (the blocks'
//   text), tags=<file> and properties=<file> (tag blocks handed out by Open), anyfile=1 (Open
//   needs no file), ramp=1 (byte n of the stream is n mod 256 instead of TvTestAudioByte(n)).
//   blocks=<tokens, comma-separated> replaces the generated blocks: "<n>" n bytes, "<n>E" n
//   bytes and the end, "E" an empty last block, "@<ms>" after a count sets the position, "e"
//   nothing yet, "N" nothing for ever, "F" a failing call, "Q" the quit event and nothing.
// Encoder: writes the raw audio to the output file it is given (output=0: opens none;
//   write=0: writes nothing to it); writetags=1 asks for tag writing; extrainfo=<file> leaves
//   that tag block in the record at the end.
// DSP: the parameters a call carries (BeginConversion, PassNonLive, Get's text1) are settings
//   too, comma-separated, "key" alone meaning "key=1", and they win over the file:
//   mul=N and add=N make every audio byte b into b*N+add, live and non-live, so that the order
//   of several effects shows in the result (mul=-1,add=-1 inverts); own=1 hands on a buffer of
//   its own; rate=N rewrites the format's rate (non-live, and on a live last block); cut=N
//   keeps N bytes of a non-live pass; quit=1 makes a non-live pass set the quit event.
//
// Compile-time switches only leave an export out: TVTEST_OMIT_<Export>.
namespace tvtest {

struct TestInstance {
  std::string name;
  std::map<std::string, std::string> settings;    // this plug-in's, without the prefix
  std::map<std::string, std::string> parameters;  // a DSP's, from its last call
  std::string logPath;
  TvHostContext context{};
  std::map<std::string, int> calls;  // per export (and per export and key), counted from 1
  std::u16string texts[4];           // answers handed out through TvPluginValue
  std::u16string quitEvent;          // the name given by a Set of EventQuit
  TvPluginValue request{};           // the value record of a Communicate request
  std::vector<uint8_t> buffer;       // audio, tags or an own block buffer
  std::vector<uint8_t> tags;
  std::vector<uint8_t> properties;
  uint64_t position = 0;  // bytes handed out so far
  std::string blocks;     // the decoder's block tokens still to come
  int fd = -1;            // the encoder's output

  std::string Setting(const std::string& key, const std::string& fallback = "") const;
  long Number(const std::string& key, long fallback = 0) const;
  // Replaces the parameters with those of a DSP call.
  void TakeParameters(const char16_t* text);
  // Counts a call; false when the configuration makes it fail, which also writes
  // "error.<Export>" to the error channel. Sets the quit event when "quit.<Export>" is due.
  bool Allowed(const std::string& exportName);
  // Appends "<name> <text>" as a line to the call log.
  void Record(const std::string& text) const;
  // Get or Set from the configured answers; logs the call.
  int32_t Answer(const char* exportName, const char* verb, const char16_t* key,
                 TvPluginValue* value);
  // Sets the named quit event, as a host would.
  void RaiseQuit(const char16_t* eventName) const;
};

// A new instance named after the library that holds `self`, configured from the file; null
// when "fail.<Export>" says so for this create.
TestInstance* MakeInstance(void* self, const char* exportName, TvHostContext* context);
void EndInstance(TestInstance* instance, const char* exportName);

// Byte n of the stream that the decoder generates: varies within and across 256-byte runs, so
// that a lost, doubled or shifted block shows.
inline uint8_t TvTestAudioByte(uint64_t position) {
  return uint8_t(position * 7u + position / 256u);
}

std::string ToUtf8(const char16_t* text);  // "(null)" for null
std::u16string ToUtf16(const std::string& text);
std::string Quoted(const char16_t* text);                      // the text in double quotes, or null
std::string FormatText(const TvWaveFormatExtensible* format);  // tag/channels/rate/bits/align
std::vector<uint8_t> ReadWholeFile(const std::string& path);
bool WriteWholeFile(const std::string& path, const void* data, size_t size);

}  // namespace tvtest
