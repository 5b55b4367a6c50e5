#!/usr/bin/env bash
# Takes a picture of GraphicEQ's LV2 UI (its own panel) inside Ardour 7, on a
# private X server, with nothing clicked:
#   scripts/ardour-lv2-screenshot.sh [OUT.png]   (default docs/ardour-lv2-panel.png)
# BUNDLE=path/to/GraphicEQ.lv2 picks the bundle (default: this build's), WAIT=S
# the seconds to let audio run first (default 6), XVFB_DISPLAY=N the display.
# The same steps as scripts/ardour-screenshot.sh, with the LV2 bundle: LV2_PATH
# holds the system's bundles and this one (Ardour reads LV2 bundles at start,
# no scanner), ardour7-lua inserts it by URI with gains in dB, and Ardour opens
# its X11 UI (suil, through instance-access) on load.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$root/docs/ardour-lv2-panel.png}
bundle=${BUNDLE:-$root/build/GraphicEQ.lv2}
wait_s=${WAIT:-6}

for tool in ardour ardour7-lua Xvfb xwd xwininfo python3; do
  command -v "$tool" >/dev/null || { echo "ardour-lv2-screenshot: $tool is not installed (scripts/install-deps.sh --hosts)"; exit 77; }
done
[ -f "$bundle/manifest.ttl" ] || { echo "ardour-lv2-screenshot: no bundle at $bundle (build it first)"; exit 1; }

