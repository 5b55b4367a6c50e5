#!/usr/bin/env bash
# jalv.gtk3 (a GTK host that embeds X11 UIs through suil) runs the bundle on a
# private dummy JACK server under Xvfb, with a 1 kHz sine playing
# through it: its window must hold the panel (712 x 316 inside), and the
# window is written as a PNG. 77 when a tool is missing.
#   jalv_gtk.sh BUNDLE [OUT.png]
set -euo pipefail
source "$(dirname "$0")/private_shm.sh"
BUNDLE="$1"
OUT="${2:-}"
PY=/usr/bin/python3
HERE="$(cd "$(dirname "$0")" && pwd)"
for tool in jalv.gtk3 jackd jack_lsp Xvfb xwininfo xwd; do
  command -v "$tool" >/dev/null || { echo "skip: $tool not installed"; exit 77; }
done
"$PY" -c "import jack" 2>/dev/null || { echo "skip: python3-jack-client not installed"; exit 77; }
source "$HERE/lv2env.sh"
export JACK_DEFAULT_SERVER="graphiceq-gtk-$$" JACK_NO_AUDIO_RESERVATION=1

# The caller's display when it has one (the test script's Xvfb), else an
# Xvfb of our own (XVFB_DISPLAY picks its number).
if [ -z "${DISPLAY:-}" ] || ! xwininfo -root >/dev/null 2>&1; then
  n="${XVFB_DISPLAY:-}"
  if [ -z "$n" ]; then
    for c in $(seq 140 199); do
      if [ ! -e "/tmp/.X11-unix/X$c" ] && [ ! -e "/tmp/.X$c-lock" ]; then n=$c; break; fi
    done
  fi
  Xvfb ":$n" -screen 0 1024x600x24 -nolisten tcp >"$WORK/xvfb.log" 2>&1 &
  PIDS+=($!)
  export DISPLAY=":$n"
  for _ in $(seq 50); do xwininfo -root >/dev/null 2>&1 && break; sleep 0.1; done
fi

jackd -r -n "$JACK_DEFAULT_SERVER" -d dummy -r 48000 -p 256 >"$WORK/jackd.log" 2>&1 &
PIDS+=($!)
for _ in $(seq 100); do jack_lsp >/dev/null 2>&1 && break; sleep 0.1; done

jalv.gtk3 -n geq -c gain_1_0khz=6 -c gain_63hz=-4.5 -c q_2_5khz=12 -c gain_10_0khz=3 "$URI" \
  >"$WORK/jalv.log" 2>&1 &
PIDS+=($!)
win=""
for _ in $(seq 100); do
  win=$(xwininfo -root -tree 2>/dev/null | awk '/"GraphicEQ": \("jalv.gtk3"/{print $1; exit}')
  [ -n "$win" ] && jack_lsp 2>/dev/null | grep -q "^geq:out_l$" && break
  sleep 0.1
done
[ -n "$win" ] || fail "jalv.gtk3 opened no GraphicEQ window"
grep -q "UI:.*urn:graphiceq:lv2:GraphicEQ#ui" "$WORK/jalv.log" || fail "jalv.gtk3 did not take the plug-in's UI"
# The panel: a child window of the panel's size somewhere inside.
xwininfo -id "$win" -tree | grep -q " 712x316+" || fail "no 712x316 panel inside jalv's window"

# Audio through it while the picture is taken, so the meters show a level.
"$PY" "$HERE/jack_gain.py" geq:in_l geq:in_r geq:out_l 3 >"$WORK/gain.txt" 2>"$WORK/gain.log" &
PIDS+=($!)
sleep 2
if [ -n "$OUT" ]; then
  xwd -id "$win" -out "$WORK/shot.xwd"
  mkdir -p "$(dirname "$OUT")"
  python3 "$HERE/../../scripts/xwd2png.py" "$WORK/shot.xwd" "$OUT"
  echo "screenshot: $OUT"
fi
wait "${PIDS[-1]}" || fail "JACK client"
echo "jalv.gtk3 window $(xwininfo -id "$win" | awk -F'"' '/xwininfo/{print $2}'), gain at 1 kHz $(cat "$WORK/gain.txt") dB"
echo ok
