#!/usr/bin/env bash
# Sets up, builds and runs one job: demo (a conversion at the console), test (the unit tests),
# check (the tests under sanitizers), bench (the benchmarks) or fuzz (the tag block fuzz target;
# takes seconds as its argument).
set -euo pipefail
cd "$(dirname "$0")"
job=${1:-demo}
shift || true
build=${TV_BUILD_DIR:-build}
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

# Configures and builds one folder: configure_and_build <folder> [cmake options...]
configure_and_build() {
  local folder=$1
  shift
  cmake -S . -B "$folder" -G Ninja "${launcher[@]}" "$@" >/dev/null
  cmake --build "$folder" -j "$(nproc)"
}

# The suites that start threads of their own, for the thread sanitizer.
threaded_suites='foundation_tests|engine_tests|sdk_tests'

check() {
  # Address and undefined-behaviour sanitizers over the whole suite.
  configure_and_build build-asan -DTV_SANITIZE=address,undefined
  ASAN_OPTIONS=detect_leaks=1:halt_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    LSAN_OPTIONS=suppressions=$PWD/tests/sanitizers/lsan.supp ctest --test-dir build-asan --output-on-failure -j "$(nproc)" "$@"
  # The thread sanitizer over the suites that start threads.
  cmake -S . -B build-tsan -G Ninja "${launcher[@]}" -DTV_SANITIZE=thread >/dev/null
  local targets
  targets=$(echo "$threaded_suites" | tr '|' ' ')
  # shellcheck disable=SC2086
  cmake --build build-tsan -j "$(nproc)" --target $targets transmill pcm_decoder wav_encoder
  # The thread sanitizer models a mutex within one process: a process-shared robust mutex that
  # another process holds, abandons or is asked to unlock looks like a misuse to it, so the
  # named-mutex tests run under the other sanitizers only.
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
    ctest --test-dir build-tsan --output-on-failure -j "$(nproc)" -L "$threaded_suites" \
    -E '^(XMutexTest|XSharedMemTest)[.]|^TvNamedTest[.]Mutex' "$@"
}

bash ./setup.sh
case "$job" in
  demo)
    configure_and_build "$build"
    bash ./tools/demo.sh "$build" "$@"
    ;;
  test)
    configure_and_build "$build"
    ctest --test-dir "$build" --output-on-failure -j "$(nproc)" "$@"
    ;;
  check)
    check "$@"
    ;;
  bench)
    build=${TV_BUILD_DIR:-build-bench}
    configure_and_build "$build" -DCMAKE_BUILD_TYPE=Release -DTV_BUILD_TESTS=OFF -DTV_BUILD_BENCH=ON
    "$build/bin/codec_handler_bench"
    bash ./bench/convert.sh "$build" "$@"
    ;;
  fuzz)
    sh ./fuzz/run.sh "$@"
    ;;
  *)
    echo "usage: run.sh demo|test|check|bench|fuzz [seconds]" >&2
    exit 2
    ;;
esac
