#!/usr/bin/env bash
# Sets everything up, builds the editor and runs it. Processing of renders is not wired in
# yet, so the run shows the editor's help.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DLUMORA_BUILD_TESTS=OFF -DLUMORA_BUILD_BENCH=OFF >/dev/null
cmake --build build -j "$(nproc)" --target lumora-image-editor
./build/lumora-image-editor --help
