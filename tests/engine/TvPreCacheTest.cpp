// The pre-cache read: pieces of 64 KiB, and the switch that skips it.
#include "engine/TvPreCache.h"
#include "foundation/XRegistry.h"
#include "tests/engine/TvTestSupport.h"

namespace {

using TvPreCacheTest = ScratchFolderTest;

TEST_F(TvPreCacheTest, ReadsInPiecesOfAtMost64KiB) {
  for (const auto& [size, reads] : {std::pair<size_t, uint32_t>{0, 0}, {65536, 1}, {65537, 2}}) {
    WriteBytes(PathOf("source.bin"), std::string(size, 'a'));
    EXPECT_EQ(TvPreCacheRead(X(PathOf("source.bin"))), reads) << size;
  }
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
