// Shared state of the test plug-ins: configuration, call log, failures and key answers.
#include "tests/support/plugins/TestPlugin.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "sdk/tv_named.h"
#include "sdk/tv_text.h"

namespace tvtest {

namespace {

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (char c : text) {
    if (c == separator) parts.emplace_back();
    if (c != separator) parts.back().push_back(c);
  }
  return parts;
}

// "N": call N and every later one; "N-M": calls N to M.
bool IsDue(long call, const std::string& rule) {
  char* end = nullptr;
  long first = strtol(rule.c_str(), &end, 10);
  return first > 0 && call >= first && (*end != '-' || call <= strtol(end + 1, nullptr, 10));
}

void ReadConfiguration(TestInstance& self) {
  const char* file = getenv(TVTEST_CONFIG_VARIABLE);
  std::ifstream stream(file != nullptr ? file : "");
  std::map<std::string, std::string> common;
  for (std::string line; std::getline(stream, line);) {
    size_t equals = line.find('='), dot = line.find('.');
    if (equals == std::string::npos) continue;
    std::string value = line.substr(equals + 1);
    if (line.compare(0, equals, "log") == 0) self.logPath = value;
    if (dot > equals) continue;
    std::string owner = line.substr(0, dot), key = line.substr(dot + 1, equals - dot - 1);
    if (owner == self.name) self.settings[key] = value;
    if (owner == "*") common[key] = value;
  }
  self.settings.merge(common);  // a plug-in's own setting wins
}

}  // namespace

std::string TestInstance::Setting(const std::string& key, const std::string& fallback) const {
  for (const auto* map : {&parameters, &settings})
    if (map->count(key)) return map->at(key);
  return fallback;
}

long TestInstance::Number(const std::string& key, long fallback) const {
  std::string text = Setting(key);
  return text.empty() ? fallback : strtol(text.c_str(), nullptr, 0);
}

void TestInstance::TakeParameters(const char16_t* text) {
  parameters.clear();
  for (const std::string& item : Split(text != nullptr ? ToUtf8(text) : "", ',')) {
    size_t equals = item.find('=');
    if (!item.empty())
      parameters[item.substr(0, equals)] =
          equals == std::string::npos ? "1" : item.substr(equals + 1);
  }
}

bool TestInstance::Allowed(const std::string& exportName) {
  if (!IsDue(++calls[exportName], Setting("fail." + exportName))) return true;
  std::u16string error = ToUtf16(Setting("error." + exportName) + "\r\n");
  if (error.size() > 2 && context.errorHandle != 0 && context.errorHandle != -1)
    (void)!write(int(context.errorHandle), error.data(), error.size() * 2);
  return false;
}

void TestInstance::Record(const std::string& text) const {
  std::ofstream(logPath, std::ios::app) << name << " " << text << "\n";
}

int32_t TestInstance::Logged(const std::string& exportName, const std::string& details) {
  bool ok = Allowed(exportName);
  Record(exportName + details + " -> " + std::to_string(ok));
  return ok;
}

void TestInstance::RaiseQuit(const char16_t* eventName) const {
  tv_event* quit =
      eventName && *eventName ? tv_event_create(ToUtf8(eventName).c_str(), nullptr) : nullptr;
  if (quit != nullptr) tv_event_set(quit), tv_event_close(quit);
}

