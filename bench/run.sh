#!/usr/bin/env bash
# Builds the benchmark programs in a Release build (build-bench) and runs every one of them.
set -euo pipefail
cd "$(dirname "$0")/.."
JOBS=${LUMORA_BENCH_JOBS:-2}
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DLUMORA_BUILD_TESTS=OFF -DLUMORA_BUILD_BENCH=ON >/dev/null
cmake --build build-bench -j "$JOBS"
shopt -s nullglob
status=0
for program in build-bench/bench/*_bench; do
  echo "=== ${program##*/}" >&2
  "$program" "$@" || status=1
done
exit $status
