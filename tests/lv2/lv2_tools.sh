#!/usr/bin/env bash
# The bundle through the LV2 tools Debian ships: lv2_validate (schemas),
# lv2info (ports, presets, UI) and lv2apply (renders +6 dB at 1 kHz with
# Gain 1.0KHz at 6). Exits 77 (skipped) when a tool is missing.
#   lv2_tools.sh BUNDLE
set -euo pipefail
BUNDLE="$1"
for tool in lv2_validate sord_validate lv2info lv2apply python3; do
  command -v "$tool" >/dev/null || { echo "skip: $tool not installed"; exit 77; }
done
source "$(dirname "$0")/lv2env.sh"

echo "== lv2_validate"
lv2_validate "$BUNDLE"/*.ttl 2>&1 | tee "$WORK/validate.txt" | tail -1
grep -q "Found 0 errors" "$WORK/validate.txt" || fail "lv2_validate reports errors"

echo "== lv2info"
lv2info "$URI" > "$WORK/info.txt" 2>&1 || fail "lv2info"
for want in "Name:              GraphicEQ" "Author:            HALDRIKS Co.,Ltd." "Has latency:       no" \
            "Symbol:      gain_1_0khz" "Name:        Gain 1.0KHz" "Name:        Q 16.0KHz" \
            "Symbol:      meter_out_r" "Symbol:      over" "lv2core#toggled" \
            "$URI#ui" "ui#X11UI" "Flat" "Loudness"; do
  grep -qF -- "$want" "$WORK/info.txt" || fail "lv2info lacks '$want'"
done
ports=$(grep -c "^	Port [0-9]*:" "$WORK/info.txt")
presets=$(sed -n '/Presets:/,/Port 0:/p' "$WORK/info.txt" | grep -c "^	         [^ ]" || true)
echo "ports $ports, presets $presets"
[ "$ports" = 42 ] || fail "42 ports expected"
[ "$presets" = 32 ] || fail "32 presets expected"

echo "== lv2apply"
sine_wav "$WORK/in.wav" 48000 1
lv2apply -i "$WORK/in.wav" -o "$WORK/out.wav" -c gain_1_0khz 6 "$URI" || fail "lv2apply"
gain=$(python3 -c "print('%.3f' % ($(level_db "$WORK/out.wav" 0.5) - $(level_db "$WORK/in.wav" 0.5)))")
echo "gain at 1 kHz: $gain dB"
python3 -c "import sys; sys.exit(0 if abs($gain - 6.0) < 0.05 else 1)" || fail "expected +6 dB"
echo "ok"
