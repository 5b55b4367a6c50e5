#!/usr/bin/env bash
# The main job: build everything, install the plug-in for this user in
# ~/.vst/GraphicEQ/, play the demo signal through it with graphiceq-host (as a
# DAW would load it), print its measured response, and time it next to a
# peer plug-in in one run; then measure the engine on its own.
set -euo pipefail
source "$(dirname "$0")/common.sh"

# --hosts brings lsp-plugins-vst, the peer in the throughput comparison.
"$ROOT/scripts/install-deps.sh" --hosts
"$ROOT/scripts/build.sh"

HOST="$ROOT/build/host/graphiceq-host"
PEER=/usr/lib/vst/lsp-plugins/graph-equalizer-x16-stereo.so
VST_DIR="$HOME/.vst/GraphicEQ"
OUT="$ROOT/build/render"
mkdir -p "$OUT"

if [ -f "$ROOT/build/plugin/GraphicEQ.so" ]; then
  echo "== install into $VST_DIR"
  install -d "$VST_DIR"
  install -m 644 "$ROOT/build/plugin/GraphicEQ.so" "$VST_DIR/GraphicEQ.so"
  # The factory bank goes beside the plug-in when the tree has one.
  for bank in "$ROOT/build/resources/GraEQDef.fxb" "$ROOT/build/plugin/GraEQDef.fxb" \
              "$ROOT/resources/GraEQDef.fxb"; do
    if [ -f "$bank" ]; then
      install -m 644 "$bank" "$VST_DIR/GraEQDef.fxb"
      break
    fi
  done
  ls -l "$VST_DIR"
  PLUGIN="$VST_DIR/GraphicEQ.so"
  SETS=(--set "Gain 1.0KHz=6" --set "Gain 99Hz=-4" --set "Q 99Hz=2")
else
  # A tree without the plug-in target still shows the host at work.
  echo "note: no GraphicEQ.so in this build; demonstrating the host with $PEER"
  PLUGIN="$PEER"
  SETS=(--set g_8=6 --set g_3=-4)
fi

# The LV2 bundle for this user's LV2 hosts (Ardour, jalv, Carla, PipeWire).
LV2_BUNDLE="$ROOT/build/GraphicEQ.lv2"
if [ -f "$LV2_BUNDLE/manifest.ttl" ]; then
  echo "== install the LV2 bundle into $HOME/.lv2/GraphicEQ.lv2"
  rm -rf "$HOME/.lv2/GraphicEQ.lv2"
  install -d "$HOME/.lv2/GraphicEQ.lv2"
  install -m 644 "$LV2_BUNDLE"/*.ttl "$LV2_BUNDLE"/*.so "$LV2_BUNDLE/GraEQDef.fxb" "$HOME/.lv2/GraphicEQ.lv2/"
  ls -l "$HOME/.lv2/GraphicEQ.lv2"
fi

echo "== graphiceq-host info"
"$HOST" info "$PLUGIN" | sed -n '1,12p'

echo "== render the test signal (pink noise, log sweep) into $OUT/demo.wav"
"$HOST" render --plugin "$PLUGIN" "${SETS[@]}" "$OUT/demo.wav"

echo "== measured response (curve in $OUT/response.png)"
"$HOST" response --plugin "$PLUGIN" "${SETS[@]}" --png "$OUT/response.png"

echo "== throughput, each plug-in in its default state, in one run"
BENCH=("$PLUGIN")
if [ -f "$PEER" ] && [ "$PLUGIN" != "$PEER" ]; then BENCH+=("$PEER"); fi
"$HOST" bench "${BENCH[@]}" --rate 48000 --block 512 --seconds 10

if [ -d "$HOME/.lv2/GraphicEQ.lv2" ]; then
  echo "== the installed LV2 bundle through lilv, against the VST build"
  if [ -x "$ROOT/build/tests/lv2/lv2_lilv_tests" ]; then
    GRAPHICEQ_LV2_BUNDLE="$HOME/.lv2/GraphicEQ.lv2" "$ROOT/build/tests/lv2/lv2_lilv_tests" --gtest_brief=1
  fi
  echo "== the LV2 bundle beside the LV2 peers (lv2bench), and against the VST build"
  FRAMES=960000 "$ROOT/scripts/lv2-bench.sh" "$HOME/.lv2/GraphicEQ.lv2" || true
fi

echo "== engine"
"$ROOT/build/bench/graphiceq-bench" --benchmark_counters_tabular=true
