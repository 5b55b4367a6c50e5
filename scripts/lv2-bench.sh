#!/usr/bin/env bash
# lilv's own benchmark, lv2bench, on GraphicEQ's LV2 bundle and the two peer
# equalizers Debian ships as LV2 (LSP Graphic Equalizer x16 Stereo, x42 fil4
# stereo), one after the other in one invocation of this script; then both
# formats of GraphicEQ side by side (graphiceq-lv2-bench, Google Benchmark).
#   scripts/lv2-bench.sh [BUNDLE]   (default: build/GraphicEQ.lv2)
# lv2bench feeds every plug-in silence at its default settings, 48 kHz.
set -euo pipefail
source "$(dirname "$0")/common.sh"
BUNDLE="${1:-$ROOT/build/GraphicEQ.lv2}"
BLOCK="${BLOCK:-512}"
FRAMES="${FRAMES:-4800000}"   # 100 s of audio at 48 kHz
command -v lv2bench >/dev/null || { echo "lv2bench is not installed (lilv-utils)"; exit 77; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
for b in /usr/lib/lv2/*.lv2; do ln -s "$b" "$tmp/"; done
ln -s "$(cd "$BUNDLE" && pwd)" "$tmp/GraphicEQ.lv2"
export LV2_PATH="$tmp" XDG_CONFIG_HOME="$tmp/config"

echo "lv2bench -b $BLOCK -n $FRAMES URI (seconds for $FRAMES frames; ns per stereo frame)"
for uri in urn:graphiceq:lv2:GraphicEQ \
           http://lsp-plug.in/plugins/lv2/graph_equalizer_x16_stereo \
           http://gareus.org/oss/lv2/fil4#stereo; do
  line=$(lv2bench -b "$BLOCK" -n "$FRAMES" "$uri" 2>/dev/null | awk -v u="$uri" '$2 == u') || true
  if [ -z "$line" ]; then echo "  (not installed) $uri"; continue; fi
  secs=${line%% *}
  printf '  %-62s %9s s  %7.1f ns/frame\n' "$uri" "$secs" "$(awk -v s="$secs" -v n="$FRAMES" 'BEGIN{print s*1e9/n}')"
done

if [ -x "$ROOT/build/lv2/graphiceq-lv2-bench" ]; then
  echo "GraphicEQ, VST 2.4 against LV2 (noise, 48 kHz, default settings):"
  "$ROOT/build/lv2/graphiceq-lv2-bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
    2>/dev/null | grep -E "_median|^Benchmark"
fi
