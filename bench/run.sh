#!/usr/bin/env bash
# Builds the benchmark programs in a Release build (build-bench) and runs every one of them.
set -euo pipefail
cd "$(dirname "$0")/.."
JOBS=${LUMORA_BENCH_JOBS:-2}
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DLUMORA_BUILD_TESTS=OFF -DLUMORA_BUILD_BENCH=ON >/dev/null
cmake --build build-bench -j "$JOBS"
shopt -s nullglob
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# colormap_bench writes its 33^3 table here, so that oiiotool below applies the same one.
export LUMORA_BENCH_LUT="$scratch/lut33.cube"
status=0
for program in build-bench/bench/*_bench; do
  echo "=== ${program##*/}" >&2
  "$program" "$@" || status=1
done

# oiiotool doing the nearest equivalent of the colour mapping over 1920 x 1080 RGBA floats:
# --mulc (exposure) and --powc (gamma), then the same with --ociofiletransform of the same table
# (the chain with a table). Each op runs
# five times in one command; the rate comes from oiiotool's own per-op times (--runstats).
if command -v oiiotool >/dev/null && [[ -f "$LUMORA_BENCH_LUT" ]]; then
  echo "=== oiiotool $(oiiotool --version)" >&2
  printf '%s\n' 'ocio_profile_version: 1' "search_path: $scratch" \
    'roles: {default: linear, scene_linear: linear}' \
    'displays: {default: [!<View> {name: Raw, colorspace: linear}]}' \
    'colorspaces:' '  - !<ColorSpace> {name: linear, bitdepth: 32f, isdata: false}' >"$scratch/config.ocio"
  oiiotool --pattern noise 1920x1080 4 -d float -o "$scratch/in.exr"
  rate() { awk -v s="$1" 'BEGIN { if (s > 0) printf "%.1f", 5 * 1920 * 1080 / s / 1e6; else print "n/a" }'; }
  optime() { awk -v op="$1" '$1 == op && $2 == ":" { t += $3 } END { print t + 0 }'; }
  lut="$LUMORA_BENCH_LUT"
  for threads in 1 2; do
    stats=$(oiiotool --threads "$threads" --runstats -i:now=1 "$scratch/in.exr" \
      --mulc 1.5 --powc 0.4545 --mulc 1.5 --powc 0.4545 --mulc 1.5 --powc 0.4545 \
      --mulc 1.5 --powc 0.4545 --mulc 1.5 --powc 0.4545 -o "$scratch/out.exr" 2>&1)
    seconds=$(awk -v a="$(optime -mulc <<<"$stats")" -v b="$(optime -powc <<<"$stats")" 'BEGIN { print a + b }')
    echo "oiiotool --mulc --powc, $threads thread(s): $(rate "$seconds") Mpixel/s ($seconds s for 5 passes)"
    pass=(--mulc 1.5 --powc 0.4545 --ociofiletransform "$lut")
    stats=$(oiiotool --colorconfig "$scratch/config.ocio" --threads "$threads" --runstats -i:now=1 \
      "$scratch/in.exr" "${pass[@]}" "${pass[@]}" "${pass[@]}" "${pass[@]}" "${pass[@]}" -o "$scratch/out.exr" 2>&1)
    seconds=$(awk -v a="$(optime -mulc <<<"$stats")" -v b="$(optime -powc <<<"$stats")" \
      -v c="$(optime -ociofiletransform <<<"$stats")" 'BEGIN { print a + b + c }')
    echo "oiiotool --mulc --powc --ociofiletransform 33^3, $threads thread(s): $(rate "$seconds") Mpixel/s" \
      "($seconds s for 5 passes)"
  done
fi

# The same Gaussian blur with OpenImageIO: a blur radius R of the sharpen/blur filter is a Gaussian
# of sigma (R + 0.5) / 3, and oiiotool's gaussian of width w has sigma w / 4, so radius 5 (the
# BM_BlurRadius/5 case) compares with --blur 7x7. The file read and write are timed alone first.
if command -v oiiotool >/dev/null; then
  oiiotool --pattern fill:topleft=0.2,0.3,0.5,1:topright=0.8,0.3,0.5,1:bottomleft=0.2,0.7,0.5,1:bottomright=0.8,0.7,0.5,1 \
    1920x1080 4 -d float -o "$scratch/in.exr"
  echo "=== oiiotool --threads 2, 1920x1080 RGBA float" >&2
  for run in "read+write" "--blur 7x7"; do
    start=$(date +%s.%N)
    if [ "$run" = "read+write" ]; then
      oiiotool --threads 2 "$scratch/in.exr" -d float -o "$scratch/out.exr"
    else
      oiiotool --threads 2 "$scratch/in.exr" --blur 7x7 -d float -o "$scratch/out.exr"
    fi
    end=$(date +%s.%N)
    echo "oiiotool $run: $(echo "($end - $start) * 1000" | bc) ms"
  done
fi
exit $status
