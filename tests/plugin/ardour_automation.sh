#!/usr/bin/env bash
# GraphicEQ in Ardour 7, headless, as a user meets it: the host's own
# controls and an automation lane played back.
#   ardour_automation.sh PLUGIN
# 1. Every parameter's descriptor (what Ardour's generic controls, lanes and
#    Lua use) carries the parameter's own name, and its range holds the
#    parameter's current value.
# 2. A track with Ardour's sine generator (1 kHz, -18 dBFS) into GraphicEQ; the
#    lane of "Gain 1.0KHz" holds its bottom, its middle and its top for a
#    second each, in Play. ardour7-export renders the session: the three
#    seconds come out at -12, 0 and +12 dB at 1 kHz.
# Exits 77 (skipped) when Ardour is not installed.
set -euo pipefail
plugin=$1
for tool in ardour7-lua ardour7-export python3; do
  command -v "$tool" >/dev/null || { echo "$tool is not installed"; exit 77; }
done
scanner=/usr/lib/ardour7/ardour-vst-scanner
[ -x "$scanner" ] || { echo "Ardour's scanner is not installed ($scanner)"; exit 77; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
# A private home, configuration and cache, and a plug-in folder holding only
# this plug-in, so nothing of the user's Ardour set-up takes part.
export HOME=$tmp/home XDG_CONFIG_HOME=$tmp/config XDG_CACHE_HOME=$tmp/cache XDG_DATA_HOME=$tmp/data
export LXVST_PATH=$tmp/vst
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_CACHE_HOME" "$XDG_DATA_HOME" "$LXVST_PATH"
cp "$plugin" "$LXVST_PATH/GraphicEQ.so"
# Ardour ignores a cache entry older than the plug-in, and the scanner
# stamps its entry in whole seconds: the copy is dated two seconds back, so
# a plug-in built the moment before still counts as scanned.
touch -d "@$(( $(date +%s) - 2 ))" "$LXVST_PATH/GraphicEQ.so"
LD_LIBRARY_PATH=/usr/lib/ardour7 "$scanner" -f "$LXVST_PATH/GraphicEQ.so" >"$tmp/scan.log" 2>&1 || true
ls "$XDG_CACHE_HOME"/ardour7/vst/*.v2i >/dev/null 2>&1 || { cat "$tmp/scan.log"; echo "the scanner did not index the plug-in"; exit 1; }

cat >"$tmp/session.lua" <<'EOF'
local dir, name = arg[1], arg[2]
local s = create_session(dir, name, 48000)
assert(s, "cannot create the session")
local track = s:new_audio_track(2, 2, nil, 1, "EQ", ARDOUR.PresentationInfo.max_order,
                                ARDOUR.TrackMode.Normal, true, false):front()
local gen = ARDOUR.LuaAPI.new_luaproc(s, "SinGen")
assert(not gen:isnil(), "Ardour has no SinGen")
track:add_processor_by_index(gen, 0, nil, true)
assert(ARDOUR.LuaAPI.set_processor_param(gen, 0, 1000))
assert(ARDOUR.LuaAPI.set_processor_param(gen, 1, -18))
local eq = ARDOUR.LuaAPI.new_plugin(s, "GraphicEQ", ARDOUR.PluginType.LXVST, "")
assert(not eq:isnil(), "Ardour does not know GraphicEQ")
track:add_processor_by_index(eq, 1, nil, true)

-- What Ardour shows for each parameter: name, range, value.
local plug = eq:to_insert():plugin(0)
local gain1k = nil
for i = 0, plug:parameter_count() - 1 do
  local _, t = plug:get_parameter_descriptor(i, ARDOUR.ParameterDescriptor())
  local value = ARDOUR.LuaAPI.get_processor_param(eq, i, true)
  print(string.format("PARAM %d|%s|%.9g|%.9g|%.9g", i, plug:parameter_label(i), t[2].lower, t[2].upper, value))
  if plug:parameter_label(i) == "Gain 1.0KHz" then gain1k = i end
end
assert(gain1k, "no parameter is named Gain 1.0KHz")

-- Its lane: bottom, middle, top, a second each.
local al, cl, pd = ARDOUR.LuaAPI.plugin_automation(eq, gain1k)
assert(not al:isnil(), "no automation lane for Gain 1.0KHz")
local sec = 48000
for k, v in ipairs({pd.lower, (pd.lower + pd.upper) / 2, pd.upper}) do
  cl:add(Temporal.timepos_t((k - 1) * sec), v, false, false)
  cl:add(Temporal.timepos_t(k * sec - 64), v, false, false)
end
local ac = eq:to_automatable():automation_control(
  Evoral.Parameter(ARDOUR.AutomationType.PluginAutomation, 0, gain1k), false)
assert(not ac:isnil(), "no automation control for Gain 1.0KHz")
ac:set_automation_state(ARDOUR.AutoState.Play)
-- The export renders the session range; Lua only makes range markers, the
-- marker becomes the session range below.
s:locations():add_range(Temporal.timepos_t(0), Temporal.timepos_t(3 * sec))
s:save_state("", false, false, false, false, false)
close_session()
print("SAVED")
EOF
session=$tmp/session
ardour7-lua "$tmp/session.lua" -- "$session" eq >"$tmp/lua.log" 2>&1 || true
grep -q '^SAVED' "$tmp/lua.log" || { cat "$tmp/lua.log"; echo "ardour7-lua did not build the session"; exit 1; }
sed -i 's/name="range1" \(start="[^"]*" end="[^"]*"\) flags="IsRangeMarker"/name="session" \1 flags="IsSessionRange"/' "$session/eq.ardour"
grep -q 'flags="IsSessionRange"' "$session/eq.ardour" || { echo "no session range in the session file"; exit 1; }
ardour7-export -b float -o "$tmp/out.wav" "$session" eq >"$tmp/export.log" 2>&1 || true
[ -s "$tmp/out.wav" ] || { cat "$tmp/export.log"; echo "ardour7-export wrote nothing"; exit 1; }

python3 - "$tmp/lua.log" "$tmp/out.wav" <<'EOF'
import math, struct, sys
failures = []

bands = ["25Hz", "39Hz", "63Hz", "99Hz", "158Hz", "250Hz", "397Hz", "630Hz", "1.0KHz", "1.6KHz", "2.5KHz",
         "4.0KHz", "6.3KHz", "10.0KHz", "16.0KHz"]
want = ["ON/OFF", "Output", "Input"] + ["Gain " + b for b in bands] + ["Q " + b for b in bands]
seen = {}
for line in open(sys.argv[1]):
    if line.startswith("PARAM "):
        index, name, lower, upper, value = line[6:].rstrip("\n").split("|")
        seen[int(index)] = (name, float(lower), float(upper), float(value))
for i, name in enumerate(want):
    if i not in seen:
        failures.append("parameter %d is missing" % i)
        continue
    got, lower, upper, value = seen[i]
    if got != name:
        failures.append("parameter %d is named %r, not %r" % (i, got, name))
    if not lower <= value <= upper:
        failures.append("%s: value %g outside its range %g..%g" % (name, value, lower, upper))
print("%d parameters, each with its own name and a range holding its value" % len(seen))

data = open(sys.argv[2], "rb").read()
pos, fmt, samples = 12, None, b""
while pos + 8 <= len(data):
    cid, size = data[pos:pos + 4], struct.unpack("<I", data[pos + 4:pos + 8])[0]
    if cid == b"fmt ":
        fmt = struct.unpack("<HHIIHH", data[pos + 8:pos + 24])
    elif cid == b"data":
        samples = data[pos + 8:pos + 8 + size]
    pos += 8 + size + (size & 1)
tag, channels, rate = fmt[0], fmt[1], fmt[2]
x = struct.unpack("<%df" % (len(samples) // 4), samples[:len(samples) // 4 * 4])
source_dB = -18.0
for k, expect in enumerate([-12.0, 0.0, 12.0]):
    for c in range(channels):
        # The settled part of each second, away from the changes.
        seg = x[int((k + 0.4) * rate) * channels + c:int((k + 0.9) * rate) * channels:channels]
        peak = math.sqrt(2.0 * sum(v * v for v in seg) / max(len(seg), 1))
        gain = 20.0 * math.log10(peak) - source_dB if peak > 0 else float("-inf")
        print("second %d, channel %d: %+.3f dB (lane at %+g dB)" % (k, c, gain, expect))
        if abs(gain - expect) > 0.1:
            failures.append("second %d, channel %d: %+.3f dB, expected %+g" % (k, c, gain, expect))
for f in failures:
    print("FAIL", f)
sys.exit(1 if failures else 0)
EOF
