#!/usr/bin/env bash
# Installs the Debian packages that building and testing need; quick when all are present.
set -euo pipefail

packages=(
  # build
  cmake ninja-build pkg-config g++ googletest libgtest-dev libbenchmark-dev
  # engine and foundation
  libsqlite3-dev zlib1g-dev libssl-dev
  # plug-in records: 32-bit compile-only layout check; wave headers read back by soxi
  gcc-multilib g++-multilib sox
  # plug-ins
  libmp3lame-dev libmpg123-dev libsndfile1-dev libtag1-dev libflac-dev libvorbis-dev
  libopus-dev libopusfile-dev libopusenc-dev libwavpack-dev
  # the demo, and the tools that tests and benchmarks take as referees
  bc espeak-ng ffmpeg flac lame mpg123 opus-tools python3-mutagen vorbis-tools wavpack
)

missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt_opts=(-o DPkg::Lock::Timeout=300)
  apt-get "${apt_opts[@]}" update </dev/null
  apt-get "${apt_opts[@]}" install -y --no-install-recommends "${missing[@]}" </dev/null
fi
