#!/usr/bin/env bash
# Sets up, builds and runs one job: demo (a conversion at the console) or test (the unit tests).
set -euo pipefail
cd "$(dirname "$0")"
job=${1:-demo}
shift || true
build=${TV_BUILD_DIR:-build}

bash ./setup.sh
cmake -S . -B "$build" -G Ninja >/dev/null
cmake --build "$build" -j "$(nproc)"

case "$job" in
  demo)
    # Until the conversion phases exist, the engine shows its banner and usage.
    "$build/bin/transmill" "$@" || echo "(transmill ended with exit code $?)"
    ;;
  test)
    ctest --test-dir "$build" --output-on-failure -j "$(nproc)" "$@"
    ;;
  *)
    echo "usage: run.sh demo|test" >&2
    exit 2
    ;;
esac
