// Shared state of the test plug-ins: configuration, call log, failures and key answers.
#include "tests/support/plugins/TestPlugin.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "sdk/tv_named.h"

namespace tvtest {

namespace {

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::string part;
  std::istringstream stream(text);
  while (std::getline(stream, part, separator)) parts.push_back(part);
  if (!text.empty() && text.back() == separator) parts.emplace_back();
  return parts;
}

// The file stem of the library that holds the address.
std::string LibraryName(void* self) {
  Dl_info info{};
  if (!dladdr(self, &info) || info.dli_fname == nullptr) return "?";
  std::string name = info.dli_fname;
  name = name.substr(name.rfind('/') + 1);
  return name.substr(0, name.find('.'));
}

void ReadConfiguration(TestInstance& instance) {
  const char* file = getenv(TVTEST_CONFIG_VARIABLE);
  std::ifstream stream(file != nullptr ? file : "");
  std::map<std::string, std::string> common;
  for (std::string line; std::getline(stream, line);) {
    size_t equals = line.find('=');
    if (line.empty() || line[0] == '#' || equals == std::string::npos) continue;
    std::string key = line.substr(0, equals), value = line.substr(equals + 1);
    size_t dot = key.find('.');
    if (key == "log") instance.logPath = value;
    if (dot == std::string::npos) continue;
    if (key.compare(0, dot, instance.name) == 0 && dot == instance.name.size())
      instance.settings[key.substr(dot + 1)] = value;
    if (key.compare(0, 2, "*.") == 0) common[key.substr(2)] = value;
  }
  instance.settings.merge(common);  // keeps the plug-in's own where both are given
}

// "N": call N and every later one; "N-M": calls N to M.
bool IsDue(long call, const std::string& rule) {
  if (rule.empty()) return false;
  char* end = nullptr;
  long first = strtol(rule.c_str(), &end, 10);
  long last = *end == '-' ? strtol(end + 1, nullptr, 10) : call;
  return first > 0 && call >= first && call <= last;
}

void WriteChannel(intptr_t handle, const std::string& text) {
  if (handle == 0 || handle == -1 || text.empty()) return;
  std::u16string units = ToUtf16(text + "\r\n");
  ssize_t ignored = write(int(handle), units.data(), units.size() * 2);
  (void)ignored;
}

// Creates by any instance of the library so far, from the call log.
int PreviousCreates(const TestInstance& instance, const char* exportName) {
  std::ifstream file(instance.logPath);
  std::string prefix = instance.name + " " + exportName + " ";
  int count = 0;
  for (std::string line; std::getline(file, line);)
    count += line.compare(0, prefix.size(), prefix) == 0;
  return count;
}

}  // namespace

std::string TestInstance::Setting(const std::string& key, const std::string& fallback) const {
  auto given = parameters.find(key);
  if (given != parameters.end()) return given->second;
  auto found = settings.find(key);
  return found == settings.end() ? fallback : found->second;
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
  int call = ++calls[exportName];
  if (call == Number("quit." + exportName)) RaiseQuit(quitEvent.c_str());
  if (!IsDue(call, Setting("fail." + exportName))) return true;
  WriteChannel(context.errorHandle, Setting("error." + exportName));
  return false;
}

