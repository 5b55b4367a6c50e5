#!/usr/bin/env bash
# The PipeWire filter-chain configuration (lv2/pipewire/graphiceq-sink.conf)
# on a private, headless PipeWire server: the configuration goes in as a
# drop-in (pipewire.conf.d/, as the README installs it), pw-cat plays a
# 1 kHz sine into the virtual sink "effect_input.graphiceq", another pw-cat
# records what the filter chain plays, linked by hand (no session manager).
# The gain at 1 kHz must be what lv2apply renders with the configuration's
# control values. 77 when PipeWire is not installed.
#   pipewire_chain.sh BUNDLE CONFIG
set -euo pipefail
BUNDLE="$1"
CONFIG="$2"
for tool in pipewire pw-cat pw-link pw-cli pw-dump lv2apply python3; do
  command -v "$tool" >/dev/null || { echo "skip: $tool not installed"; exit 77; }
done
ls /usr/lib/*/pipewire-0.3/libpipewire-module-filter-chain.so >/dev/null 2>&1 ||
  { echo "skip: PipeWire's filter-chain module not installed"; exit 77; }
source "$(dirname "$0")/lv2env.sh"

export XDG_RUNTIME_DIR="$SCRATCH/run" PIPEWIRE_RUNTIME_DIR="$SCRATCH/run"
PWCONF="$SCRATCH/pw"   # the server's configuration folder; clients keep the system's
export PIPEWIRE_REMOTE="graphiceq-test-$$"
mkdir -p "$XDG_RUNTIME_DIR" "$PWCONF/pipewire.conf.d"
chmod 700 "$XDG_RUNTIME_DIR"
# A server with a dummy driver and nothing else (no devices, no D-Bus).
cat >"$PWCONF/pipewire.conf" <<CONF
context.properties = {
    core.daemon = true
    core.name   = $PIPEWIRE_REMOTE
    default.clock.rate = 48000
    support.dbus = false
}
context.spa-libs = {
    audio.convert.* = audioconvert/libspa-audioconvert
    support.*       = support/libspa-support
}
context.modules = [
    { name = libpipewire-module-protocol-native }
    { name = libpipewire-module-metadata }
    { name = libpipewire-module-spa-node-factory }
    { name = libpipewire-module-client-node }
    { name = libpipewire-module-adapter }
    { name = libpipewire-module-link-factory }
    { name = libpipewire-module-access args = { } }
]
context.objects = [
    { factory = spa-node-factory
        args = {
            factory.name    = support.node.driver
            node.name       = Dummy-Driver
            priority.driver = 20000
        }
    }
]
CONF
cp "$CONFIG" "$PWCONF/pipewire.conf.d/"

PIPEWIRE_CONFIG_DIR="$PWCONF" pipewire >"$WORK/pipewire.log" 2>&1 &
PIDS+=($!)

# Without a session manager nobody gives the streams their ports: a stereo
# port layout for node NAME (direction Input or Output), as WirePlumber would.
node_id() {
  pw-dump 2>/dev/null | python3 -c "
import json, sys
for o in json.load(sys.stdin):
    if o.get('info', {}).get('props', {}).get('node.name') == sys.argv[1]:
        print(o['id'])" "$1"
}
ports() {
  local id=""
  for _ in $(seq 100); do id=$(node_id "$1" 2>/dev/null || true); [ -n "$id" ] && break; sleep 0.05; done
  [ -n "$id" ] || fail "no node $1"
  pw-cli s "$id" PortConfig "{ \"direction\": \"$2\", \"mode\": \"dsp\", \"format\": {
    \"mediaType\": \"audio\", \"mediaSubtype\": \"raw\", \"format\": \"F32P\", \"rate\": 48000,
    \"channels\": 2, \"position\": [ \"FL\", \"FR\" ] } }" >>"$WORK/portconfig.log" 2>&1 || fail "PortConfig $1"
}
ports effect_input.graphiceq Input
ports effect_output.graphiceq Output

sine_wav "$WORK/in.wav" 48000 3
pw-cat --playback -P '{ node.name = "geq-test-play" }' "$WORK/in.wav" >"$WORK/play.log" 2>&1 &
PIDS+=($!)
pw-cat --record -P '{ node.name = "geq-test-rec" }' --rate 48000 --channels 2 --format s16 \
  "$WORK/out.wav" >"$WORK/rec.log" 2>&1 &
REC=$!
PIDS+=($REC)
ports geq-test-play Output
ports geq-test-rec Input
for _ in $(seq 100); do
  [ "$(pw-link -o 2>/dev/null | grep -c '^geq-test-play:')" -ge 2 ] &&
    [ "$(pw-link -i 2>/dev/null | grep -c '^geq-test-rec:')" -ge 2 ] && break
  sleep 0.05
done
pw-link -o | grep -E "^(geq-test|effect_)" > "$WORK/ports.log" || true
pw-link -i | grep -E "^(geq-test|effect_)" >> "$WORK/ports.log" || true
link() { pw-link "$1" "$2" >>"$WORK/link.log" 2>&1 || fail "pw-link $1 $2"; }
link geq-test-play:output_FL effect_input.graphiceq:playback_FL
link geq-test-play:output_FR effect_input.graphiceq:playback_FR
link effect_output.graphiceq:output_FL geq-test-rec:input_FL
link effect_output.graphiceq:output_FR geq-test-rec:input_FR
sleep 2.5
kill "$REC" 2>/dev/null || true
wait "$REC" 2>/dev/null || true
in_db=$(level_db "$WORK/in.wav" 0.5) out_db=$(level_db "$WORK/out.wav" 0.5)
gain=$(python3 -c "print('%.2f' % ($out_db - ($in_db)))")
echo "PipeWire filter chain: 1 kHz sine at $in_db dB in, $out_db dB out: $gain dB"
# The same controls through lv2apply.
controls=()
while read -r sym val; do controls+=(-c "$sym" "$val"); done < <(
  sed -n 's/^ *"\([a-z0-9_]*\)" = \([-0-9.e]*\)$/\1 \2/p' "$CONFIG")
[ "${#controls[@]}" = 99 ] || fail "33 controls expected in $CONFIG"
lv2apply -i "$WORK/in.wav" -o "$WORK/ref.wav" "${controls[@]}" "$URI" || fail "lv2apply"
want=$(python3 -c "print('%.2f' % ($(level_db "$WORK/ref.wav" 0.5) - ($in_db)))")
echo "lv2apply with the same controls: $want dB"
python3 -c "import sys; sys.exit(0 if abs($gain - ($want)) < 0.1 and abs($want) > 1 else 1)" ||
  fail "the filter chain does not play the configured preset"
echo ok
