#!/usr/bin/env bash
# Measures every factory preset through the built plug-in, as a user would
# hear it, and writes docs/factory-presets.md: each preset's gain at the 15
# band centres (stepped sines, left output; both outputs are alike), its
# highest gain anywhere from 10 Hz to 24 kHz and its loudness on pink noise
# against Flat's (BS.1770 K-weighting), all at 48 kHz.
#
#   scripts/factory-report.sh [OUT.md]
#
# Builds the host, the plug-in and the factory bank when they are missing or
# out of date. Exits 1 when a preset's loudness is more than 1.5 dB away
# from Flat's (the table is written either way).
set -euo pipefail
source "$(dirname "$0")/common.sh"

OUTPUT="${1:-$ROOT/docs/factory-presets.md}"
BUILD="$ROOT/build"
HOST="$BUILD/host/graphiceq-host"
PLUGIN="$BUILD/plugin/GraphicEQ.so"
BANK="$BUILD/resources/GraEQDef.fxb"

if [ ! -f "$BUILD/build.ninja" ]; then
  cmake -S "$ROOT" -B "$BUILD" -G Ninja >/dev/null
fi
cmake --build "$BUILD" -j "${JOBS:-2}" --target graphiceq-host GraphicEQ factory_bank >/dev/null

# The plug-in reads the user's default bank at open; --bank replaces it, and
# an empty preferences folder keeps the user's own presets out of it anyway.
PREFS="$(mktemp -d)"
trap 'rm -rf "$PREFS"' EXIT
export XDG_CONFIG_HOME="$PREFS"

LISTING="$("$HOST" bank --plugin "$PLUGIN" "$BANK" 2>/dev/null)"
COUNT="$(sed -n 's/^programs \([0-9]*\),.*/\1/p' <<<"$LISTING")"
[ -n "$COUNT" ] || { echo "factory-report: cannot list $BANK" >&2; exit 1; }

rows=""
outliers=""
highest=""
highestName=""
flatGain=""
for ((n = 0; n < COUNT; n++)); do
  name="$(sed -n "s/^program $n: //p" <<<"$LISTING")"
  measured="$("$HOST" response --plugin "$PLUGIN" --bank "$BANK" --program "$n" --peak --loudness 2>/dev/null)"
  gain="$(awk '$1 == "loudness" { print $3 }' <<<"$measured")"
  [ -n "$flatGain" ] || flatGain="$gain"   # program 1 is Flat
  # Band rows: name, frequency, left dB, right dB; then "peak FREQ dB (...)"
  # and "loudness LUFS GAIN (...)".
  row="$(awk -v n="$n" -v name="$name" -v flat="$flatGain" '
    $1 ~ /Hz$/ && NF >= 3 && $2 ~ /^[0-9.]+$/ { gains = gains sprintf(" %+.1f |", $3) }
    $1 == "peak" { peak = sprintf(" %s%+.2f%s at %.0f Hz |", $3 > 0.005 ? "**" : "", $3, $3 > 0.005 ? "**" : "", $2) }
    $1 == "loudness" { loud = sprintf(" %+.2f |", $3 - flat) }
    END { printf "| %d | %s |%s%s%s\n", n + 1, name, gains, peak, loud }' <<<"$measured")"
  rows+="$row"$'\n'
  peak="$(awk '$1 == "peak" { print $3 }' <<<"$measured")"
  if [ -z "$highest" ] || awk -v p="$peak" -v h="$highest" 'BEGIN { exit !(p > h) }'; then
    highest="$peak"
    highestName="$name"
  fi
  if awk -v g="$gain" -v f="$flatGain" 'BEGIN { d = g - f; exit !(d > 1.5 || d < -1.5) }'; then
    outliers+="$((n + 1)) $name ($gain dB, Flat $flatGain dB)"$'\n'
  fi
  echo "measured $((n + 1))/$COUNT $name" >&2
done

{
  echo "# Factory presets"
  echo
  echo "The 32 presets of the factory bank \`GraEQDef.fxb\` (source: \`resources/factory-presets.txt\`),"
  echo "measured through the plug-in by \`scripts/factory-report.sh\`: for each preset,"
  echo "\`graphiceq-host response --bank build/resources/GraEQDef.fxb --program N --peak --loudness\`."
  echo "Gains in dB at the band centres (stepped sines at 48 kHz, output and input levels"
  echo "included); the peak: the highest gain anywhere from 10 Hz to 24 kHz; loudness: 10 s of"
  echo "pink noise (the same noise every time) through the preset, K-weighted as BS.1770"
  echo "measures loudness, in dB against the same noise through Flat."
  echo
  echo "Every curve is voiced around 0 dB and every preset's output level is set so that it"
  echo "sounds as loud as Flat (within 0.9 dB here; the tests allow 1.5 dB), so switching"
  echo "presets compares curves, not levels. A preset that boosts somewhere therefore takes a"
  echo "full-scale sine above 0 dBFS at its peak: the peaks above 0 dB are in bold, and a"
  echo "signal that already reaches full scale needs that much headroom (or less input) there."
  echo
  echo "| # | preset | 25 | 39 | 63 | 99 | 158 | 250 | 397 | 630 | 1k | 1.6k | 2.5k | 4k | 6.3k | 10k | 16k | peak dB | loudness vs Flat, dB |"
  echo "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|"
  printf '%s' "$rows"
  echo
  echo "Band centres in Hz; # is the slot a user sees (program number + 1). Highest peak of"
  printf 'all presets: %+.2f dB (%s).\n' "$highest" "$highestName"
  echo
  echo "The bands are bells centred from 25 Hz to 16 kHz, so the cuts of the band-pass presets"
  echo "(Telephone, AM Radio, Megaphone) and of the low cuts (Hum-Free Low Cut, Rumble Cut)"
  echo "return towards the output level below about 15 Hz and above about 20 kHz; run"
  echo "\`graphiceq-host response --bank build/resources/GraEQDef.fxb --program N --png FILE\`"
  echo "to see a preset's whole curve."
} >"$OUTPUT.tmp"
mv "$OUTPUT.tmp" "$OUTPUT"
echo "wrote $OUTPUT" >&2

if [ -n "$outliers" ]; then
  printf 'factory-report: presets more than 1.5 dB from Flat on pink noise:\n%s' "$outliers" >&2
  exit 1
fi