void TestInstance::Record(const std::string& text) const {
  if (logPath.empty()) return;
  std::string line = name + " " + text + "\n";
  int file = open(logPath.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (file < 0) return;
  ssize_t ignored = write(file, line.data(), line.size());
  (void)ignored;
  close(file);
}

void TestInstance::RaiseQuit(const char16_t* eventName) const {
  if (eventName == nullptr || *eventName == 0) return;
  tv_event* quit = tv_event_create(ToUtf8(eventName).c_str(), nullptr);
  if (quit != nullptr) tv_event_set(quit);
  if (quit != nullptr) tv_event_close(quit);
}

int32_t TestInstance::Answer(const char* exportName, const char* verb, const char16_t* key,
                             TvPluginValue* value) {
  std::ostringstream line;
  line << exportName << " key=" << Quoted(key);
  if (value != nullptr) {
    line << " index=" << value->index << " value=" << value->value << " value2=" << value->value2
         << " text1=" << Quoted(value->text1) << " text2=" << Quoted(value->text2)
         << " text3=" << Quoted(value->text3) << " data=" << (value->data ? "set" : "null");
  }
  std::string keyText = ToUtf8(key);
  // Both counts run on every call, so that either kind of rule can pick a call.
  bool allowed = Allowed(exportName) & Allowed(std::string(exportName) + "." + keyText);
  int32_t result = 0;
  if (allowed && key != nullptr && value != nullptr) {
    if (keyText == "EventQuit" && value->text1 != nullptr) quitEvent = value->text1;
    std::string base = std::string(verb) + "." + keyText;
    std::string answers = Setting(base + "." + ToUtf8(value->text1),
                                  Setting(base, Setting(std::string(verb) + ".*")));
    std::string savePath = Setting("save." + keyText);
    if (!savePath.empty() && value->data != nullptr && value->value > 0)
      WriteWholeFile(savePath, value->data, size_t(value->value));
    std::vector<std::string> entries = Split(answers, ';');
    if (value->index >= 0 && size_t(value->index) < entries.size()) {
      std::vector<std::string> fields = Split(entries[size_t(value->index)], '|');
      result = int32_t(strtol(fields[0].c_str(), nullptr, 0));
      const char16_t** outs[] = {&value->text1, &value->text2, &value->text3};
      for (size_t i = 1; i < fields.size() && i <= 3; ++i) {
        texts[i - 1] = ToUtf16(fields[i]);
        if (fields[i] != "(null)") *outs[i - 1] = texts[i - 1].c_str();
      }
      if (fields.size() > 4) {
        request = TvPluginValue{};
        texts[3] = ToUtf16(fields[4]);
        request.text1 = texts[3].c_str();
      }
      if (fields.size() > 3 && result != 0) value->data = &request;
    }
  }
  line << " -> " << result;
  Record(line.str());
  return result;
}

TestInstance* MakeInstance(void* self, const char* exportName, TvHostContext* context) {
  auto* instance = new TestInstance;
  instance->name = LibraryName(self);
  ReadConfiguration(*instance);
  if (context != nullptr) instance->context = *context;
  bool fails = IsDue(PreviousCreates(*instance, exportName) + 1,
                     instance->Setting(std::string("fail.") + exportName));
  std::ostringstream line;
  line << exportName << " error=" << instance->context.errorHandle
       << " info=" << instance->context.infoHandle << " log=" << instance->context.logHandle
       << " -> " << (fails ? 0 : 1);
  instance->Record(line.str());
  if (!fails) return instance;
  delete instance;
  return nullptr;
}

void EndInstance(TestInstance* instance, const char* exportName) {
  if (instance == nullptr) return;
  instance->Record(exportName);
  if (instance->fd >= 0) close(instance->fd);
  delete instance;
}

// Text in the plug-ins is short and mostly ASCII; these cover the whole of Unicode anyway, since
// file names in tests carry other scripts.
std::string ToUtf8(const char16_t* text) {
  if (text == nullptr) return "(null)";
  std::string out;
  for (; *text; ++text) {
    uint32_t c = *text;
    if (c >= 0xD800 && c < 0xDC00 && text[1] >= 0xDC00 && text[1] < 0xE000)
      c = 0x10000 + ((c - 0xD800) << 10) + (*++text - 0xDC00);
    int extra = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    out += char(extra == 0 ? c : uint8_t(0xF0 << (3 - extra)) | (c >> (6 * extra)));
    for (int k = extra - 1; k >= 0; --k) out += char(0x80 | ((c >> (6 * k)) & 0x3F));
  }
  return out;
}

std::u16string ToUtf16(const std::string& text) {
  std::u16string out;
  for (size_t i = 0; i < text.size();) {
    uint8_t lead = uint8_t(text[i]);
    int extra = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
    uint32_t c = extra == 0 ? lead : lead & (0x3F >> extra);
    for (int k = 1; k <= extra && i + size_t(k) < text.size(); ++k)
      c = (c << 6) | (uint8_t(text[i + size_t(k)]) & 0x3F);
    i += size_t(extra) + 1;
    if (c >= 0x10000) out += char16_t(0xD800 + ((c - 0x10000) >> 10));
    out += char16_t(c >= 0x10000 ? 0xDC00 + ((c - 0x10000) & 0x3FF) : c);
  }
  return out;
}

std::string Quoted(const char16_t* text) {
  return text == nullptr ? "null" : "\"" + ToUtf8(text) + "\"";
}

std::string FormatText(const TvWaveFormatExtensible* format) {
  if (format == nullptr) return "null";
  std::ostringstream text;
  text << format->Format.wFormatTag << "/" << format->Format.nChannels << "/"
       << format->Format.nSamplesPerSec << "/" << format->Format.wBitsPerSample << "/"
       << format->Format.nBlockAlign;
  return text.str();
}

std::vector<uint8_t> ReadWholeFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(stream), {});
}

bool WriteWholeFile(const std::string& path, const void* data, size_t size) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(static_cast<const char*>(data), std::streamsize(size));
  return bool(stream);
}

}  // namespace tvtest
