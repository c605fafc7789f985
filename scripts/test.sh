#!/usr/bin/env bash
# Sets everything up, builds from scratch and runs every test twice: a release build, then
# a build under AddressSanitizer and UndefinedBehaviorSanitizer. Exits non-zero on any failure.
# LUMORA_TSAN=1 adds a stage under ThreadSanitizer; LUMORA_FUZZ=1 a short fuzzing stage (clang
# 16, each fuzzer for LUMORA_FUZZ_SECONDS, default 60).
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
if [[ "${LUMORA_FUZZ:-0}" == "1" ]]; then
  # Any crash, leak, sanitizer report or allocation over 2 GiB ends the stage with a failure;
  # libFuzzer leaves the input that did it in build-fuzz/artifacts.
  echo "=== build-fuzz: configure and build" >&2
  LUMORA_FUZZ=1 bash scripts/setup-deps.sh
  rm -rf build-fuzz
  CXX=clang++-16 cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMORA_FUZZ=ON \
    -DLUMORA_BUILD_TESTS=OFF -DLUMORA_BUILD_BENCH=OFF >/dev/null
  cmake --build build-fuzz -j "$JOBS"
  bash scripts/fuzz-seeds.sh build-fuzz/seeds build-fuzz/tools/lumora-sample-render
  mkdir -p build-fuzz/artifacts
  for fuzzer in build-fuzz/fuzz/fuzz_*; do
    name=${fuzzer##*/fuzz_}
    echo "=== fuzz ${name}" >&2
    mkdir -p "build-fuzz/corpus/${name}" "build-fuzz/seeds/${name}"
    regressions=()
    [[ -d "fuzz/regressions/${name}" ]] && regressions=("fuzz/regressions/${name}")
    log="build-fuzz/artifacts/${name}.log"
    if ! ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
      "$fuzzer" "build-fuzz/corpus/${name}" "build-fuzz/seeds/${name}" "${regressions[@]}" \
      -max_total_time="${LUMORA_FUZZ_SECONDS:-60}" -rss_limit_mb=2048 -malloc_limit_mb=2048 -timeout=10 \
      -artifact_prefix="build-fuzz/artifacts/${name}-" -print_final_stats=1 >"$log" 2>&1; then
      tail -n 60 "$log" >&2
      echo "fuzz_${name} failed; see $log" >&2
      exit 1
    fi
    grep -E '^stat::number_of_executed_units|^Done' "$log" >&2 || true
  done
fi
echo "All tests passed." >&2
