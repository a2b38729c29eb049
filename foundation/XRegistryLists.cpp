// The settings store's functions on string lists: multi-string values and listings.
#include "foundation/XRegistry.h"

#include "foundation/XBuffer.h"
#include "foundation/XRegistryDetail.h"
#include "foundation/XRegistryStore.h"
#include "foundation/XStringList.h"

using namespace XRegistryDetail;

namespace XRegistry {

bool ReadStrings(XStringList& list, const char16_t* name, uint32_t root, const char16_t* key) {
  list.Clear();
  std::vector<char16_t> data;
  if (!ReadTextData(name, root, key, XRegistry::TypeMultiString, 4, data)) return false;
  if (!data.empty()) {
    list.FromMultiString(data.data(), uint32_t(data.size() * sizeof(char16_t)), 1);
  }
  return true;
}

bool WriteStrings(const XStringList& list, const char16_t* name, uint32_t root,
                  const char16_t* key) {
  XBuffer data;
  if (!list.ToMultiString(data, 1) || !data.data) return false;
  return WriteValue(name, XRegistry::TypeMultiString, data.data, data.size, root, key);
}

bool EnumKeys(uint32_t root, const char16_t* key, XStringList& list) {
  list.Clear();
  uint32_t actualRoot = RootOf(root);
  // Only an explicit empty path means the root itself.
  if (!actualRoot || (!key && PathOf(key).empty())) return false;
  std::vector<std::u16string> names;
  if (!SubKeyNames(actualRoot, PathOf(key), names)) return false;
  for (const std::u16string& name : names) list.Add(name.c_str());
  return true;
}

bool EnumValues(uint32_t root, const char16_t* key, XStringList& names,
                std::vector<uint32_t>* types) {
  names.Clear();
  if (types) types->clear();
  XRegHandle handle = OpenKey(XRegistry::AccessRead, root, key);
  if (!handle) return false;
  std::vector<std::u16string> found;
  std::vector<uint32_t> foundTypes;
  XRegStore::ListValues(handle, found, foundTypes);
  CloseKey(handle);
  size_t count = ListedCount(found);
  for (size_t i = 0; i < count; ++i) names.Add(found[i].c_str());
  if (types) types->assign(foundTypes.begin(), foundTypes.begin() + long(count));
  return true;
}

}  // namespace XRegistry
