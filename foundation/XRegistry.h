// The settings store: free functions that open a key, do one thing, and close it again.
#pragma once
#include <cstdint>
#include <vector>

class XString;
class XStringList;

// Predefined roots. The current user's root is the per-user store; the others are read
// from the system-wide store when one exists, and are never written.
constexpr uint32_t HKEY_CLASSES_ROOT = 0x80000000u;
constexpr uint32_t HKEY_CURRENT_USER = 0x80000001u;
constexpr uint32_t HKEY_LOCAL_MACHINE = 0x80000002u;
constexpr uint32_t HKEY_USERS = 0x80000003u;

// Value types, with the registry's own numbers.
constexpr uint32_t REG_NONE = 0;
constexpr uint32_t REG_SZ = 1;
constexpr uint32_t REG_EXPAND_SZ = 2;
constexpr uint32_t REG_BINARY = 3;
constexpr uint32_t REG_DWORD = 4;
constexpr uint32_t REG_MULTI_SZ = 7;
constexpr uint32_t REG_QWORD = 11;

// Access masks. Any mask with a write bit asks for a writable key.
constexpr uint32_t KEY_QUERY_VALUE = 0x0001u;
constexpr uint32_t KEY_SET_VALUE = 0x0002u;
constexpr uint32_t KEY_CREATE_SUB_KEY = 0x0004u;
constexpr uint32_t KEY_READ = 131097u;
constexpr uint32_t KEY_WRITE = 131078u;
constexpr uint32_t KEY_ALL_ACCESS = 983103u;

// An open key; 0 (null) when a key could not be opened.
struct XRegKey;
using XRegHandle = XRegKey*;

// In every call a root of 0 means the default root and a null key the default path; an
// explicit path replaces the default path whole. Names compare ignoring ASCII case.
// `failed`, when given, is set to 1 when the value could not be delivered, else to 0.
// Nothing here raises or reports: a failure gives the type's default.
namespace XRegistry {

// Sets the process-wide default location; done once, before other threads exist.
void SetDefaultKey(uint32_t root, const char16_t* key);

// Opens the key, creating it when absent (reads too); 0 on failure. Close with CloseKey,
// on the thread that opened it.
XRegHandle OpenKey(uint32_t access, uint32_t root = 0, const char16_t* key = nullptr);
void CloseKey(XRegHandle handle);

// REG_DWORD only; 0 on failure.
uint32_t ReadDWORD(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                   uint8_t* failed = nullptr);
// REG_QWORD only; 0 on failure.
uint64_t ReadQWORD(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                   uint8_t* failed = nullptr);
// A 32-bit float kept as 4 bytes of REG_BINARY, widened.
double ReadFloat(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                 uint8_t* failed = nullptr);
// REG_BINARY of at most `size` bytes; the buffer is zeroed when nothing was delivered.
bool ReadBinary(const char16_t* name, void* buffer, uint32_t size, uint32_t root = 0,
                const char16_t* key = nullptr);
// REG_SZ or REG_EXPAND_SZ, as stored (no expansion); empty on failure.
XString ReadString(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                   uint8_t* failed = nullptr);
// REG_MULTI_SZ into `list`, which is cleared first.
bool ReadStrings(XStringList& list, const char16_t* name, uint32_t root = 0,
                 const char16_t* key = nullptr);

bool ValueExists(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr);
// Size of the data in bytes.
uint32_t ValueSize(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                   uint8_t* failed = nullptr);
uint32_t ValueType(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                   uint8_t* failed = nullptr);

bool WriteDWORD(uint32_t value, const char16_t* name, uint32_t root = 0,
                const char16_t* key = nullptr);
bool WriteQWORD(uint64_t value, const char16_t* name, uint32_t root = 0,
                const char16_t* key = nullptr);
bool WriteFloat(float value, const char16_t* name, uint32_t root = 0,
                const char16_t* key = nullptr);
bool WriteBinary(const char16_t* name, const void* data, uint32_t length, uint32_t root = 0,
                 const char16_t* key = nullptr);
// REG_EXPAND_SZ when `expand` is set, else REG_SZ; stored with its terminator.
bool WriteString(const char16_t* text, const char16_t* name, uint32_t root = 0,
                 const char16_t* key = nullptr, bool expand = false);
// REG_MULTI_SZ: each string terminated, one more terminator at the end.
bool WriteStrings(const XStringList& list, const char16_t* name, uint32_t root = 0,
                  const char16_t* key = nullptr);

void DeleteValue(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr);
// Removes `subkey` below `parent` with everything under it, depth first. An empty or null
// subkey name does nothing.
void DeleteKey(uint32_t root, const char16_t* parent, const char16_t* subkey);
// True when the key exists; never creates it.
bool KeyExists(uint32_t root, const char16_t* key);
// Names of the subkeys; an empty path lists the root itself. False when the key didn't open.
bool EnumKeys(uint32_t root, const char16_t* key, XStringList& list);
// Names of the values and, when `types` is given, their type codes in the same order.
bool EnumValues(uint32_t root, const char16_t* key, XStringList& names,
                std::vector<uint32_t>* types = nullptr);

}  // namespace XRegistry
