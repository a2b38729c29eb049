// The settings store: free functions that open a key, do one thing, and close it again.
#pragma once
#include <cstdint>
#include <vector>

class XString;
class XStringList;

namespace XRegistry {

// Predefined roots. The current user's root is the per-user store; the others are read
// from the system-wide store when one exists, and are never written.
constexpr uint32_t RootClasses = 0x80000000u;
constexpr uint32_t RootCurrentUser = 0x80000001u;
constexpr uint32_t RootLocalMachine = 0x80000002u;
constexpr uint32_t RootUsers = 0x80000003u;

// Value types, with the registry's own numbers.
constexpr uint32_t TypeNone = 0;
constexpr uint32_t TypeString = 1;
constexpr uint32_t TypeExpandString = 2;
constexpr uint32_t TypeBinary = 3;
constexpr uint32_t TypeDword = 4;
constexpr uint32_t TypeMultiString = 7;
constexpr uint32_t TypeQword = 11;

// Access masks. Any mask with a write bit asks for a writable key.
constexpr uint32_t AccessQuery = 0x0001u;
constexpr uint32_t AccessSet = 0x0002u;
constexpr uint32_t AccessCreateSubKey = 0x0004u;
constexpr uint32_t AccessRead = 131097u;
constexpr uint32_t AccessWrite = 131078u;
constexpr uint32_t AccessAll = 983103u;

}  // namespace XRegistry

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

// TypeDword only; 0 on failure.
uint32_t ReadDWORD(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                   uint8_t* failed = nullptr);
// TypeQword only; 0 on failure.
uint64_t ReadQWORD(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                   uint8_t* failed = nullptr);
// A 32-bit float kept as 4 bytes of TypeBinary, widened.
double ReadFloat(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                 uint8_t* failed = nullptr);
// TypeBinary of at most `size` bytes; the buffer is zeroed when nothing was delivered.
bool ReadBinary(const char16_t* name, void* buffer, uint32_t size, uint32_t root = 0,
                const char16_t* key = nullptr);
// TypeString or TypeExpandString, as stored (no expansion); empty on failure.
XString ReadString(const char16_t* name, uint32_t root = 0, const char16_t* key = nullptr,
                   uint8_t* failed = nullptr);
// TypeMultiString into `list`, which is cleared first.
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
// TypeExpandString when `expand` is set, else TypeString; stored with its terminator.
bool WriteString(const char16_t* text, const char16_t* name, uint32_t root = 0,
                 const char16_t* key = nullptr, bool expand = false);
// TypeMultiString: each string terminated, one more terminator at the end.
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
