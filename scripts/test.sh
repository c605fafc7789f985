#!/usr/bin/env bash
# Sets everything up, builds from scratch and runs every test twice: a release build, then
# a build under AddressSanitizer and UndefinedBehaviorSanitizer. Exits non-zero on any failure.
# LUMORA_TSAN=1 adds a third stage under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup-deps.sh

JOBS=$(nproc)
run_stage() {
  local dir=$1; shift
  echo "=== ${dir}: configure and build" >&2
  rm -rf "$dir"
  cmake -S . -B "$dir" -G Ninja -DLUMORA_WERROR=ON -DLUMORA_BUILD_BENCH=OFF "$@" >/dev/null
  cmake --build "$dir" -j "$JOBS"
  echo "=== ${dir}: tests" >&2
  ctest --test-dir "$dir" --output-on-failure -j "$JOBS"
}

run_stage build-test -DCMAKE_BUILD_TYPE=Release
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  run_stage build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMORA_SANITIZE=address
if [[ "${LUMORA_TSAN:-0}" == "1" ]]; then
  # The suppressions cover only oneTBB's own bookkeeping, which ThreadSanitizer cannot follow.
  TSAN_OPTIONS="halt_on_error=1 suppressions=$PWD/scripts/tsan-suppressions.txt" \
    run_stage build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMORA_SANITIZE=thread
fi
echo "All tests passed." >&2
