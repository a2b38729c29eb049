// Tests of the run's small rules: output names, back-off, percentage, closing line.
#include "engine/TvRunRules.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestText.h"

#include <gtest/gtest.h>

#include <string>

TEST(TvRunRulesTest, IgnoreExtensionInAnyCaseButOnlyAsTheExtension) {
  EXPECT_TRUE(TvIsIgnoreExtension(X("/music/a.IGNORE")));
  EXPECT_TRUE(TvIsIgnoreExtension(X("a.iGnOrE")));
  EXPECT_FALSE(TvIsIgnoreExtension(X("/x.ignore/a")));
  EXPECT_FALSE(TvIsIgnoreExtension(X("a.ignored")));
  EXPECT_FALSE(TvIsIgnoreExtension(X("IGNORE")));
}

TEST(TvRunRulesTest, TempNameRepeatsTheExtension) {
  EXPECT_EQ(U8(TvTempOutputName(X("/m/b.flac"))), "/m/b.flac.tmp.flac");
  EXPECT_EQ(U8(TvTempOutputName(X("/m.d/b"))), "/m.d/b.tmp.");
  EXPECT_EQ(U8(TvTempOutputName(X("/m/b."))), "/m/b..tmp.");
}

TEST(TvRunRulesTest, TempNameIsCutToStayWithin259Characters) {
  const std::string ext = ".flac";
  const int limit = 256 - (static_cast<int>(ext.size()) + 1);  // 250
  for (int length : {limit - 1, limit, limit + 1, 400}) {
    const std::string name = "/" + std::string(length - 1 - ext.size(), 'a') + ext;
    const std::string kept = name.substr(0, std::min(length, limit));
    EXPECT_EQ(U8(TvTempOutputName(X(name))), kept + ".tmp" + ext) << length;
  }
}

TEST(TvRunRulesTest, BackOffSleepsZeroThen25Then50UntilDataComes) {
  TvBackOff backOff;
  const int32_t expected[] = {0, 25, 25, 50, 50, 50};
  for (int32_t sleep : expected) EXPECT_EQ(backOff.Next(false), sleep);
  EXPECT_EQ(backOff.Next(true), -1);
  EXPECT_EQ(backOff.Next(false), 0);
  EXPECT_EQ(TvBackOff::SleepAt(5), -1);
  EXPECT_EQ(TvBackOff::SleepAt(-1), -1);
}

TEST(TvRunRulesTest, PercentIsCappedAndALengthOfZeroCountsAsOne) {
  EXPECT_EQ(TvPercentDone(9, 1000), 0u);
  EXPECT_EQ(TvPercentDone(10, 1000), 1u);
  EXPECT_EQ(TvPercentDone(999, 1000), 99u);
  EXPECT_EQ(TvPercentDone(5000, 1000), 100u);
  EXPECT_EQ(TvPercentDone(0, 0), 0u);
  EXPECT_EQ(TvPercentDone(1, 0), 100u);
  EXPECT_EQ(TvPercentDone(0xFFFFFFFFull, 0xFFFFFFFFull), 100u);
}

TEST(TvRunRulesTest, ClosingLineShowsElapsedTimeAndFactor) {
  ScratchFolder scratch;
  ScopedEnv config("XDG_CONFIG_HOME", scratch.Folder().c_str());
  EXPECT_EQ(U8(TvClosingLine(0, 3.0)), "");
  EXPECT_EQ(U8(TvClosingLine(1500, 0.0)), "Conversion completed in 1.5 seconds");
  EXPECT_EQ(U8(TvClosingLine(65000, 12.99)),
            "Conversion completed in 1 minute 5 seconds x12 realtime encoding");
  EXPECT_EQ(U8(TvClosingLine(7, 10.0)),
            "Conversion completed in 7 mili-seconds x10 realtime encoding");
}
