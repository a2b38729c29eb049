#!/usr/bin/env bash
# Runs the built engine over damaged inputs, hostile output folders, stop signals, two runs at
# once and outputs that are the input. Every run must exit 1 with one clear error line and leave
# the output name holding the old output's exact bytes, or nothing, with nothing left beside it.
# Usage: fault_table.sh <path of transmill>   (as root: some rows mount small file systems)
set -u

# Each row runs twice: with an old output in place ("old") and without one ("new").
#  row              kind       argument
ROWS='
truncated_wav     input      cut.wav
wav_claims_more   input      claims.wav
truncated_flac    input      cut.flac
truncated_mp3     input      cut.mp3
truncated_vorbis  input      cut.ogg
truncated_opus    input      cut.opus
truncated_wavpack input      cut.wv
random_bytes_flac input      random.flac
empty_file        input      empty.wav
missing_file      input      missing.wav
full_disk         folder     small_disk
read_only_folder  folder     read_only
immutable_file    folder     immutable_file
immutable_folder  folder     immutable
sigterm           signal     TERM
sigint            signal     INT
sighup            signal     HUP
two_runs          race       -
same_path         self       same
other_spelling    self       spelling
symlink           self       symlink
hard_link         self       hardlink
'

TM=${1:-}
MOUNTS=() IMMUTABLE=() PIDS=()

cleanup() {
  for p in "${PIDS[@]}"; do kill -KILL "$p" 2>/dev/null; done
  wait 2>/dev/null
  for f in "${IMMUTABLE[@]}"; do chattr -i "$f"; done
  for m in "${MOUNTS[@]}"; do umount "$m"; done
  rm -rf "$S"
}

# Generated sources: long ones to stop half-way, short ones cut in half for every decoder.
make_sources() {
  SRC=$S/src
  mkdir -p "$SRC" "$S/home" && cd "$SRC" || exit 1
  sox -n -r 44100 -c 2 -b 16 a.wav synth 60 sine 440 whitenoise vol 0.5
  sox -n -r 44100 -c 2 -b 16 b.wav synth 60 sine 880 vol 0.5
  sox -n -r 44100 -c 2 -b 16 s.wav synth 3 pinknoise vol 0.5
  sox -n -r 44100 -c 2 -b 16 old.wav synth 1 brownnoise vol 0.5
  sox a.wav -t raw a.raw
  flac -s -o old.flac old.wav && flac -s -o s.flac s.wav
  for ext in mp3 ogg opus wv; do ffmpeg -v error -i s.wav "s.$ext"; done
  for ext in wav flac mp3 ogg opus wv; do
    head -c $(($(stat -c %s "s.$ext") / 2 + 1)) "s.$ext" >"cut.$ext"
  done
  # Whole frames, but a data chunk that claims twice the bytes it holds.
  local at size
  at=$(grep -obUa data s.wav | head -1 | cut -d: -f1)
  size=$((2 * ($(stat -c %s s.wav) - at - 8)))
  cp s.wav claims.wav
  printf '%b' "$(printf '\\x%02x' $((size & 255)) $((size >> 8 & 255)) $((size >> 16 & 255)) \
    $((size >> 24)))" | dd of=claims.wav bs=1 seek=$((at + 4)) conv=notrunc status=none
  head -c 65536 /dev/urandom >random.flac
  : >empty.wav
}

# Starts the engine with a home of its own and the signals at their defaults (a background job
# of a script ignores SIGINT, and this one ignores SIGPIPE); it reads $FEED, if given, and its
# UTF-16LE channels go to $W/<log>.out and .err.
start() {
  local log=$1
  shift
  HOME=$S/home XDG_CONFIG_HOME=$S/home/config XDG_DATA_HOME=$S/home/data TMPDIR=$S/home \
    env --default-signal=INT,HUP,TERM,PIPE "$TM" "$@" <"${FEED:-/dev/null}" \
    >"$W/$log.out" 2>"$W/$log.err" &
  PID=$!
  PIDS+=("$PID")
}
# Waits for the run started last, at most $1 seconds; RC is 128+n when signal n ended it.
finish() {
  for ((i = 0; i < $1 * 100; i++)); do kill -0 "$PID" || break; sleep 0.01; done 2>/dev/null
  kill -KILL "$PID" 2>/dev/null
  { wait "$PID"; } 2>/dev/null  # no word from the shell about a killed job
  RC=$?
}
run() { start "$@" && finish 120; }

