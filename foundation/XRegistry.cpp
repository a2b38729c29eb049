// The settings store's free functions: locations, type rules, values and subtrees.
#include "foundation/XRegistry.h"

#include "foundation/XRegistryDetail.h"
#include "foundation/XRegistryStore.h"
#include "foundation/XString.h"

#include <cstring>
#include <string>
#include <vector>

using namespace XRegistryDetail;

namespace {

uint32_t defaultRoot = 0;
std::u16string defaultPath;

// Enumeration hands names over in a buffer of this many characters, terminator included;
// a longer name ends the listing as the buffer would.
constexpr size_t EnumNameRoom = 1040;
// A string read is tried again this often when the value grew between size and read.
constexpr int StringReadAttempts = 3;

bool WantsWrite(uint32_t access) {
  constexpr uint32_t writeBits =
      XRegistry::AccessSet | XRegistry::AccessCreateSubKey | 0x10000u /* DELETE */;
  return (access & writeBits) != 0;
}

void SetFailed(uint8_t* failed, bool value) {
  if (failed) *failed = value ? 1 : 0;
}

bool TypesMatch(uint32_t stored, uint32_t expected) {
  if (stored == expected) return true;
  return (stored == XRegistry::TypeString && expected == XRegistry::TypeExpandString) ||
         (stored == XRegistry::TypeExpandString && expected == XRegistry::TypeString);
}

void Zero(void* buffer, uint32_t length) {
  if (buffer && length) memset(buffer, 0, length);
}

// The core read on an open key: all of the value or nothing, and only of a matching type.
bool QueryTyped(XRegHandle key, const char16_t* name, void* buffer, uint32_t length,
                uint32_t expected, long* code = nullptr) {
  uint32_t type = XRegistry::TypeNone;
  uint32_t size = length;
  long result = XRegStore::Query(key, View(name), &type, buffer, &size);
  if (code) *code = result;
  if (result == XRegStore::Ok && TypesMatch(type, expected)) return true;
  Zero(buffer, length);
  return false;
}

bool ReadFixed(const char16_t* name, void* buffer, uint32_t length, uint32_t expected,
               uint32_t root, const char16_t* key) {
  XRegHandle handle = XRegistry::OpenKey(XRegistry::AccessQuery, root, key);
  if (!handle) {
    Zero(buffer, length);
    return false;
  }
  bool ok = QueryTyped(handle, name, buffer, length, expected);
  XRegistry::CloseKey(handle);
  return ok;
}

}  // namespace

namespace XRegistryDetail {

std::u16string_view View(const char16_t* text) { return text ? text : u""; }

uint32_t RootOf(uint32_t root) { return root ? root : defaultRoot; }

std::u16string_view PathOf(const char16_t* key) {
  return key ? std::u16string_view(key) : std::u16string_view(defaultPath);
}

bool ReadTextData(const char16_t* name, uint32_t root, const char16_t* key, uint32_t expected,
                  uint32_t extra, std::vector<char16_t>& data) {
  XRegHandle handle = XRegistry::OpenKey(XRegistry::AccessQuery, root, key);
  if (!handle) return false;
  bool ok = false;
  for (int attempt = 0; attempt < StringReadAttempts; ++attempt) {
    uint32_t size = 0;
    if (XRegStore::Query(handle, View(name), nullptr, nullptr, &size) != XRegStore::Ok) break;
    if (size == 0) {
      data.clear();
      ok = true;
      break;
    }
    // Rounded up to whole units, so that an odd byte count still ends in a zero unit.
    uint32_t room = size + extra + (size & 1);
    data.assign(room / sizeof(char16_t), 0);
    long code = XRegStore::Ok;
    ok = QueryTyped(handle, name, data.data(), room, expected, &code);
    if (ok || code != XRegStore::MoreData) break;
  }
  XRegistry::CloseKey(handle);
  return ok;
}

bool WriteValue(const char16_t* name, uint32_t type, const void* data, uint32_t size, uint32_t root,
                const char16_t* key) {
  XRegHandle handle = XRegistry::OpenKey(XRegistry::AccessWrite, root, key);
  if (!handle) return false;
  bool ok = XRegStore::Set(handle, View(name), type, data, size) == XRegStore::Ok;
  XRegistry::CloseKey(handle);
  return ok;
}

size_t ListedCount(const std::vector<std::u16string>& names) {
  size_t count = 0;
  while (count < names.size() && names[count].size() < EnumNameRoom) ++count;
  return count;
}

bool SubKeyNames(uint32_t root, std::u16string_view path, std::vector<std::u16string>& names) {
  names.clear();
  XRegKey* handle = nullptr;
  if (XRegStore::Open(root, path, true, false, &handle) != XRegStore::Ok) return false;
  XRegStore::ListSubKeys(handle, names);
  XRegStore::Close(handle);
  names.resize(ListedCount(names));
  return true;
}

}  // namespace XRegistryDetail

