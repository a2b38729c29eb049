// Tags written into the finished output by a decoder of its type, and the outputs reported.
#include "foundation/XStringList.h"
#include "tags/XTagList.h"
#include "tests/engine/TvChildRun.h"

#include <sstream>

namespace {

class TvTagWriterTest : public TvChildRunTest {
 protected:
  void SetUp() override {
    TvChildRunTest::SetUp();
    InstallPlugin(TV_TEST_PLUGIN_DIR "/TvScriptDecoder.so", "decoder", "script.so");
    InstallPlugin(TV_TEST_PLUGIN_DIR "/TvScriptEncoder.so", "encoder", "TestEnc.so");
    WriteBytes(PathOf("in.tvt"), "source");
  }

  // A console run of in.tvt with the tag Artist=A; the encoder asks for tags unless env says.
  TvChildResult Convert(const std::string& output, std::vector<std::string> env,
                        const std::vector<std::string>& moreArgs = {}) {
    std::vector<std::string> args = {"-infile=" + PathOf("in.tvt"), "-outfile=" + output,
                                     "-convert_to=testenc", "-tag=Artist=A"};
    args.insert(args.end(), moreArgs.begin(), moreArgs.end());
    // The first of two settings of one name counts: the test's own come first.
    env.insert(env.end(), {"TVTEST_CALLS=" + PathOf("calls.txt"), "TVTEST_WRITE_TAGS=1",
                           "TVTEST_BLOCKS=400,600E", "TVTEST_TAG_BLOCK=" + PathOf("tags.bin")});
    return Run(args, {}, env);
  }

  // The Set "IDTags" calls the decoder saw, as "path size".
  std::vector<std::string> TagCalls() const {
    std::istringstream in(ReadBytes(PathOf("calls.txt")));
    std::vector<std::string> found;
    for (std::string line; std::getline(in, line);)
      if (line.rfind("Set IDTags=", 0) == 0) found.push_back(line.substr(11));
    return found;
  }

  // The block the decoder was given, read back.
  XTagList WrittenTags() const {
    const std::string bytes = ReadBytes(PathOf("tags.bin"));
    XTagList list;
    list.FromBlock(bytes.data(), static_cast<int64_t>(bytes.size()));
    return list;
  }

