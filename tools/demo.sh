#!/usr/bin/env bash
# The README's first command: converts a short recording at the console and shows the result.
# Usage: tools/demo.sh <build folder> [input audio file]
set -euo pipefail
bin=$(cd "$1" && pwd)/bin
out=$(pwd)/demo-out
mkdir -p "$out"

input=${2:-}
if [ -z "$input" ]; then
  # A spoken sentence, so that there is something worth listening to afterwards.
  input=$out/speech.wav
  espeak-ng -s 150 -w "$input" \
    "This is Transmill, the conversion engine of Tonvera, converting a short recording."
  echo "Made $input with espeak-ng."
fi
# A picture of the recording itself serves as its cover.
sox "$input" -n spectrogram -x 600 -y 257 -t "Transmill demo" -o "$out/cover.png"

convert() {  # input, output name, encoder, settings...
  local source=$1 target=$out/$2 encoder=$3
  shift 3
  if [ ! -e "$bin/encoder/$encoder.so" ]; then
    echo "(no $encoder encoder built: $(basename "$target") skipped)"
    return
  fi
  echo
  echo "\$ transmill -infile=$(basename "$source") -outfile=$(basename "$target") -convert_to=$encoder $*"
  # Off a terminal the engine writes UTF-16LE, as hosts read it: turned into UTF-8 for show.
  "$bin/transmill" -infile="$source" -outfile="$target" -convert_to="$encoder" "$@" 2>&1 |
    iconv -f UTF-16LE -t UTF-8
  local code=${PIPESTATUS[0]}
  [ "$code" = 0 ] || echo "(transmill ended with exit code $code)"
}

# The recording to FLAC with tags given on the command line, then the cover put in with
# metaflac, then the FLAC to MP3: tags and picture travel with the audio.
convert "$input" speech.flac flac -8 -tag="Title=Transmill demo" -tag="Artist=espeak-ng" \
  -tag="Album=Tonvera samples" -tag="Track=1/1" -tag="Comment=Made by {qt}run.sh demo{qt}"
if [ -e "$out/speech.flac" ]; then
  metaflac --import-picture-from="3|image/png|Spectrogram||$out/cover.png" "$out/speech.flac"
  convert "$out/speech.flac" speech.mp3 mp3 -V2
else
  convert "$input" speech.aiff aiff -tag="Title=Transmill demo" -tag="Artist=espeak-ng"
fi

echo
echo "Outputs in $out:"
ls -l "$out"
for f in "$out"/speech.flac "$out"/speech.mp3; do
  [ -e "$f" ] || continue
  echo
  echo "$(basename "$f") as ffprobe reads it:"
  ffprobe -v error -show_entries format=duration,bit_rate:format_tags -of default=nw=1 "$f" || true
  ffprobe -v error -select_streams v -show_entries stream=codec_name,width,height:stream_tags=comment \
    -of default=nw=1 "$f" | sed 's/^/cover picture: /' || true
done
