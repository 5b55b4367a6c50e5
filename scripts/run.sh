#!/usr/bin/env bash
# The main job: build everything, then measure the engine.
set -euo pipefail
source "$(dirname "$0")/common.sh"
"$ROOT/scripts/build.sh"
"$ROOT/build/bench/graphiceq-bench" --benchmark_counters_tabular=true