  // A block as the encoder hands it back at its end.
  void ReturnedNames(std::initializer_list<std::pair<const char16_t*, std::string>> names) {
    XTagList list;
    for (const auto& [key, value] : names) list.Add(XString(key), XString(value.c_str(), true));
    XBuffer block;
    list.ToBlock(block);
    WriteBytes(PathOf("returned.bin"),
               std::string(reinterpret_cast<char*>(block.data), block.size));
  }
};

TEST_F(TvTagWriterTest, TagsAreWrittenToTheOutputThroughItsDecoder) {
  const std::string out = PathOf("new.wav");
  const TvChildResult r = Convert(out, {});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  ASSERT_EQ(TagCalls().size(), 1u);
  EXPECT_EQ(TagCalls()[0].rfind(out + " ", 0), 0u) << TagCalls()[0];
  EXPECT_EQ(Utf8(WrittenTags().GetValue(XString(u"Artist"))), "A");
  EXPECT_NE(r.out.find("Writing ID Tags: Done\r\n"), std::string::npos) << r.out;
}

TEST_F(TvTagWriterTest, NoTagsWithoutTheWordOrWithNoidtagOrIgnore) {
  for (const auto& [name, env, args] :
       {std::tuple<std::string, std::string, std::string>{"a.wav", "TVTEST_WRITE_TAGS=0", ""},
        {"b.wav", "", "-noidtag"},
        {"c.IGNORE", "", ""}}) {
    std::filesystem::remove(PathOf("calls.txt"));
    std::vector<std::string> moreArgs;
    if (!args.empty()) moreArgs.push_back(args);
    std::vector<std::string> moreEnv;
    if (!env.empty()) moreEnv.push_back(env);
    const TvChildResult r = Convert(PathOf(name), moreEnv, moreArgs);
    EXPECT_EQ(r.exitCode, 0) << name << r.err;
    EXPECT_TRUE(TagCalls().empty()) << name;
    EXPECT_EQ(r.out.find("Writing ID Tags"), std::string::npos) << name;
  }
}

TEST_F(TvTagWriterTest, EarlierFileIsReplacedAndTaggedOnSuccessOnly) {
  const std::string out = PathOf("old.wav");
  WriteBytes(out, "old");
  EXPECT_EQ(Convert(out, {}).exitCode, 0);
  EXPECT_EQ(ReadBytes(out).size(), 1000u);
  ASSERT_EQ(TagCalls().size(), 1u);
  EXPECT_EQ(TagCalls()[0].rfind(out + " ", 0), 0u);

  // A failure in the pump leaves the old file untouched and untagged.
  WriteBytes(out, "old");
  std::filesystem::remove(PathOf("calls.txt"));
  EXPECT_EQ(Convert(out, {"TVTEST_ENCODE_FAIL_AT=2"}).exitCode, 1);
  EXPECT_EQ(ReadBytes(out), "old");
  EXPECT_TRUE(TagCalls().empty());

  // So does an empty temporary output.
  std::filesystem::remove(PathOf("calls.txt"));
  EXPECT_EQ(Convert(out, {"TVTEST_ENCODER_WRITES=0"}).exitCode, 0);
  EXPECT_EQ(ReadBytes(out), "old");
  EXPECT_TRUE(TagCalls().empty());
}

TEST_F(TvTagWriterTest, FailedDirectOutputIsTaggedWhenTheEncoderAsks) {
  const std::string out = PathOf("direct.wav");
  const TvChildResult r = Convert(out, {"TVTEST_ENCODE_FAIL_AT=2"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(ReadBytes(out).size(), 400u);
  EXPECT_EQ(TagCalls().size(), 1u);
}

// Nine failed tries and a good one still tag the file; ten failed ones fail the run.
TEST_F(TvTagWriterTest, SetIsTriedTenTimes) {
  const std::string out = PathOf("retry.wav");
  TvChildResult r = Convert(out, {"TVTEST_TAG_FAILS=9"});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(TagCalls().size(), 10u);
  EXPECT_EQ(Utf8(WrittenTags().GetValue(XString(u"Artist"))), "A");

  std::filesystem::remove(PathOf("calls.txt"));
  r = Convert(out, {"TVTEST_TAG_FAILS=10"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(TagCalls().size(), 10u);
  EXPECT_NE(r.err.find("Unable to tag file '" + out + "'"), std::string::npos) << r.err;
  EXPECT_EQ(r.out.find("Done"), std::string::npos);
  EXPECT_EQ(ReadBytes(out).size(), 1000u);
}

TEST_F(TvTagWriterTest, ReportedNamesReachTheHostUpToTheFirstGap) {
  ReturnedNames({{u"FileName1", PathOf("one.wav")}, {u"FileName3", PathOf("three.wav")}});
  const std::string options = "-infile=\"" + PathOf("in.tvt") + "\" -outfile=\"" + PathOf("o.wav") +
                              "\" -convert_to=testenc -tag=Artist=A";
  WriteBytes(PathOf("job.tvcmd"), Utf16Bytes(options, true));
  const TvChildResult r =
      Run({"-tvcmd=" + PathOf("job.tvcmd")}, {},
          {"TVTEST_CALLS=" + PathOf("calls.txt"), "TVTEST_WRITE_TAGS=1", "TVTEST_BLOCKS=400,600E",
           "TVTEST_RETURN_BLOCK=" + PathOf("returned.bin")});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(r.out.find("MSGTO: tVH: FileName: " + PathOf("one.wav")), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("three.wav"), std::string::npos);
  // Tags go to the output name only.
  ASSERT_EQ(TagCalls().size(), 1u);
  EXPECT_EQ(TagCalls()[0].rfind(PathOf("o.wav") + " ", 0), 0u);
}

class TvTagWriterPhaseTest : public TvRunPhaseTest {};

TEST_F(TvTagWriterPhaseTest, EmptyBlockOrIgnoredTypeSkipsTheWriterSilently) {
  run->tagLoadFile = u"x.wav";
  EXPECT_TRUE(TvTransmillTestAccess::IDTagWriter(*run, u"x.wav", nullptr, 0));
  char byte = 1;
  run->tagLoadFile = u"x.iGNORE";
  EXPECT_TRUE(TvTransmillTestAccess::IDTagWriter(*run, u"x.wav", &byte, 1));
  EXPECT_EQ(Out(), "");
  EXPECT_EQ(LogText(), "");
}

TEST_F(TvTagWriterPhaseTest, UnreadableReturnedBlockMeansTheOneOutput) {
  const char junk[] = "not a tag block";
  run->conversionRecord.outputFile = u"/out/final.wav";
  run->conversionRecord.extraInfo = const_cast<char*>(junk);
  run->conversionRecord.extraInfoSize = sizeof junk;
  XStringList names;
  TvTransmillTestAccess::CollectOutputNames(*run, names);
  ASSERT_EQ(names.Count(), 1);
  EXPECT_EQ(Utf8(names[0]), "/out/final.wav");
}

}  // namespace
