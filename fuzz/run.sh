#!/bin/sh
# Builds the tag block fuzz target with clang-16 (installing it if missing) and runs it for
# the given number of seconds (default 600) over seeds made from valid blocks.
# Usage: fuzz/run.sh [seconds] [build folder]
set -eu
seconds=${1:-600}
root=$(cd "$(dirname "$0")/.." && pwd)
out=${2:-$root/build-fuzz}

missing=""
for pkg in clang-16 libclang-rt-16-dev; do
  dpkg -s "$pkg" >/dev/null 2>&1 || missing="$missing $pkg"
done
if [ -n "$missing" ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  export DEBIAN_FRONTEND=noninteractive
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 update
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 install -y \
    --no-install-recommends $missing
fi

# The tag model needs only the string, list and buffer parts of the foundation.
sources="$root/tags/XTagList.cpp $root/tags/XTagListBlock.cpp $root/tags/XTagPicture.cpp"
for f in XString XStringFormat XStringNumbers XTextCodec XPtrArray XBuffer XStringList \
         XLastError; do
  sources="$sources $root/foundation/$f.cpp"
done
flags="-std=c++20 -g -O1 -I$root"

mkdir -p "$out/corpus" "$out/crashes"
# The text codec is the sdk's C code.
clang-16 -g -O1 -I"$root" -fsanitize=fuzzer-no-link,address,undefined -c "$root/sdk/tv_text.c" \
  -o "$out/tv_text.o"
sources="$sources $out/tv_text.o"
clang++-16 $flags -fsanitize=address,undefined -o "$out/MakeSeeds" "$root/fuzz/MakeSeeds.cpp" $sources
clang++-16 $flags -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined \
  -o "$out/TagBlockFuzz" "$root/fuzz/TagBlockFuzz.cpp" $sources
"$out/MakeSeeds" "$out/corpus"

# The exit status is the fuzzer's: non-zero when it found a crash (kept in crashes/).
exec "$out/TagBlockFuzz" -max_total_time="$seconds" -max_len=8192 -rss_limit_mb=2048 \
  -print_final_stats=1 -artifact_prefix="$out/crashes/" "$out/corpus"
