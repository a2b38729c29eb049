// First-run defaults: written once per user store, never again while the marker exists.
#include "engine/TvFirstRun.h"
#include "foundation/XRegistry.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include "tests/support/ScratchFolder.h"

namespace {

constexpr char16_t Tagging[] = u"Software\\Morlane\\Tonvera\\Tagging";
constexpr char16_t Profile[] = u"Software\\Morlane\\Tonvera\\DiscLifter\\Profiles\\(default)";

class TvFirstRunTest : public ::testing::Test {
 protected:
  ScratchFolder scratch;
  ScopedEnv configHome{"XDG_CONFIG_HOME", scratch.Folder().c_str()};
};

uint32_t Read(const char16_t* name, const char16_t* key, uint8_t* failed = nullptr) {
  return XRegistry::ReadDWORD(name, XRegistry::RootCurrentUser, key, failed);
}

}  // namespace

TEST_F(TvFirstRunTest, FirstRunWritesTheFourDefaults) {
  TvSeedFirstRunDefaults();
  EXPECT_EQ(Read(u"AlbumArtFolderJPG", Profile), 1u);
  EXPECT_EQ(Read(u"Mp3TagDefault", Tagging), 3u);
  EXPECT_EQ(Read(u"Mp3ID3v2UnicodeEncode", Tagging), 1u);
  EXPECT_EQ(Read(u"tVHProfFreqConversion", TvProductKey), 1u);
}

TEST_F(TvFirstRunTest, SecondRunWritesNothingEvenAfterTheUserDeletedValues) {
  TvSeedFirstRunDefaults();
  XRegistry::DeleteValue(u"AlbumArtFolderJPG", XRegistry::RootCurrentUser, Profile);
  XRegistry::DeleteValue(u"tVHProfFreqConversion", XRegistry::RootCurrentUser, TvProductKey);
  ASSERT_TRUE(XRegistry::WriteDWORD(7, u"Mp3TagDefault", XRegistry::RootCurrentUser, Tagging));
  TvSeedFirstRunDefaults();
  EXPECT_FALSE(XRegistry::ValueExists(u"AlbumArtFolderJPG", XRegistry::RootCurrentUser, Profile));
  EXPECT_FALSE(
      XRegistry::ValueExists(u"tVHProfFreqConversion", XRegistry::RootCurrentUser, TvProductKey));
  EXPECT_EQ(Read(u"Mp3TagDefault", Tagging), 7u);
}

TEST_F(TvFirstRunTest, AStoreThatCannotBeOpenedIsPassedOver) {
  std::filesystem::create_directories(scratch.Folder() + "/Morlane/Tonvera/settings.db");
  TvSeedFirstRunDefaults();
  uint8_t failed = 0;
  EXPECT_EQ(Read(u"Mp3TagDefault", Tagging, &failed), 0u);
  EXPECT_EQ(failed, 1);
}
