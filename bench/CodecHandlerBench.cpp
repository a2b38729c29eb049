// Finding a decoder among twenty libraries: a cached hit against a full scan.
#include "foundation/XPath.h"
#include "foundation/XRegistry.h"
#include "foundation/XString.h"
#include "plugins/clTvCodecHandler.h"
#include "plugins/clTvDecoder.h"
#include "tests/support/plugins/TestPlugin.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

// The settings store goes to a scratch folder, so the user's decoder cache stays untouched.
class BenchSettings {
 public:
  BenchSettings() {
    std::string pattern = (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp");
    pattern += "/tv-bench-XXXXXX";
    folder = pattern;
    if (mkdtemp(folder.data())) setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    // Each copy of the test decoder announces the extension of its number.
    std::string config = folder + "/plugins.conf";
    std::ofstream file(config);
    for (int i = 1; i <= 20; ++i) {
      std::string number = (i < 10 ? "0" : "") + std::to_string(i);
      file << "bench" << number << ".get.Decodes=1|.b" << number << "|Bench Format\n";
    }
    setenv(TVTEST_CONFIG_VARIABLE, config.c_str(), 1);
    clTvCodecHandler::SetBaseFolder(XString::FromUtf8(TV_BENCH_PLUGIN_DIR));
  }
  ~BenchSettings() { XPath::DeleteFolderContents(XString::FromUtf8(folder.c_str()), true); }

 private:
  std::string folder;
};

BenchSettings settings;
TvHostContext context{};

// The cache names the library: exactly one is loaded per search.
void CachedHit(benchmark::State& state) {
  clTvDecoder warm;
  if (!clTvCodecHandler::FindDecoder(u"song.b20", warm, &context))
    state.SkipWithError("no decoder");
  for (auto _ : state) {
    clTvDecoder decoder;
    benchmark::DoNotOptimize(clTvCodecHandler::FindDecoder(u"song.b20", decoder, &context));
  }
}

// No cache entry: the folder is scanned until a library answers.
void ScanHit(benchmark::State& state) {
  for (auto _ : state) {
    XRegistry::DeleteValue(u".b20", XRegistry::RootCurrentUser, TvDecoderCacheKey);
    clTvDecoder decoder;
    benchmark::DoNotOptimize(clTvCodecHandler::FindDecoder(u"song.b20", decoder, &context));
  }
}

// An extension nobody decodes: every one of the twenty libraries is loaded and asked.
void FullScanMiss(benchmark::State& state) {
  for (auto _ : state) {
    clTvDecoder decoder;
    benchmark::DoNotOptimize(clTvCodecHandler::FindDecoder(u"song.none", decoder, &context));
  }
}

// The binding already holds the extension's decoder: no library is loaded at all.
void SameBinding(benchmark::State& state) {
  clTvDecoder decoder;
  clTvCodecHandler::FindDecoder(u"song.b20", decoder, &context);
  for (auto _ : state)
    benchmark::DoNotOptimize(clTvCodecHandler::FindDecoder(u"song.b20", decoder, &context));
}

// One cache write per search: the store's own cost, for comparison.
void CacheWriteOnly(benchmark::State& state) {
  for (auto _ : state)
    XRegistry::WriteString(u"/x/decoder/bench20.so", u".b20", XRegistry::RootCurrentUser,
                           TvDecoderCacheKey);
}

}  // namespace

BENCHMARK(CachedHit)->Unit(benchmark::kMicrosecond);
BENCHMARK(ScanHit)->Unit(benchmark::kMicrosecond);
BENCHMARK(FullScanMiss)->Unit(benchmark::kMicrosecond);
BENCHMARK(SameBinding)->Unit(benchmark::kMicrosecond);
BENCHMARK(CacheWriteOnly)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
