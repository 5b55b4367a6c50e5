#!/usr/bin/env bash
# Runs the libFuzzer targets until each has had CPU_SECONDS of CPU time.
#
# libFuzzer's -max_total_time counts wall-clock seconds, which on a shared
# machine says little about how much fuzzing was done. This script starts the
# targets side by side with a generous wall-clock limit, watches each
# process's user+system time in /proc and interrupts it (SIGINT, so libFuzzer
# still prints its final statistics) once the budget is spent.
#
#   scripts/fuzz-cpu.sh [CPU_SECONDS] [TARGET...]
#
# Targets default to bank_file program_file host_chunk. Logs and
# /usr/bin/time figures go to build-fuzz/logs/, new corpus entries to
# build-fuzz/corpus/<target>; merge them into tests/fuzz/corpus with -merge=1.
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$ROOT"

budget=${1:-3600}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(bank_file program_file host_chunk)

if [ ! -x build-fuzz/tests/fuzz/fuzz_bank_file ]; then
  CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DGRAPHICEQ_FUZZ=ON \
    -DGRAPHICEQ_WITH_X11=OFF -DGRAPHICEQ_BENCH=OFF >/dev/null
fi
cmake --build build-fuzz --target $(printf 'fuzz_%s ' "${targets[@]}")
mkdir -p build-fuzz/logs

tick=$(getconf CLK_TCK)

# CPU seconds (user + system) of one process, or nothing once it has gone.
cpu_of() {
  local stat
  stat=$(cat "/proc/$1/stat" 2>/dev/null) || return 0
  # Fields after the command name (which may hold spaces) start at field 3.
  stat=${stat##*) }
  set -- $stat
  echo $(( (${12} + ${13}) / tick ))
}

pids=()
for t in "${targets[@]}"; do
  mkdir -p "build-fuzz/corpus/$t"
  /usr/bin/time -v -o "build-fuzz/logs/$t.time" \
    build-fuzz/tests/fuzz/fuzz_$t -max_total_time=$((budget * 4)) \
      -print_final_stats=1 -artifact_prefix=build-fuzz/ \
      "build-fuzz/corpus/$t" "tests/fuzz/corpus/$t" \
      >"build-fuzz/logs/$t.log" 2>&1 &
  pids+=($!)
done

# /usr/bin/time is the direct child; the fuzzer is its child.
fuzzer_of() { pgrep -P "$1" | head -n1; }

left=${#pids[@]}
while [ "$left" -gt 0 ]; do
  sleep 5
  left=0
  for i in "${!pids[@]}"; do
    p=${pids[$i]}
    kill -0 "$p" 2>/dev/null || continue
    left=$((left + 1))
    f=$(fuzzer_of "$p")
    [ -n "$f" ] || continue
    used=$(cpu_of "$f")
    if [ -n "$used" ] && [ "$used" -ge "$budget" ]; then
      kill -INT "$f" 2>/dev/null || true
    fi
  done
done

status=0
for i in "${!pids[@]}"; do
  t=${targets[$i]}
  # An interrupted fuzzer exits non-zero by design; a finding leaves a
  # crash-/leak-/timeout- artifact and a sanitizer report in the log.
  wait "${pids[$i]}" || true
  if grep -qE '^==[0-9]+==ERROR|^SUMMARY: |deadly signal' "build-fuzz/logs/$t.log"; then
    echo "fuzz_$t: FINDING, see build-fuzz/logs/$t.log"; status=1
  fi
  runs=$(grep -oE 'stat::number_of_executed_units: [0-9]+' "build-fuzz/logs/$t.log" | grep -oE '[0-9]+$' || echo '?')
  user=$(awk -F': ' '/User time/ {print $2}' "build-fuzz/logs/$t.time")
  sys=$(awk -F': ' '/System time/ {print $2}' "build-fuzz/logs/$t.time")
  wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {print $2}' "build-fuzz/logs/$t.time")
  cov=$(grep -oE 'cov: [0-9]+ ft: [0-9]+' "build-fuzz/logs/$t.log" | tail -n1)
  echo "fuzz_$t: runs $runs, user ${user}s, sys ${sys}s, wall $wall, $cov"
done
exit $status