fail() { REASON="${REASON:-FAIL:} $1;"; }
text() { iconv -f UTF-16LE -t UTF-8 "$1" 2>/dev/null | tr -d '\r'; }
# What the user reads as errors: standard error, and any "Error" line of standard output.
error_lines() {
  { text "$W/$1.err"; text "$W/$1.out" | grep "^Error"; } | grep -v "^[[:space:]]*$"
}

# Exit code 1, and one line (none when $3 is may_be_silent) that matches $2 and holds no
# library's status name. A "(Win:N)" code may stand beside the name it explains.
check_failure() {
  local lines count who=
  [[ $1 == r ]] || who="$1 run: "
  ((RC == 1)) || fail "${who}exit $RC$( ((RC > 128)) && echo " (killed by signal $((RC - 128)))")"
  lines=$(error_lines "$1")
  # The output check runs after failed runs too, and reports a new output the encoder took back.
  lines=$(grep -v "^Encoder output file does not exist: " <<<"$lines")
  LINE=${lines//$'\n'/ \/\/ }
  count=$(grep -c . <<<"$lines")
  ((count == 1)) || [[ $count == 0 && ${3:-} == may_be_silent ]] ||
    { fail "$who$count error lines"; return; }
  grep -Eq '[A-Z][A-Z0-9]*__[A-Z0-9_]+' <<<"$lines" &&
    fail "${who}noise in the line"
  [[ -z $lines ]] || grep -Eiq "$2" <<<"$lines" || fail "${who}the line does not match '$2'"
}

# Every name below a folder with the checksum of its bytes.
listing() {
  (cd "$1" && find . -mindepth 1 -printf '%P\n' | sort | while read -r f; do
    echo "$f $([ -f "$f" ] && md5sum <"$f")"
  done)
}
# The folder holds what it held before the run: the old output's bytes, or no output, and no
# temporary beside it.
check_folder() {
  local changes
  changes=$(diff <(echo "$BEFORE") <(listing "$1") | awk '/^[<>] ./ { seen[$2] = seen[$2] $1 }
    END { for (f in seen) {
      printf "%s%s %s", sep, seen[f] == "<>" ? "changed" : seen[f] == ">" ? "new" : "gone", f
      sep = ", " } }')
  [[ -z $changes ]] || fail "folder: $changes"
}

# The output folder, with the old output in it for the "old" variant.
prepare_out() {
  mkdir -p "$1"
  [[ $VARIANT == old ]] && cp "$SRC/old.flac" "$1/${2:-o.flac}"
  BEFORE=$(listing "$1")
}
mount_tmpfs() {
  [[ $EUID == 0 ]] || { REASON="SKIP: needs root to mount"; return 1; }
  mkdir -p "$1" && mount -t tmpfs -o "size=$2" tmpfs "$1" && MOUNTS=("$1" "${MOUNTS[@]}")
}
# Waits until something new shows in the folder: the run has begun writing.
await_writing() {
  for ((i = 0; i < 200; i++)); do [[ $(listing "$1") != "$BEFORE" ]] && return; sleep 0.05; done
  return 1
}

row_input() {
  prepare_out "$W/out"
  run r -infile="$SRC/$1" -outfile="$W/out/o.flac" -convert_to=flac
  check_failure r "$1"; check_folder "$W/out"
}

# An output folder that cannot take the output, on a small file system of its own: one that
# fills up, one mounted read-only, or one made immutable (the folder itself, or the old output).
row_folder() {
  local dir=$W/$1 input=s.wav named=$W/$1 target=$W/$1
  [[ $1 == immutable_file ]] && target=$dir/o.flac
  [[ $target != "$dir" && $VARIANT == new ]] && { REASON="-"; return; }
  mount_tmpfs "$dir" 512k || return  # a file system of its own, that takes the immutable mark
  prepare_out "$dir"
  case $1 in
    small_disk) input=a.wav named="space|full" ;;
    read_only) mount -o remount,ro "$dir" ;;
    *) chattr +i "$target" || { fail "chattr +i failed"; return; }
      IMMUTABLE+=("$target") ;;
  esac
  run r -infile="$SRC/$input" -outfile="$dir/o.flac" -convert_to=flac
  check_failure r "$named"; check_folder "$dir"
}

