#!/usr/bin/env bash
# Takes a picture of GraphicEQ's own editor inside Ardour 7, on a private X
# server, with nothing clicked:
#   scripts/ardour-screenshot.sh [OUT.png]        (default docs/ardour-panel.png)
#   scripts/ardour-screenshot.sh --lv2 [OUT.png]  (default docs/ardour-lv2-panel.png)
# PLUGIN=path/to/GraphicEQ.so picks the plug-in (default: this build's),
# BUNDLE=path/to/GraphicEQ.lv2 the LV2 bundle, WAIT=S the seconds to let audio
# run before the picture (default 6), XVFB_DISPLAY=N the display. Needs Ardour
# (scripts/install-deps.sh --hosts), Xvfb and x11-apps; the plug-in is built
# beforehand (scripts/build.sh or cmake --build build).
#
# With --lv2 the LV2 bundle goes the same way: LV2_PATH holds the system's
# bundles and this one (Ardour reads LV2 bundles at start, no scanner),
# ardour7-lua inserts it by URI with gains in dB, and Ardour opens its X11 UI
# (suil, through instance-access) on load.
#
# How it drives Ardour: everything lives in a scratch folder (HOME and the XDG
# folders point there, LXVST_PATH holds only this plug-in).
#  1. Ardour's own scanner indexes the plug-in (Ardour only reads that cache).
#  2. ardour7-lua creates a session with one stereo track and GraphicEQ as its
#     first plug-in, and prints the ids of the track and the plug-in.
#  3. The session file gets a window entry for that plug-in, marked visible
#     and custom-ui, so Ardour opens the plug-in's own editor on load.
#  4. A user configuration selects the "None (Dummy)" audio backend with its
#     pink noise input and starts the engine without asking; the track
#     monitors its input (step 3), so the noise runs through the plug-in and
#     its meters move.
#  5. Ardour starts on that session; once the editor's window exists and the
#     audio has run for WAIT seconds, xwd dumps the window and xwd2png.py
#     turns the dump into a PNG. Then Ardour and the X server are stopped.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
lv2=""
if [ "${1:-}" = "--lv2" ]; then lv2=1; shift; fi
if [ -n "$lv2" ]; then
  out=${1:-$root/docs/ardour-lv2-panel.png}
  plugin=${BUNDLE:-$root/build/GraphicEQ.lv2}
  kind=LV2
else
  out=${1:-$root/docs/ardour-panel.png}
  plugin=${PLUGIN:-$root/build/plugin/GraphicEQ.so}
  kind=VST
fi
wait_s=${WAIT:-6}

for tool in ardour ardour7-lua Xvfb xwd xwininfo python3; do
  command -v "$tool" >/dev/null || { echo "ardour-screenshot: $tool is not installed (scripts/install-deps.sh --hosts)"; exit 77; }
done
[ -f "$plugin" ] || [ -f "$plugin/manifest.ttl" ] || { echo "ardour-screenshot: no plug-in at $plugin (build it first)"; exit 1; }

