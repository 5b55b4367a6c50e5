#!/usr/bin/env bash
# The whole test suite: installs what it needs, builds, runs every test in a
# normal build and again under AddressSanitizer + UndefinedBehaviorSanitizer.
#   scripts/test.sh            everything
#   scripts/test.sh --quick    the normal build only
set -euo pipefail
source "$(dirname "$0")/common.sh"

QUICK=0
for arg in "$@"; do
  case "$arg" in
    --quick) QUICK=1 ;;
    *) echo "usage: $0 [--quick]" >&2; exit 2 ;;
  esac
done

"$ROOT/scripts/install-deps.sh" --hosts

# Window tests need an X server; bring up a private virtual one unless the
# caller already has a display.
if [ -z "${DISPLAY:-}" ]; then
  for n in $(seq 90 99); do
    if [ ! -e "/tmp/.X11-unix/X$n" ] && [ ! -e "/tmp/.X$n-lock" ]; then
      Xvfb ":$n" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
      XVFB_PID=$!
      trap 'kill $XVFB_PID 2>/dev/null || true' EXIT
      export DISPLAY=":$n"
      for _ in $(seq 50); do [ -e "/tmp/.X11-unix/X$n" ] && break; sleep 0.1; done
      break
    fi
  done
fi

echo "== normal build"
configure_build build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DGRAPHICEQ_WERROR=ON
ctest --test-dir "$ROOT/build" --output-on-failure -j "$JOBS"

# ---- validator -------------------------------------------------------------
# graphiceq-host validate on GraphicEQ (every check must pass) and, as a
# smoke test of the validator on a foreign plug-in, on LSP's graphic
# equalizer: its findings are printed, only a broken validator (exit status
# other than 0 or 1) fails the run.
echo "== graphiceq-host validate"
"$ROOT/build/host/graphiceq-host" validate --rt "$ROOT/build/plugin/GraphicEQ.so"
LSP_GEQ=/usr/lib/vst/lsp-plugins/graph-equalizer-x16-stereo.so
if [ -e "$LSP_GEQ" ]; then
  status=0
  "$ROOT/build/host/graphiceq-host" validate "$LSP_GEQ" || status=$?
  if [ "$status" -gt 1 ]; then
    echo "graphiceq-host validate broke on $LSP_GEQ (exit status $status)" >&2
    exit 1
  fi
fi
# ---- end validator ---------------------------------------------------------

if [ "$QUICK" = 1 ]; then exit 0; fi

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
configure_build build-asan -DCMAKE_BUILD_TYPE=Debug -DGRAPHICEQ_SANITIZE=ON -DGRAPHICEQ_BENCH=OFF -DGRAPHICEQ_WERROR=ON
ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}" \
UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}" \
LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$ROOT/tests/lsan.supp}" \
  ctest --test-dir "$ROOT/build-asan" --output-on-failure -j "$JOBS"

echo "== ThreadSanitizer: the plug-in's threads, and the editor's tests"
# The plug-in's thread stress (label tsan) and the editor's tests (label
# x11_editor: the panel of the instrumented GraphicEQ.so idling while hosts
# automate and switch programs), built alone. fontconfig is not
# instrumented; tests/tsan.supp says why its reports are set aside.
export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1:suppressions=$ROOT/tests/tsan.supp}"
cmake -S "$ROOT" -B "$ROOT/build-tsan" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DGRAPHICEQ_TSAN=ON -DGRAPHICEQ_WITH_X11=ON -DGRAPHICEQ_BENCH=OFF -DGRAPHICEQ_WERROR=ON >/dev/null
cmake --build "$ROOT/build-tsan" -j "$JOBS" --target plugin_thread_tests editor_panel_tests editor_controls_tests
ctest --test-dir "$ROOT/build-tsan" --output-on-failure -L "tsan|x11_editor"
unset TSAN_OPTIONS

# ---- fuzzers ---------------------------------------------------------------
# The readers of outside data (the bank file, the old program files, the
# host's chunks through the whole effect) under libFuzzer with AddressSanitizer + UndefinedBehaviorSanitizer, built with
# clang into build-fuzz/, each for a bounded time (FUZZ_SECONDS, default 60).
# New inputs go to build-fuzz/corpus/; the seeds in tests/fuzz/corpus/ stay
# as committed.
echo "== fuzzers (clang + libFuzzer, ${FUZZ_SECONDS:-60} s each)"
CC=clang CXX=clang++ cmake -S "$ROOT" -B "$ROOT/build-fuzz" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DGRAPHICEQ_FUZZ=ON -DGRAPHICEQ_WITH_X11=OFF -DGRAPHICEQ_BENCH=OFF -DGRAPHICEQ_WERROR=ON >/dev/null
cmake --build "$ROOT/build-fuzz" -j "$JOBS" --target fuzz_bank_file fuzz_program_file fuzz_host_chunk
# The three run side by side (the machine's cores share them), so the step
# takes FUZZ_SECONDS of wall time, not three times that.
pids=()
for target in bank_file program_file host_chunk; do
  mkdir -p "$ROOT/build-fuzz/corpus/$target"
  "$ROOT/build-fuzz/tests/fuzz/fuzz_$target" -max_total_time="${FUZZ_SECONDS:-60}" -print_final_stats=1 \
      -artifact_prefix="$ROOT/build-fuzz/fuzz_$target-" \
      "$ROOT/build-fuzz/corpus/$target" "$ROOT/tests/fuzz/corpus/$target" \
      >"$ROOT/build-fuzz/fuzz_$target.log" 2>&1 &
  pids+=($!)
done
failed=0
i=0
for target in bank_file program_file host_chunk; do
  log="$ROOT/build-fuzz/fuzz_$target.log"
  if ! wait "${pids[$i]}"; then
    cat "$log"
    echo "fuzz_$target found a failure (reproducer in build-fuzz/)" >&2
    failed=1
  else
    echo "fuzz_$target: $(grep -E '^Done' "$log")"
  fi
  i=$((i + 1))
done
exit "$failed"
