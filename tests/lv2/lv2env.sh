# Sourced by the LV2 test scripts: a private LV2_PATH holding the bundle
# under test and the core LV2 bundles hosts need (core, units, presets,
# state, ui, ...), nothing else.
# Sets SCRATCH (removed at exit with the processes in PIDS; WORK inside it
# for files), URI, and fail MESSAGE (prints the logs in WORK, exits 1).
URI="urn:graphiceq:lv2:GraphicEQ"
SCRATCH="$(mktemp -d /tmp/graphiceq-lv2-XXXXXX)"
LV2DIR="$SCRATCH/lv2"
WORK="$SCRATCH/work"
mkdir -p "$LV2DIR" "$WORK" "$SCRATCH/config"
# The plug-in reads (and the panel writes) its default bank in the user's
# configuration folder: a private one, so no test sees the user's.
export XDG_CONFIG_HOME="$SCRATCH/config"
# Hosts that keep caches and settings keep them here too.
export HOME="$SCRATCH/home" XDG_CACHE_HOME="$SCRATCH/cache" XDG_DATA_HOME="$SCRATCH/data"
mkdir -p "$HOME" "$XDG_CACHE_HOME" "$XDG_DATA_HOME"
for spec in core units presets state ui urid options atom buf-size instance-access port-props \
            parameters port-groups time midi log worker patch resize-port data-access; do
  [ -d "/usr/lib/lv2/$spec.lv2" ] && ln -s "/usr/lib/lv2/$spec.lv2" "$LV2DIR/"
done
ln -s "$(cd "$BUNDLE" && pwd)" "$LV2DIR/GraphicEQ.lv2"
export LV2_PATH="$LV2DIR"
PIDS=()
# Newest first, each given two seconds before SIGKILL: JACK clients must close
# while their server still runs (libjack can hang for ever in
# jack_client_close once the server is gone), and nothing may keep the test
# waiting.
cleanup() {
  local i pid
  for ((i = ${#PIDS[@]} - 1; i >= 0; i--)); do
    pid=${PIDS[$i]}
    kill "$pid" 2>/dev/null || continue
    for _ in $(seq 20); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    kill -9 "$pid" 2>/dev/null || true
  done
  wait 2>/dev/null || true
  rm -rf "$SCRATCH"
}
trap cleanup EXIT
fail() { echo "FAIL: $*"; tail -n 30 "$WORK"/*.log 2>/dev/null; exit 1; }

# level_db WAV FROM_S: RMS level in dB of the left channel from FROM_S
# seconds on (16-bit, 32-bit or float WAV).
level_db() {
  python3 - "$1" "$2" <<'PY'
import array, math, struct, sys
raw = open(sys.argv[1], "rb").read()
pos, fmt, data = 12, None, None
while pos + 8 <= len(raw):
    cid, size = raw[pos:pos + 4], struct.unpack("<I", raw[pos + 4:pos + 8])[0]
    body = raw[pos + 8:pos + 8 + size]
    if cid == b"fmt ":
        fmt = struct.unpack("<HHIIHH", body[:16])
    elif cid == b"data":
        data = body
    pos += 8 + size + (size & 1)
tag, ch, rate, _, _, bits = fmt
if tag == 0xFFFE:
    tag = 3 if b"\x03\x00\x00\x00\x00\x00\x10\x00" in raw[:100] else 1
if tag == 3 and bits == 32:
    x = array.array("f", data)
elif tag == 1 and bits == 16:
    x = [v / 32768.0 for v in array.array("h", data)]
elif tag == 1 and bits == 32:
    x = [v / 2147483648.0 for v in array.array("i", data)]
else:
    sys.exit("unsupported WAV format %d/%d" % (tag, bits))
left = x[0::ch][int(float(sys.argv[2]) * rate):]
print("%.3f" % (10 * math.log10(max(1e-30, sum(v * v for v in left) / max(1, len(left))))))
PY
}

# sine_wav OUT RATE SECONDS: a stereo 1 kHz sine at -12 dBFS, 16-bit.
sine_wav() {
  python3 - "$1" "$2" "$3" <<'PY'
import math, struct, sys, wave
out, rate, secs = sys.argv[1], int(sys.argv[2]), float(sys.argv[3])
w = wave.open(out, "wb"); w.setnchannels(2); w.setsampwidth(2); w.setframerate(rate)
frames = bytearray()
for i in range(int(rate * secs)):
    v = int(round(0.25 * 32767 * math.sin(2 * math.pi * 1000 * i / rate)))
    frames += struct.pack("<hh", v, v)
w.writeframes(bytes(frames)); w.close()
PY
}