tmp=$(mktemp -d)
xvfb_pid="" ardour_pid=""
cleanup() {
  [ -n "$ardour_pid" ] && kill "$ardour_pid" 2>/dev/null && wait "$ardour_pid" 2>/dev/null || true
  [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null && wait "$xvfb_pid" 2>/dev/null || true
  if [ -n "${KEEP:-}" ]; then echo "ardour-screenshot: kept $tmp"; else rm -rf "$tmp"; fi
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
[ -n "$xvfb_pid" ] || { echo "ardour-screenshot: no free X display number"; exit 1; }
for _ in $(seq 50); do xwininfo -root >/dev/null 2>&1 && break; sleep 0.1; done

export HOME=$tmp/home XDG_CONFIG_HOME=$tmp/config XDG_CACHE_HOME=$tmp/cache XDG_DATA_HOME=$tmp/data
if [ -n "$lv2" ]; then
  export LV2_PATH=$tmp/lv2
  mkdir -p "$HOME" "$XDG_CONFIG_HOME/ardour7" "$XDG_CACHE_HOME" "$XDG_DATA_HOME" "$LV2_PATH"
  for b in /usr/lib/lv2/*.lv2; do ln -s "$b" "$LV2_PATH/"; done
  ln -s "$(cd "$plugin" && pwd)" "$LV2_PATH/GraphicEQ.lv2"
else
  export LXVST_PATH=$tmp/vst
  mkdir -p "$HOME" "$XDG_CONFIG_HOME/ardour7" "$XDG_CACHE_HOME" "$XDG_DATA_HOME" "$LXVST_PATH"
  cp -p "$plugin" "$LXVST_PATH/GraphicEQ.so"
  bank=$(dirname "$plugin")/GraEQDef.fxb
  [ -f "$bank" ] && cp -p "$bank" "$LXVST_PATH/"

  # 1. Index the plug-in.
  LD_LIBRARY_PATH=/usr/lib/ardour7 /usr/lib/ardour7/ardour-vst-scanner -f "$LXVST_PATH/GraphicEQ.so" >"$tmp/scan.log" 2>&1 || true
  ls "$XDG_CACHE_HOME"/ardour7/vst/*.v2i >/dev/null 2>&1 || { cat "$tmp/scan.log"; echo "ardour-screenshot: the scanner did not index the plug-in"; exit 1; }
fi

# 2. A session with GraphicEQ on a stereo track.
cat >"$tmp/session.lua" <<'EOF'
local dir, name, kind = arg[1], arg[2], arg[3]
local s = create_session(dir, name, 48000)
assert(s, "cannot create the session")
local tracks = s:new_audio_track(2, 2, nil, 1, "EQ", ARDOUR.PresentationInfo.max_order, ARDOUR.TrackMode.Normal, true, false)
local track = tracks:front()
local p
if kind == "LV2" then
  p = ARDOUR.LuaAPI.new_plugin(s, "urn:graphiceq:lv2:GraphicEQ", ARDOUR.PluginType.LV2, "")
else
  p = ARDOUR.LuaAPI.new_plugin(s, "GraphicEQ", ARDOUR.PluginType.LXVST, "")
end
assert(not p:isnil(), "Ardour does not know GraphicEQ")
track:add_processor_by_index(p, 0, nil, true)
-- A gentle smile with a low-mid dip, so the faders say something. The VST's
-- range for every parameter is its normalised 0..1, where the gain is
-- (dB + 12) / 24; an LV2 control takes the gain in dB.
local gains = {4.5, 3.5, 2, 0.5, 0, -2, -3.5, -2.5, 0, 0, 1.5, 3, 4, 5, 6}
for band, dB in ipairs(gains) do
  local v = dB
  if kind ~= "LV2" then v = (dB + 12) / 24 end
  assert(ARDOUR.LuaAPI.set_processor_param(p, 2 + band, v))
end
print("ROUTE " .. track:to_stateful():id():to_s())
print("PROCESSOR " .. p:to_stateful():id():to_s())
s:save_state("", false, false, false, false, false)
close_session()
EOF
session=$tmp/session/eq
ardour7-lua "$tmp/session.lua" -- "$session" eq "$kind" >"$tmp/lua.log" 2>&1 || { cat "$tmp/lua.log"; exit 1; }
route=$(awk '/^ROUTE /{print $2}' "$tmp/lua.log")
proc=$(awk '/^PROCESSOR /{print $2}' "$tmp/lua.log")
[ -n "$route" ] && [ -n "$proc" ] || { cat "$tmp/lua.log"; echo "ardour-screenshot: no track or plug-in id"; exit 1; }

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
    sys.exit("ardour-screenshot: the session has no session-monitoring option")
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
  window=$(xwininfo -root -tree 2>/dev/null | awk -v tag="[$kind]\"" '/"[^"]*GraphicEQ/ && index($0, tag) {print $1; exit}')
  [ -n "$window" ] && break
  kill -0 "$ardour_pid" 2>/dev/null || { tail -20 "$tmp/ardour.log"; echo "ardour-screenshot: Ardour exited"; exit 1; }
  sleep 0.5
done
[ -n "$window" ] || { tail -20 "$tmp/ardour.log"; echo "ardour-screenshot: the plug-in's window did not open"; exit 1; }
sleep "$wait_s"
xwd -id "$window" -out "$tmp/shot.xwd"
mkdir -p "$(dirname "$out")"
python3 "$root/scripts/xwd2png.py" "$tmp/shot.xwd" "$out"
echo "ardour-screenshot: $(xwininfo -id "$window" | awk -F'"' '/xwininfo/{print $2}') -> $out"