tmp=$(mktemp -d)
xvfb_pid="" ardour_pid=""
cleanup() {
  [ -n "$ardour_pid" ] && kill "$ardour_pid" 2>/dev/null && wait "$ardour_pid" 2>/dev/null || true
  [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null && wait "$xvfb_pid" 2>/dev/null || true
  if [ -n "${KEEP:-}" ]; then echo "ardour-lv2-screenshot: kept $tmp"; else rm -rf "$tmp"; fi
}
trap cleanup EXIT

# A private X server on the first free display from :90.
for n in ${XVFB_DISPLAY:-$(seq 90 120)}; do
  if [ ! -e "/tmp/.X11-unix/X$n" ] && [ ! -e "/tmp/.X$n-lock" ]; then
    Xvfb ":$n" -screen 0 1400x900x24 -nolisten tcp >"$tmp/xvfb.log" 2>&1 &
    xvfb_pid=$!
    export DISPLAY=":$n"
    break
  fi
done
[ -n "$xvfb_pid" ] || { echo "ardour-lv2-screenshot: no free X display number"; exit 1; }
for _ in $(seq 50); do xwininfo -root >/dev/null 2>&1 && break; sleep 0.1; done

export HOME=$tmp/home XDG_CONFIG_HOME=$tmp/config XDG_CACHE_HOME=$tmp/cache XDG_DATA_HOME=$tmp/data
export LV2_PATH=$tmp/lv2
mkdir -p "$HOME" "$XDG_CONFIG_HOME/ardour7" "$XDG_CACHE_HOME" "$XDG_DATA_HOME" "$LV2_PATH"
for b in /usr/lib/lv2/*.lv2; do ln -s "$b" "$LV2_PATH/"; done
ln -s "$(cd "$bundle" && pwd)" "$LV2_PATH/GraphicEQ.lv2"

cat >"$tmp/session.lua" <<'EOF'
local dir, name = arg[1], arg[2]
local s = create_session(dir, name, 48000)
assert(s, "cannot create the session")
local tracks = s:new_audio_track(2, 2, nil, 1, "EQ", ARDOUR.PresentationInfo.max_order, ARDOUR.TrackMode.Normal, true, false)
local track = tracks:front()
local p = ARDOUR.LuaAPI.new_plugin(s, "urn:graphiceq:lv2:GraphicEQ", ARDOUR.PluginType.LV2, "")
assert(not p:isnil(), "Ardour does not know GraphicEQ")
track:add_processor_by_index(p, 0, nil, true)
-- A gentle smile with a low-mid dip, so the faders say something. LV2
-- controls take the gain in dB; control 3 + b is band b's gain.
local gains = {4.5, 3.5, 2, 0.5, 0, -2, -3.5, -2.5, 0, 0, 1.5, 3, 4, 5, 6}
for band, dB in ipairs(gains) do
  assert(ARDOUR.LuaAPI.set_processor_param(p, 2 + band, dB))
end
print("ROUTE " .. track:to_stateful():id():to_s())
print("PROCESSOR " .. p:to_stateful():id():to_s())
s:save_state("", false, false, false, false, false)
close_session()
EOF
session=$tmp/session/eq
ardour7-lua "$tmp/session.lua" -- "$session" eq >"$tmp/lua.log" 2>&1 || { cat "$tmp/lua.log"; exit 1; }
route=$(awk '/^ROUTE /{print $2}' "$tmp/lua.log")
proc=$(awk '/^PROCESSOR /{print $2}' "$tmp/lua.log")
[ -n "$route" ] && [ -n "$proc" ] || { cat "$tmp/lua.log"; echo "ardour-lv2-screenshot: no track or plug-in id"; exit 1; }

# 3. Open the plug-in's own editor when the session loads, and let every track
#    listen to its input even while the transport stands.
python3 - "$session/eq.ardour" "$route" "$proc" <<'EOF'
import sys
path, route, proc = sys.argv[1:4]
text = open(path).read()
window = ('  <Extra>\n    <UI>\n      <Window name="P-%s-%s" visible="1" custom-ui="1" x-off="0" y-off="0"/>\n'
          '    </UI>\n  </Extra>\n</Session>' % (route, proc))
text = text.replace("</Session>", window, 1)
monitoring = '<Option name="session-monitoring" value=""/>'
if monitoring not in text:
    sys.exit("ardour-lv2-screenshot: the session has no session-monitoring option")
open(path, "w").write(text.replace(monitoring, monitoring.replace('value=""', 'value="MonitorInput"'), 1))
EOF

# 4. Dummy backend with pink noise at its inputs, started without a dialog.
touch "$XDG_CONFIG_HOME/ardour7/.a7"
cat >"$XDG_CONFIG_HOME/ardour7/config" <<'EOF'
<?xml version="1.0" encoding="UTF-8"?>
<Ardour>
  <Config>
    <Option name="try-autostart-engine" value="1"/>
    <Option name="hide-dummy-backend" value="0"/>
  </Config>
  <Extra>
    <AudioMIDISetup>
      <EngineStates>
        <State backend="None (Dummy)" driver="Normal Speed" device="Pink Noise" input-device="" output-device="" sample-rate="48000" buffer-size="1024" n-periods="0" input-latency="0" output-latency="0" input-channels="0" output-channels="0" active="1" use-buffered-io="0" midi-option="No MIDI I/O" lm-input="" lm-output="" lru="1700000000">
          <MIDIDevices/>
        </State>
      </EngineStates>
    </AudioMIDISetup>
  </Extra>
</Ardour>
EOF

# 5. Ardour, the editor's window, the picture. (KEEP=1 keeps the scratch folder.)
ardour -n -a "$session/eq.ardour" >"$tmp/ardour.log" 2>&1 &
ardour_pid=$!
window=""
for _ in $(seq 120); do
  window=$(xwininfo -root -tree 2>/dev/null | awk '/"[^"]*GraphicEQ[^"]*\[LV2\]"/{print $1; exit}')
  [ -n "$window" ] && break
  kill -0 "$ardour_pid" 2>/dev/null || { tail -20 "$tmp/ardour.log"; echo "ardour-lv2-screenshot: Ardour exited"; exit 1; }
  sleep 0.5
done
[ -n "$window" ] || { tail -20 "$tmp/ardour.log"; echo "ardour-lv2-screenshot: the plug-in's window did not open"; exit 1; }
sleep "$wait_s"
xwd -id "$window" -out "$tmp/shot.xwd"
mkdir -p "$(dirname "$out")"
python3 "$root/scripts/xwd2png.py" "$tmp/shot.xwd" "$out"
echo "ardour-lv2-screenshot: $(xwininfo -id "$window" | awk -F'"' '/xwininfo/{print $2}') -> $out"