namespace XRegistry {

void SetDefaultKey(uint32_t root, const char16_t* key) {
  defaultRoot = root;
  defaultPath = View(key);
}

XRegHandle OpenKey(uint32_t access, uint32_t root, const char16_t* key) {
  std::u16string_view path = PathOf(key);
  uint32_t actualRoot = RootOf(root);
  if (path.empty() || !actualRoot) return nullptr;
  XRegKey* handle = nullptr;
  XRegStore::Open(actualRoot, path, true, WantsWrite(access), &handle);
  return handle;
}

void CloseKey(XRegHandle handle) { XRegStore::Close(handle); }

uint32_t ReadDWORD(const char16_t* name, uint32_t root, const char16_t* key, uint8_t* failed) {
  uint32_t value = 0;
  SetFailed(failed, !ReadFixed(name, &value, sizeof value, XRegistry::TypeDword, root, key));
  return value;
}

uint64_t ReadQWORD(const char16_t* name, uint32_t root, const char16_t* key, uint8_t* failed) {
  uint64_t value = 0;
  SetFailed(failed, !ReadFixed(name, &value, sizeof value, XRegistry::TypeQword, root, key));
  return value;
}

double ReadFloat(const char16_t* name, uint32_t root, const char16_t* key, uint8_t* failed) {
  float value = 0;
  SetFailed(failed, !ReadFixed(name, &value, sizeof value, XRegistry::TypeBinary, root, key));
  return value;
}

bool ReadBinary(const char16_t* name, void* buffer, uint32_t size, uint32_t root,
                const char16_t* key) {
  return ReadFixed(name, buffer, size, XRegistry::TypeBinary, root, key);
}

XString ReadString(const char16_t* name, uint32_t root, const char16_t* key, uint8_t* failed) {
  std::vector<char16_t> data;
  bool ok = ReadTextData(name, root, key, XRegistry::TypeString, 2, data);
  SetFailed(failed, !ok);
  if (!ok || data.empty()) return XString();
  return XString(data.data());
}

bool ValueExists(const char16_t* name, uint32_t root, const char16_t* key) {
  uint8_t failed = 0;
  ValueSize(name, root, key, &failed);
  return !failed;
}

uint32_t ValueSize(const char16_t* name, uint32_t root, const char16_t* key, uint8_t* failed) {
  uint32_t size = 0;
  long result = XRegStore::NotFound;
  if (XRegHandle handle = OpenKey(XRegistry::AccessQuery, root, key)) {
    result = XRegStore::Query(handle, View(name), nullptr, nullptr, &size);
    CloseKey(handle);
  }
  SetFailed(failed, result != XRegStore::Ok);
  return result == XRegStore::Ok ? size : 0;
}

uint32_t ValueType(const char16_t* name, uint32_t root, const char16_t* key, uint8_t* failed) {
  uint32_t type = XRegistry::TypeNone;
  uint32_t size = 0;
  long result = XRegStore::NotFound;
  if (XRegHandle handle = OpenKey(XRegistry::AccessQuery, root, key)) {
    result = XRegStore::Query(handle, View(name), &type, nullptr, &size);
    CloseKey(handle);
  }
  SetFailed(failed, result != XRegStore::Ok);
  return result == XRegStore::Ok ? type : XRegistry::TypeNone;
}

bool WriteDWORD(uint32_t value, const char16_t* name, uint32_t root, const char16_t* key) {
  return WriteValue(name, XRegistry::TypeDword, &value, sizeof value, root, key);
}

bool WriteQWORD(uint64_t value, const char16_t* name, uint32_t root, const char16_t* key) {
  return WriteValue(name, XRegistry::TypeQword, &value, sizeof value, root, key);
}

bool WriteFloat(float value, const char16_t* name, uint32_t root, const char16_t* key) {
  return WriteValue(name, XRegistry::TypeBinary, &value, sizeof value, root, key);
}

bool WriteBinary(const char16_t* name, const void* data, uint32_t length, uint32_t root,
                 const char16_t* key) {
  return WriteValue(name, XRegistry::TypeBinary, data, data ? length : 0, root, key);
}

bool WriteString(const char16_t* text, const char16_t* name, uint32_t root, const char16_t* key,
                 bool expand) {
  std::u16string_view value = View(text);
  uint32_t bytes = uint32_t((value.size() + 1) * sizeof(char16_t));
  const char16_t* data = text ? text : u"";
  return WriteValue(name, expand ? XRegistry::TypeExpandString : XRegistry::TypeString, data, bytes,
                    root, key);
}

void DeleteValue(const char16_t* name, uint32_t root, const char16_t* key) {
  if (XRegHandle handle = OpenKey(XRegistry::AccessAll, root, key)) {
    XRegStore::DeleteValue(handle, View(name));
    CloseKey(handle);
  }
}

void DeleteKey(uint32_t root, const char16_t* parent, const char16_t* subkey) {
  if (!subkey || !*subkey) return;
  std::u16string child(PathOf(parent));
  if (!child.empty() && child.back() != u'\\') child += u'\\';
  child += subkey;
  std::vector<std::u16string> children;
  if (uint32_t actualRoot = RootOf(root)) SubKeyNames(actualRoot, child, children);
  for (const std::u16string& name : children) DeleteKey(root, child.c_str(), name.c_str());
  if (XRegHandle handle = OpenKey(XRegistry::AccessAll, root, parent)) {
    XRegStore::DeleteSubKey(handle, subkey);
    CloseKey(handle);
  }
}

bool KeyExists(uint32_t root, const char16_t* key) {
  std::u16string_view path = PathOf(key);
  uint32_t actualRoot = RootOf(root);
  if (path.empty() || !actualRoot) return false;
  XRegKey* handle = nullptr;
  if (XRegStore::Open(actualRoot, path, false, false, &handle) != XRegStore::Ok) return false;
  XRegStore::Close(handle);
  return true;
}

}  // namespace XRegistry
