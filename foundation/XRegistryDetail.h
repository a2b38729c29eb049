// Helpers shared by the settings store's value functions and its list functions.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace XRegistryDetail {

std::u16string_view View(const char16_t* text);
// The given root, or the default root for 0.
uint32_t RootOf(uint32_t root);
// The given path, or the default path for null.
std::u16string_view PathOf(const char16_t* key);

// Reads a text value with `extra` zero bytes behind the stored ones, so the text ends even
// when the stored data has no terminator; an existing empty value gives no data and true.
bool ReadTextData(const char16_t* name, uint32_t root, const char16_t* key, uint32_t expected,
                  uint32_t extra, std::vector<char16_t>& data);
bool WriteValue(const char16_t* name, uint32_t type, const void* data, uint32_t size, uint32_t root,
                const char16_t* key);

// Names handed over by a listing: those before the first that is too long for the
// 1040-character name buffer of an enumeration.
size_t ListedCount(const std::vector<std::u16string>& names);
// Subkey names of an explicit root and path (empty: the root itself); the key is created
// as any open creates it. False when it did not open.
bool SubKeyNames(uint32_t root, std::u16string_view path, std::vector<std::u16string>& names);

}  // namespace XRegistryDetail
