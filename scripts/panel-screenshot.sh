#!/usr/bin/env bash
# The README's picture of the panel: GraphicEQ's editor opened by
# graphiceq-host edit on a private Xvfb, with a gain curve set and the burst
# signal running, so faders, read-outs and meters all show something.
#   scripts/panel-screenshot.sh [OUT.png]          (default docs/panel.png)
# XVFB_DISPLAY=N uses display :N (default: the first free one from :90).
# Uses this build's graphiceq-host and GraphicEQ.so (build them first).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$root/docs/panel.png}
host=$root/build/host/graphiceq-host
plugin=${PLUGIN:-$root/build/plugin/GraphicEQ.so}
[ -x "$host" ] && [ -f "$plugin" ] || { echo "panel-screenshot: build graphiceq-host and GraphicEQ first"; exit 1; }

xvfb_pid=""
trap '[ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null; wait 2>/dev/null || true' EXIT
for n in ${XVFB_DISPLAY:-$(seq 90 120)}; do
  if [ ! -e "/tmp/.X11-unix/X$n" ] && [ ! -e "/tmp/.X$n-lock" ]; then
    Xvfb ":$n" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 &
    xvfb_pid=$!
    export DISPLAY=":$n"
    break
  fi
done
[ -n "$xvfb_pid" ] || { echo "panel-screenshot: no free X display number"; exit 1; }
for _ in $(seq 50); do xwininfo -root >/dev/null 2>&1 && break; sleep 0.1; done

sets=()
for s in "Gain 25Hz=4.5" "Gain 39Hz=3.5" "Gain 63Hz=2" "Gain 99Hz=0.5" "Gain 250Hz=-2" "Gain 397Hz=-3.5" \
         "Gain 630Hz=-2.5" "Gain 2.5KHz=1.5" "Gain 4.0KHz=3" "Gain 6.3KHz=4" "Gain 10.0KHz=5" \
         "Gain 16.0KHz=6" "Q 397Hz=2.5" "Q 16.0KHz=12" "Output=-3"; do
  sets+=(--set "$s")
done
mkdir -p "$(dirname "$out")"
"$host" edit "$plugin" "${sets[@]}" --screenshot "$out" --after 1700
