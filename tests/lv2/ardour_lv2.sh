#!/usr/bin/env bash
# The bundle in Ardour 7, headless: ardour7-lua builds a session (a track
# whose 1 kHz test signal, x42's testsignal, runs into GraphicEQ) with
# Gain 1.0KHz at 6 and saves it; a second Lua run loads the saved session
# and reads the value back; ardour7-export renders the saved session, and so
# does an identical session with the gain at 0: the difference at 1 kHz must
# be +6 dB. 77 when Ardour or the test signal is missing.
#   ardour_lv2.sh BUNDLE
set -euo pipefail
BUNDLE="$1"
for tool in ardour7-lua ardour7-export python3; do
  command -v "$tool" >/dev/null || { echo "skip: $tool not installed"; exit 77; }
done
[ -d /usr/lib/lv2/testsignal.lv2 ] || { echo "skip: x42-plugins' testsignal.lv2 not installed"; exit 77; }
source "$(dirname "$0")/lv2env.sh"
ln -s /usr/lib/lv2/testsignal.lv2 "$LV2DIR/"

cat >"$WORK/make.lua" <<'LUA'
local dir, name, gain = arg[1], arg[2], tonumber(arg[3])
local s = create_session(dir, name, 48000)
assert(s, "cannot create the session")
local tracks = s:new_audio_track(1, 2, nil, 1, "EQ", ARDOUR.PresentationInfo.max_order,
                                 ARDOUR.TrackMode.Normal, true, false)
local track = tracks:front()
local sig = ARDOUR.LuaAPI.new_plugin(s, "http://gareus.org/oss/lv2/testsignal", ARDOUR.PluginType.LV2, "")
assert(not sig:isnil(), "no test signal plug-in")
track:add_processor_by_index(sig, 0, nil, true)
local eq = ARDOUR.LuaAPI.new_plugin(s, "urn:graphiceq:lv2:GraphicEQ", ARDOUR.PluginType.LV2, "")
assert(not eq:isnil(), "Ardour does not know GraphicEQ")
track:add_processor_by_index(eq, 1, nil, true)
-- Control 11 is the port gain_1_0khz, in dB.
assert(ARDOUR.LuaAPI.set_processor_param(eq, 11, gain))



s:save_state("", false, false, false, false, false)
close_session()
LUA
# The session's range (what ardour7-export renders): 2 s. Lua in Ardour 7.3
# cannot make a Location, so it goes into the saved file.
session_range() {
  python3 - "$1" <<'PY'
import sys
path = sys.argv[1]
text = open(path).read()
loc = ('<Locations>\n    <Location id="999999" name="session" start="a0" end="a564480000" '
       'flags="IsSessionRange" locked="0" timestamp="0" cue="0"/>\n  </Locations>')
if "<Locations/>" not in text:
    sys.exit("no empty Locations in " + path)
open(path, "w").write(text.replace("<Locations/>", loc, 1))
PY
}
cat >"$WORK/read.lua" <<'LUA'
local s = load_session(arg[1], arg[2])
assert(s, "cannot load the session")
for r in s:get_routes():iter() do
  local i = 0
  while true do
    local proc = r:nth_plugin(i)
    if proc:isnil() then break end
    if proc:display_name() == "GraphicEQ" then
      print("GAIN " .. ARDOUR.LuaAPI.get_processor_param(proc, 11))
    end
    i = i + 1
  end
end
close_session()
LUA

for gain in 6 0; do
  ardour7-lua "$WORK/make.lua" -- "$WORK/s$gain" eq "$gain" >"$WORK/make$gain.log" 2>&1 || fail "session"
  session_range "$WORK/s$gain/eq.ardour"
  ardour7-export -b float -o "$WORK/out$gain.wav" "$WORK/s$gain" eq >"$WORK/export$gain.log" 2>&1 || fail "export"
done
ardour7-lua "$WORK/read.lua" -- "$WORK/s6" eq >"$WORK/read.log" 2>&1 || fail "reload"
grep "^GAIN" "$WORK/read.log"
grep -q "^GAIN 6" "$WORK/read.log" || fail "Gain 1.0KHz did not come back as 6 after reload"
level6=$(level_db "$WORK/out6.wav" 0.5) level0=$(level_db "$WORK/out0.wav" 0.5)
gain=$(python3 -c "print('%.3f' % ($level6 - ($level0)))")
echo "Ardour export: $level0 dB with the gain at 0, $level6 dB at 6: $gain dB"
python3 -c "import sys; sys.exit(0 if abs($gain - 6.0) < 0.05 and $level0 > -40 else 1)" || fail "expected +6 dB"
echo ok
