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

# The same Gaussian blur with OpenImageIO: a blur radius R of the sharpen/blur filter is a Gaussian
# of sigma (R + 0.5) / 3, and oiiotool's gaussian of width w has sigma w / 4, so radius 5 (the
# BM_BlurRadius/5 case) compares with --blur 7x7. The file read and write are timed alone first.
if command -v oiiotool >/dev/null; then
  tmp=$(mktemp -d)
  trap 'rm -rf "$tmp"' EXIT
  oiiotool --pattern fill:topleft=0.2,0.3,0.5,1:topright=0.8,0.3,0.5,1:bottomleft=0.2,0.7,0.5,1:bottomright=0.8,0.7,0.5,1 \
    1920x1080 4 -d float -o "$tmp/in.exr"
  echo "=== oiiotool --threads 2, 1920x1080 RGBA float" >&2
  for run in "read+write" "--blur 7x7"; do
    start=$(date +%s.%N)
    if [ "$run" = "read+write" ]; then
      oiiotool --threads 2 "$tmp/in.exr" -d float -o "$tmp/out.exr"
    else
      oiiotool --threads 2 "$tmp/in.exr" --blur 7x7 -d float -o "$tmp/out.exr"
    fi
    end=$(date +%s.%N)
    echo "oiiotool $run: $(echo "($end - $start) * 1000" | bc) ms"
  done
fi
exit $status
