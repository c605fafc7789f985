#!/usr/bin/env bash
# Installs every Debian package that building, testing and benchmarking need.
# Idempotent: packages already present are left alone and apt is not consulted.
set -euo pipefail

PACKAGES=(
  g++ cmake ninja-build pkg-config
  libopenexr-dev libimath-dev libopenimageio-dev libtbb-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  ccache openimageio-tools libopenjp2-tools
)
# The fuzzers need libFuzzer, and a clang whose concepts are complete enough for the standard
# library's std::expected (clang 16 is the first in Debian 12).
if [[ "${LUMORA_FUZZ:-0}" == "1" ]]; then
  PACKAGES+=(clang-16 libclang-rt-16-dev)
fi

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

SUDO=""
if [[ $(id -u) -ne 0 ]]; then
  SUDO="sudo"
fi
echo "Installing: ${missing[*]}" >&2
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
