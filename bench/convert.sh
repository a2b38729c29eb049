#!/usr/bin/env bash
# Whole-process timings of transmill against the tools people would otherwise use, printed as
# ratios. Usage: bench/convert.sh <folder holding bin/transmill> [repeats]
set -euo pipefail
bin=$(cd "$1" && pwd)/bin
repeats=${2:-3}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The best of several runs: the least disturbed by other work on the machine.
best_seconds() {
  local best="" took TIMEFORMAT=%3R
  for _ in $(seq "$repeats"); do
    took=$( { time "$@" >/dev/null 2>&1; } 2>&1 )
    if [ -z "$best" ] || [ "$(echo "$took < $best" | bc -l)" = 1 ]; then best=$took; fi
  done
  echo "$best"
}

ratio() { echo "scale=2; $1 / ($2 + 0.0005)" | bc -l; }

row() {  # label, our seconds, their seconds, their name
  printf '%-34s transmill %7.3f s   %-8s %7.3f s   ratio %s\n' "$1" "$2" "$4" "$3" "$(ratio "$2" "$3")"
}

transmill() { "$bin/transmill" -silent -infile="$1" -outfile="$2" -convert_to="$3" "${@:4}"; }

# Engine overhead: ten minutes of 44.1 kHz stereo, WAV to WAV.
sox -n -r 44100 -c 2 -b 16 "$work/long.wav" synth 600 pinknoise vol 0.5
ours=$(best_seconds transmill "$work/long.wav" "$work/out.wav" wav)
theirs=$(best_seconds sox "$work/long.wav" "$work/sox.wav")
copy=$(best_seconds cp "$work/long.wav" "$work/copy.wav")
row "10 min WAV to WAV" "$ours" "$theirs" sox
row "10 min WAV to WAV" "$ours" "$copy" cp

# Start-up: the whole process for a tenth of a second of audio.
sox -n -r 44100 -c 2 -b 16 "$work/short.wav" synth 0.1 pinknoise vol 0.5
ours=$(best_seconds transmill "$work/short.wav" "$work/out.wav" wav)
theirs=$(best_seconds sox "$work/short.wav" "$work/sox.wav")
row "0.1 s WAV to WAV (start-up)" "$ours" "$theirs" sox

# Encoders against their own command-line tools, same settings, five minutes of stereo.
sox -n -r 44100 -c 2 -b 16 "$work/five.wav" synth 300 pinknoise vol 0.5
encoder_row() {  # encoder, extension, our settings, then the tool's command line with IN and OUT
  local encoder=$1 ext=$2 settings=$3
  shift 3
  [ -e "$bin/encoder/$encoder.so" ] || { echo "$encoder: plug-in not built, skipped"; return; }
  command -v "$1" >/dev/null || { echo "$encoder: $1 not installed, skipped"; return; }
  local args=()
  for a in "$@"; do a=${a//IN/$work/five.wav}; args+=("${a//OUT/$work/tool.$ext}"); done
  # shellcheck disable=SC2086
  ours=$(best_seconds transmill "$work/five.wav" "$work/ours.$ext" "$encoder" $settings)
  theirs=$(best_seconds "${args[@]}")
  row "5 min WAV to $encoder" "$ours" "$theirs" "$1"
}
encoder_row flac flac "-5" flac -5 -f -s -o OUT IN
encoder_row mp3 mp3 "-V2" lame -V2 --silent IN OUT
encoder_row vorbis ogg "-q 5" oggenc -q 5 -Q -o OUT IN
encoder_row opus opus "-b 128" opusenc --bitrate 128 --quiet IN OUT
encoder_row wavpack wv "" wavpack -q -y IN -o OUT

# Decoders against theirs, to WAV.
decoder_row() {  # extension, made by, the tool's decode command with IN and OUT
  local ext=$1 source=$work/ours.$1
  shift
  [ -s "$source" ] || { echo "$ext decoding: no $ext file to decode, skipped"; return; }
  local args=()
  for a in "$@"; do a=${a//IN/$source}; args+=("${a//OUT/$work/tool.wav}"); done
  ours=$(best_seconds transmill "$source" "$work/dec.wav" wav)
  theirs=$(best_seconds "${args[@]}")
  row "5 min $ext to WAV" "$ours" "$theirs" "$1"
}
decoder_row flac flac -d -f -s -o OUT IN
decoder_row mp3 mpg123 -q -w OUT IN
