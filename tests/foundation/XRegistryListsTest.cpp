// The settings store's string-list functions: multi-string values and listings.
#include "foundation/XRegistry.h"
#include "foundation/XRegistryStore.h"
#include "tests/foundation/Fixtures.h"

namespace {

void WriteRaw(const char16_t* name, uint32_t type, const void* data, uint32_t size) {
  XRegHandle key = XRegistry::OpenKey(XRegistry::AccessWrite);
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(XRegStore::Set(key, name, type, data, size), XRegStore::Ok);
  XRegistry::CloseKey(key);
}

}  // namespace

using XRegistryListsTest = XSettingsSandbox;

TEST_F(XRegistryListsTest, StringListsRoundTripAndOtherTypesReadAsFailures) {
  ASSERT_TRUE(XRegistry::WriteStrings(ListOf({u"C:\\first", u"", u"third \u00e9"}), u"Paths"));
  EXPECT_EQ(XRegistry::ValueType(u"Paths"), XRegistry::TypeMultiString);
  WriteRaw(u"EmptyMulti", XRegistry::TypeMultiString, "", 0);
  ASSERT_TRUE(XRegistry::WriteString(u"one", u"Single"));
  const std::pair<const char16_t*, const char*> cases[] = {{u"Paths", "3:C:\\first||third \u00e9"},
                                                           {u"EmptyMulti", "0:"},
                                                           {u"Single", "failed 0:"},
                                                           {u"Absent", "failed 0:"}};
  for (const auto& [name, items] : cases) {
    XStringList back = ListOf({u"stale"});
    bool ok = XRegistry::ReadStrings(back, name);
    EXPECT_EQ((ok ? "" : "failed ") + Listed(back), items) << U8(name);
  }
}

TEST_F(XRegistryListsTest, EnumKeysListsChildrenAndEmptyPathListsTheRoot) {
  for (const char16_t* key : {u"Software\\Test\\beta", u"Software\\Test\\Alpha\\Deep",
                              u"Software\\Test\\_under", u"Software\\Test\\Gamma"}) {
    ASSERT_TRUE(XRegistry::WriteDWORD(1, u"V", 0, key));
  }
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"V", XRegistry::RootCurrentUser, u"Another"));
  XStringList list = ListOf({u"stale"});
  ASSERT_TRUE(XRegistry::EnumKeys(0, nullptr, list));
  EXPECT_EQ(Listed(list), "4:_under|Alpha|beta|Gamma");
  ASSERT_TRUE(XRegistry::EnumKeys(XRegistry::RootCurrentUser, u"", list));
  EXPECT_EQ(Listed(list), "2:Another|Software");
  ASSERT_TRUE(XRegistry::EnumKeys(0, u"Software\\Test\\Gamma", list));
  EXPECT_EQ(Listed(list), "0:");
}

TEST_F(XRegistryListsTest, EnumValuesGivesNamesAndTypesInWritingOrder) {
  ASSERT_TRUE(XRegistry::WriteString(u"s", u"Zeta"));
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"Alpha"));
  ASSERT_TRUE(XRegistry::WriteQWORD(1, u"Mid"));
  ASSERT_TRUE(XRegistry::WriteDWORD(2, u"ZETA"));  // rewriting keeps place and name
  XStringList names;
  std::vector<uint32_t> types{99};
  ASSERT_TRUE(XRegistry::EnumValues(0, nullptr, names, &types));
  EXPECT_EQ(Listed(names), "3:Zeta|Alpha|Mid");
  EXPECT_EQ(types, (std::vector<uint32_t>{XRegistry::TypeDword, XRegistry::TypeDword,
                                          XRegistry::TypeQword}));
}
