// Shared state of the test plug-ins: configuration, call log, failure counts, key answers.
#include "tests/plugins/testplugins/TestPluginCore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/plugins/testplugins/tvtest_audio.h"

namespace {

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::string part;
  std::istringstream stream(text);
  while (std::getline(stream, part, separator)) parts.push_back(part);
  if (!text.empty() && text.back() == separator) parts.emplace_back();
  return parts;
}

void ReadConfiguration(TestInstance& instance) {
  const char* file = getenv(TVTEST_CONFIG_VARIABLE);
  if (file == nullptr) return;
  std::ifstream stream(file);
  std::string line;
  std::string prefix = instance.name + ".";
  while (std::getline(stream, line)) {
    size_t equals = line.find('=');
    if (line.empty() || line[0] == '#' || equals == std::string::npos) continue;
    std::string key = line.substr(0, equals);
    if (key == "log") instance.logPath = line.substr(equals + 1);
    if (key.compare(0, prefix.size(), prefix) == 0)
      instance.settings[key.substr(prefix.size())] = line.substr(equals + 1);
  }
}

void WriteChannel(intptr_t handle, const std::string& text) {
  if (handle == 0 || handle == -1) return;
  std::u16string units = ToUtf16(text + "\r\n");
  ssize_t ignored = write(int(handle), units.data(), units.size() * 2);
  (void)ignored;
}

}  // namespace

std::string TestInstance::Setting(const std::string& key, const std::string& fallback) const {
  auto found = settings.find(key);
  return found == settings.end() ? fallback : found->second;
}

long TestInstance::Number(const std::string& key, long fallback) const {
  std::string text = Setting(key);
  return text.empty() ? fallback : strtol(text.c_str(), nullptr, 0);
}

bool TestInstance::Allowed(const char* exportName) {
  int call = ++calls[exportName];
  long failFrom = Number(std::string("fail.") + exportName);
  if (failFrom <= 0 || call < failFrom) return true;
  WriteChannel(context.errorHandle, Setting(std::string("error.") + exportName));
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

int TestInstance::PreviousCalls(const char* exportName) const {
  std::ifstream file(logPath);
  std::string prefix = name + " " + exportName + " ";
  int count = 0;
  for (std::string line; std::getline(file, line);)
    count += line.compare(0, prefix.size(), prefix) == 0;
  return count;
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
  int32_t result = 0;
  if (Allowed(exportName) && key != nullptr && value != nullptr) {
    std::string base = std::string(verb) + "." + ToUtf8(key);
    std::string answers = Setting(base + "." + ToUtf8(value->text1), Setting(base));
    std::string savePath = Setting("save." + ToUtf8(key));
    if (!savePath.empty() && value->data != nullptr && value->value > 0)
      WriteWholeFile(savePath, value->data, size_t(value->value));
    std::vector<std::string> entries = Split(answers, ';');
    if (value->index >= 0 && size_t(value->index) < entries.size()) {
      std::vector<std::string> fields = Split(entries[size_t(value->index)], '|');
      result = int32_t(strtol(fields[0].c_str(), nullptr, 0));
      const char16_t** outs[] = {&value->text1, &value->text2, &value->text3};
      for (size_t i = 1; i < fields.size() && i <= 3; ++i) {
        texts[i - 1] = ToUtf16(fields[i]);
        *outs[i - 1] = texts[i - 1].c_str();
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

TestInstance* MakeInstance(const char* name, const char* exportName, TvHostContext* context,
                           bool alwaysFail) {
  auto* instance = new TestInstance;
  instance->name = name;
  ReadConfiguration(*instance);
  if (context != nullptr) instance->context = *context;
  std::ostringstream line;
  line << exportName << " error=" << instance->context.errorHandle
       << " info=" << instance->context.infoHandle << " log=" << instance->context.logHandle;
  long failFrom = alwaysFail ? 1 : instance->Number(std::string("fail.") + exportName);
  bool fails = failFrom > 0 && instance->PreviousCalls(exportName) + 1 >= failFrom;
  line << " -> " << (fails ? 0 : 1);
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

std::string ToUtf8(const char16_t* text) {
  if (text == nullptr) return "(null)";
  std::string out;
  for (; *text; ++text) {
    uint32_t c = *text;
    if (c >= 0xD800 && c < 0xDC00 && text[1] >= 0xDC00 && text[1] < 0xE000)
      c = 0x10000 + ((c - 0xD800) << 10) + (*++text - 0xDC00);
    if (c < 0x80) {
      out += char(c);
    } else if (c < 0x800) {
      out += char(0xC0 | (c >> 6));
      out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += char(0xE0 | (c >> 12));
      out += char(0x80 | ((c >> 6) & 0x3F));
      out += char(0x80 | (c & 0x3F));
    } else {
      out += char(0xF0 | (c >> 18));
      out += char(0x80 | ((c >> 12) & 0x3F));
      out += char(0x80 | ((c >> 6) & 0x3F));
      out += char(0x80 | (c & 0x3F));
    }
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
    if (c >= 0x10000) {
      out += char16_t(0xD800 + ((c - 0x10000) >> 10));
      out += char16_t(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      out += char16_t(c);
    }
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
       << format->Format.nSamplesPerSec << "/" << format->Format.wBitsPerSample;
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
