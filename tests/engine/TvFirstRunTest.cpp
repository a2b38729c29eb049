// First-run defaults: written once per user store, never again while the marker exists.
#include "engine/TvFirstRun.h"
#include "foundation/XRegistry.h"

#include <gtest/gtest.h>

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

uint32_t Read(const char16_t* name, const char16_t* key) {
  return XRegistry::ReadDWORD(name, XRegistry::RootCurrentUser, key);
}

}  // namespace

// The tag default marks the store as seeded: a second run writes nothing, even where the user
// deleted or changed values.
TEST_F(TvFirstRunTest, DefaultsAreWrittenOnlyByTheFirstRun) {
  TvSeedFirstRunDefaults();
  EXPECT_EQ(Read(u"AlbumArtFolderJPG", Profile), 1u);
  EXPECT_EQ(Read(u"Mp3TagDefault", Tagging), 3u);
  EXPECT_EQ(Read(u"Mp3ID3v2UnicodeEncode", Tagging), 1u);
  EXPECT_EQ(Read(u"tVHProfFreqConversion", TvProductKey), 1u);
  XRegistry::DeleteValue(u"AlbumArtFolderJPG", XRegistry::RootCurrentUser, Profile);
  ASSERT_TRUE(XRegistry::WriteDWORD(7, u"Mp3TagDefault", XRegistry::RootCurrentUser, Tagging));
  TvSeedFirstRunDefaults();
  EXPECT_FALSE(XRegistry::ValueExists(u"AlbumArtFolderJPG", XRegistry::RootCurrentUser, Profile));
  EXPECT_EQ(Read(u"Mp3TagDefault", Tagging), 7u);
}
