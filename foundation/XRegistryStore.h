// The database beneath XRegistry: keys and typed values, answering with the registry's codes.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct XRegKey;

namespace XRegStore {

// Result codes, in the registry's numbering.
constexpr long Ok = 0;
constexpr long NotFound = 2;
constexpr long AccessDenied = 5;
constexpr long MoreData = 234;
constexpr long BadDatabase = 1009;
constexpr long IoFailed = 1016;
constexpr long KeyDeleted = 1018;

// The per-user database file, from XDG_CONFIG_HOME (or ~/.config); empty when no home is known.
std::string UserStorePath();
// The first system-wide database found along XDG_CONFIG_DIRS (or /etc/xdg); empty if none.
std::string SystemStorePath();

// Opens `path` (components split at backslashes; empty ones are skipped, so an empty path is
// the root itself). With `create`, missing keys come into being; `writable` asks for a key
// that takes changes. Only the current user's root can be created in or written.
long Open(uint32_t root, std::u16string_view path, bool create, bool writable, XRegKey** out);
void Close(XRegKey* key);

// With a null `data`, only the type and the size are told. A `size` too small gives MoreData
// with the needed size, and nothing copied.
long Query(XRegKey* key, std::u16string_view name, uint32_t* type, void* data, uint32_t* size);
long Set(XRegKey* key, std::u16string_view name, uint32_t type, const void* data, uint32_t size);
long DeleteValue(XRegKey* key, std::u16string_view name);
// Removes a subkey that has no subkeys of its own, with its values.
long DeleteSubKey(XRegKey* key, std::u16string_view name);
// Subkey names in ASCII-case-insensitive order.
long ListSubKeys(XRegKey* key, std::vector<std::u16string>& names);
// Value names and types in the order the values were first written.
long ListValues(XRegKey* key, std::vector<std::u16string>& names, std::vector<uint32_t>& types);

}  // namespace XRegStore
