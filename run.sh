#!/usr/bin/env bash
# Sets up, builds and runs one job: demo (a conversion at the console), test (the unit tests),
# bench (the benchmarks) or fuzz (the tag block fuzz target; takes seconds as its argument).
set -euo pipefail
cd "$(dirname "$0")"
job=${1:-demo}
shift || true
build=${TV_BUILD_DIR:-build}

bash ./setup.sh
if [ "$job" = bench ]; then
  build=${TV_BUILD_DIR:-build-bench}
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTV_BUILD_TESTS=OFF -DTV_BUILD_BENCH=ON >/dev/null
elif [ "$job" != fuzz ]; then
  cmake -S . -B "$build" -G Ninja >/dev/null
fi
[ "$job" = fuzz ] || cmake --build "$build" -j "$(nproc)"

case "$job" in
  demo)
    bash ./tools/demo.sh "$build" "$@"
    ;;
  bench)
    "$build/bin/codec_handler_bench"
    bash ./bench/convert.sh "$build" "$@"
    ;;
  fuzz)
    sh ./fuzz/run.sh "$@"
    ;;
  test)
    ctest --test-dir "$build" --output-on-failure -j "$(nproc)" "$@"
    ;;
  *)
    echo "usage: run.sh demo|test|bench|fuzz [seconds]" >&2
    exit 2
    ;;
esac
