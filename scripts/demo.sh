#!/usr/bin/env bash
# Sets everything up, builds the editor and the sample renderer, renders two render-node images
# of the test scene, merges and denoises them (high-quality mode) into one LXR file, shows what
# was produced, and ends with finished PNG pictures of the merged, denoised render: the beauty and
# one per render element (light selects, alpha, depth, normals, the light mix).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DLUMORA_BUILD_TESTS=OFF -DLUMORA_BUILD_BENCH=OFF >/dev/null
cmake --build build -j "$(nproc)" --target lumora-image-editor lumora-sample-render

# One line about an OpenEXR file, read from its header: size on disk, data window, the render
# elements (channel groups) and a few of the LXR attributes.
describe() {
  local file=$1
  local bytes
  bytes=$(stat -c %s "$file")
  head -c 262144 "$file" | od -An -v -t u1 | awk -v file="$file" -v bytes="$bytes" '
    { for (i = 1; i <= NF; ++i) b[n++] = $i }
    function str(   s) { s = ""; while (pos < n && b[pos] != 0) s = s sprintf("%c", b[pos++]); ++pos; return s }
    function u32(p) { return b[p] + 256 * (b[p + 1] + 256 * (b[p + 2] + 256 * b[p + 3])) }
    function s32(p,   v) { v = u32(p); return v >= 2147483648 ? v - 4294967296 : v }
    function f32(p,   v, e, m) {
      v = u32(p); e = int(v / 8388608) % 256; m = v % 8388608
      v = (e == 0 ? m / 8388608 * 2 ^ -126 : (1 + m / 8388608) * 2 ^ (e - 127))
      return b[p + 3] >= 128 ? -v : v
    }
    END {
      pos = 8; channels = 0; elements = ""
      while (pos < n) {
        name = str(); if (name == "") break
        type = str(); size = u32(pos); pos += 4; end = pos + size
        if (type == "chlist") {
          while (b[pos] != 0) {
            c = str(); pos += 16; ++channels
            e = c; sub(/\.[^.]*$/, "", e); if (c ~ /^[RGBA]$/) e = "BEAUTY"
            if (!(e in seen)) { seen[e] = 1; elements = elements (elements == "" ? "" : " ") e }
          }
        } else if (name == "dataWindow") {
          window = (s32(pos + 8) - s32(pos) + 1) "x" (s32(pos + 12) - s32(pos + 4) + 1)
        } else if (name == "lumora.stats.passes") {
          passes = s32(pos)
        } else if (name == "lumora.denoise.blendamount") {
          blend = f32(pos)
        } else if (name == "lumora.cm.gamma") {
          gamma = f32(pos)
        }
        pos = end
      }
      printf "%s: %d bytes, %s, %s passes, colorMap.gamma %g, denoise.blendAmount %g, %d channels: %s\n",
             file, bytes, window, passes, gamma, blend, channels, elements
    }'
}

rm -rf out
mkdir -p out
./build/tools/lumora-sample-render --size 640x360 --passes 16 --seed 1 out/node1.lxr
./build/tools/lumora-sample-render --size 640x360 --passes 16 --seed 2 out/node2.lxr
echo "Merging the two renders with the high-quality denoiser (the editor warns about elements"
echo "that carry no denoising data, such as Normals, and keeps them as they are):"
./build/lumora-image-editor --set "Int denoise.filterType = Full" out/node1.lxr out/node2.lxr out/merged.lxr

echo
echo "Produced (the merged file holds the denoised pictures as Denoised* elements):"
for file in out/node1.lxr out/node2.lxr out/merged.lxr; do
  describe "$file"
done

echo
echo "Finished pictures of the merged, denoised render (colour-mapped, 8-bit PNG, one per element):"
./build/lumora-image-editor --set "Int denoise.filterType = Full" out/node1.lxr out/node2.lxr out/picture.png \
  >/dev/null
for file in out/picture*.png; do
  echo "  $PWD/$file ($(stat -c %s "$file") bytes)"
done
echo "Open them with any image viewer; out/picture.png is the beauty."
