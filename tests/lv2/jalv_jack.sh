#!/usr/bin/env bash
# The bundle in jalv, a JACK client on a private dummy JACK server (no sound
# hardware): a JACK test client (python3-jack-client) plays a 1 kHz sine
# through it and measures +6 dB with Gain 1.0KHz at 6. 77 when a tool is
# missing.
#   jalv_jack.sh BUNDLE
set -euo pipefail
source "$(dirname "$0")/private_shm.sh"
BUNDLE="$1"
PY=/usr/bin/python3
for tool in jalv jackd jack_lsp; do
  command -v "$tool" >/dev/null || { echo "skip: $tool not installed"; exit 77; }
done
"$PY" -c "import jack" 2>/dev/null || { echo "skip: python3-jack-client not installed"; exit 77; }
source "$(dirname "$0")/lv2env.sh"
export JACK_DEFAULT_SERVER="graphiceq-test-$$"
export JACK_NO_AUDIO_RESERVATION=1

jackd -r -n "$JACK_DEFAULT_SERVER" -d dummy -r 48000 -p 256 >"$WORK/jackd.log" 2>&1 &
PIDS+=($!)
for _ in $(seq 100); do jack_lsp >/dev/null 2>&1 && break; sleep 0.1; done
jack_lsp >/dev/null 2>&1 || fail "jackd did not start"

# jalv's console reads commands from stdin; keep it open and silent.
mkfifo "$WORK/stdin"
exec 3<>"$WORK/stdin"
jalv -x -n geq -c gain_1_0khz=6 "$URI" <"$WORK/stdin" >"$WORK/jalv.log" 2>&1 &
PIDS+=($!)
for _ in $(seq 100); do jack_lsp 2>/dev/null | grep -q "^geq:out_l$" && break; sleep 0.1; done
jack_lsp 2>/dev/null | grep -q "^geq:out_l$" || fail "jalv's ports did not appear"
jack_lsp | grep "^geq:"

gain=$("$PY" "$(dirname "$0")/jack_gain.py" geq:in_l geq:in_r geq:out_l) || fail "JACK client"
echo "gain at 1 kHz through jalv: $gain dB"
"$PY" -c "import sys; sys.exit(0 if abs($gain - 6.0) < 0.05 else 1)" || fail "expected +6 dB"
echo ok