int32_t TestInstance::Answer(const char* exportName, const char16_t* key, TvPluginValue* value) {
  if (value == nullptr) return 0;
  std::string keyText = ToUtf8(key);
  std::string verb = std::string(exportName).find("Get") != std::string::npos ? "get" : "set";
  std::ostringstream line;
  line << exportName << " key=" << Quoted(key) << " index=" << value->index
       << " value=" << value->value << " text1=" << Quoted(value->text1);
  // Both counts run on every call, so that either kind of rule can pick a call.
  bool allowed = Allowed(exportName) & Allowed(std::string(exportName) + "." + keyText);
  int32_t result = 0;
  if (allowed && key != nullptr) {
    if (keyText == "EventQuit" && value->text1 != nullptr) quitEvent = value->text1;
    std::string answers = Setting(verb + "." + keyText, Setting(verb + ".*"));
    if (!Setting("save." + keyText).empty() && value->data != nullptr)
      WriteWholeFile(Setting("save." + keyText), value->data, size_t(value->value));
    std::vector<std::string> entries = Split(answers, ';');
    if (!answers.empty() && value->index >= 0 && size_t(value->index) < entries.size()) {
      std::vector<std::string> fields = Split(entries[size_t(value->index)], '|');
      result = int32_t(strtol(fields[0].c_str(), nullptr, 0));
      const char16_t** outs[] = {&value->text1, &value->text2, &value->text3};
      for (size_t i = 1; i < fields.size() && i <= 3; ++i) {
        texts[i - 1] = ToUtf16(fields[i]);
        if (fields[i] != "(null)") *outs[i - 1] = texts[i - 1].c_str();
      }
    }
  }
  Record(line.str() + " -> " + std::to_string(result));
  return result;
}

TestInstance* MakeInstance(void* self, const char* exportName, TvHostContext* context) {
  auto* instance = new TestInstance;
  Dl_info library{};
  std::string file = dladdr(self, &library) && library.dli_fname ? library.dli_fname : "?";
  file = file.substr(file.rfind('/') + 1);
  instance->name = file.substr(0, file.find('.'));
  ReadConfiguration(*instance);
  if (context != nullptr) instance->context = *context;
  // Creates are counted in the log, so that a rule can pick one of several instances.
  std::ifstream log(instance->logPath);
  std::string prefix = instance->name + " " + exportName + " ";
  int creates = 1;
  for (std::string line; std::getline(log, line);)
    creates += line.compare(0, prefix.size(), prefix) == 0;
  bool fails = IsDue(creates, instance->Setting(std::string("fail.") + exportName));
  std::ostringstream line;
  line << exportName << " error=" << instance->context.errorHandle
       << " info=" << instance->context.infoHandle << " log=" << instance->context.logHandle
       << " -> " << !fails;
  instance->Record(line.str());
  if (!fails) return instance;
  delete instance;
  return nullptr;
}

int32_t EndInstance(TvInstance instance, const char* exportName) {
  Of(instance)->Record(exportName);
  if (Of(instance)->fd >= 0) close(Of(instance)->fd);
  delete Of(instance);
  return 1;
}

std::string Numbers(std::initializer_list<uint64_t> numbers) {
  std::string text;
  for (uint64_t number : numbers) text += " " + std::to_string(number);
  return text;
}

// Lone surrogates and unchecked bytes are kept, so that every text comes back as it went.
std::string ToUtf8(const char16_t* text) {
  if (text == nullptr) return "(null)";
  size_t units = std::u16string_view(text).size();
  std::string out(tv_utf16_to_utf8(text, units, nullptr, 0, TV_TEXT_KEEP), '\0');
  tv_utf16_to_utf8(text, units, out.data(), out.size(), TV_TEXT_KEEP);
  return out;
}

std::u16string ToUtf16(const std::string& text) {
  std::u16string out(tv_utf8_to_utf16(text.data(), text.size(), nullptr, 0, TV_TEXT_KEEP), u'\0');
  tv_utf8_to_utf16(text.data(), text.size(), out.data(), out.size(), TV_TEXT_KEEP);
  return out;
}

std::string Quoted(const char16_t* text) {
  return text == nullptr ? "null" : "\"" + ToUtf8(text) + "\"";
}

std::string FormatText(const TvWaveFormatExtensible* format) {
  if (format == nullptr) return "null";
  const TvWaveFormatEx& f = format->Format;
  return std::to_string(f.wFormatTag) + "/" + std::to_string(f.nChannels) + "/" +
         std::to_string(f.nSamplesPerSec) + "/" + std::to_string(f.wBitsPerSample) + "/" +
         std::to_string(f.nBlockAlign);
}

std::vector<uint8_t> ReadWholeFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(stream), {});
}

bool WriteWholeFile(const std::string& path, const void* data, size_t size) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  return bool(stream.write(static_cast<const char*>(data), std::streamsize(size)));
}

}  // namespace tvtest
