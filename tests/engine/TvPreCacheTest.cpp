// The pre-cache read: pieces of 64 KiB, and the switch that skips it.
#include "engine/TvPreCache.h"
#include "foundation/XRegistry.h"
#include "tests/engine/TvTestSupport.h"

namespace {

class TvPreCacheTest : public ScratchFolderTest {
 protected:
  uint32_t ReadsFor(size_t size) {
    const std::string path = PathOf("source.bin");
    WriteBytes(path, std::string(size, 'a'));
    return TvPreCacheRead(X(path));
  }
};

TEST_F(TvPreCacheTest, ReadsInPiecesOfAtMost64KiB) {
  EXPECT_EQ(ReadsFor(0), 0u);
  EXPECT_EQ(ReadsFor(65536), 1u);
  EXPECT_EQ(ReadsFor(65537), 2u);
  EXPECT_EQ(TvPreCacheRead(X(PathOf("absent.wav"))), 0u);
}

using TvPreCacheRunTest = TvRunPhaseTest;

TEST_F(TvPreCacheRunTest, RegistrySwitchOrStandardInputSkipsTheRead) {
  ScopedEnv config("XDG_CONFIG_HOME", folder.c_str());
  WriteBytes(PathOf("in.wav"), "data");
  const std::string text = "-infile=\"" + PathOf("in.wav") + "\" -outfile=o -convert_to=c";
  ASSERT_TRUE(ParseText(text));
  EXPECT_TRUE(run->PreCacheRead());
  ASSERT_TRUE(XRegistry::WriteDWORD(1, u"tVHNoPreCache"));
  EXPECT_FALSE(run->PreCacheRead());
  ASSERT_TRUE(XRegistry::WriteDWORD(0, u"tVHNoPreCache"));
  Opts().inputIsStdin = 1;
  EXPECT_FALSE(run->PreCacheRead());
}

}  // namespace