# Starts a run (log $1) to $W/out/o.flac that reads raw audio through a pipe, held open on
# descriptor 3 after its first 5 MB, and waits until the run has written.
start_held() {
  prepare_out "$W/out"
  rm -f "$W/feed" && mkfifo "$W/feed"
  FEED=$W/feed start "$1" -infile=- -sourcefreq=44100 -sourcechannels=2 -sourcebits=16 \
    -outfile="$W/out/o.flac" -convert_to=flac
  exec 3>"$W/feed"
  head -c 5000000 "$SRC/a.raw" >&3
  await_writing "$W/out" || fail "the $1 run wrote nothing"
}

# A stop half-way, while the run is held on standard input, ends the run as a quit: no error
# line is needed, and a line, if any, speaks of the stop.
row_signal() {
  local sent ms
  start_held r
  sent=${EPOCHREALTIME//[.,]/}
  kill -s "$1" "$PID"
  finish 10
  ms=$(((${EPOCHREALTIME//[.,]/} - sent) / 1000))
  exec 3>&-
  check_failure r "stop|signal|quit|interrupt|terminat|hang" may_be_silent
  check_folder "$W/out"
  LINE="${LINE:+$LINE; }ended within $ms ms of the signal"
}

# The second run to the same output is refused at once; the first, held half-way on standard
# input until the second has ended, then finishes with its own audio.
row_race() {
  local first rc
  start_held first
  first=$PID
  run second -infile="$SRC/b.wav" -outfile="$W/out/o.flac" -convert_to=flac
  rc=$RC
  tail -c +5000001 "$SRC/a.raw" >&3
  exec 3>&-
  PID=$first
  finish 120
  ((RC == 0)) || fail "first run: exit $RC"
  RC=$rc
  check_failure second "$W/out"
  flac -s -t "$W/out/o.flac" 2>/dev/null || fail "the output fails flac -t"
  cmp -s "$SRC/a.raw" <(flac -s -d -c --force-raw-format --endian=little --sign=signed \
    "$W/out/o.flac" 2>/dev/null) || fail "the output is not the first run's audio"
  [[ $(ls -A "$W/out") == o.flac ]] || fail "folder holds: $(ls -A "$W/out" | tr '\n' ' ')"
}

# The output is the input under another name: refused, and the source keeps its bytes.
row_self() {
  [[ $VARIANT == new ]] && { REASON="-"; return; }
  local out=$W/self/in.flac
  mkdir -p "$W/self/sub" && cp "$SRC/s.flac" "$out"
  case $1 in
    spelling) out=$W/self/sub/../in.flac ;;
    symlink) ln -s in.flac "$W/self/link.flac" && out=$W/self/link.flac ;;
    hardlink) ln "$W/self/in.flac" "$W/self/hard.flac" && out=$W/self/hard.flac ;;
  esac
  BEFORE=$(listing "$W/self")
  run r -infile="$W/self/in.flac" -outfile="$out" -convert_to=flac
  check_failure r "$W/self"; check_folder "$W/self"
}

main() {
  [[ -x $TM ]] || { echo "usage: $0 <path of transmill>" >&2; exit 2; }
  for tool in sox flac ffmpeg iconv; do
    command -v "$tool" >/dev/null || { echo "SKIP: $tool is not installed" >&2; exit 77; }
  done
  TM=$(realpath "$TM")
  trap '' PIPE  # a run that ends early must not end the table with it
  S=$(mktemp -d)
  trap cleanup EXIT
  trap "exit 1" INT TERM HUP  # so that the mounts and attributes are undone
  make_sources
  local name kind arg n=0 failed=0
  while read -r name kind arg; do
    [[ -z $name ]] && continue
    for VARIANT in old new; do
      W=$S/run$((++n))
      mkdir -p "$W"
      REASON='' LINE=''
      "row_$kind" "$arg"
      printf '%-18s %-4s %s\n' "$name" "$VARIANT" "${REASON:-PASS}${LINE:+ | $LINE}"
      [[ $REASON == FAIL* ]] && failed=1
    done
  done <<<"$ROWS"
  return $failed
}

main "$@"
