#!/usr/bin/env bash
# Installs what building, testing and benchmarking Velmora needs on Debian (bookworm or newer).
set -euo pipefail
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
PACKAGES=(
  build-essential cmake ninja-build pkg-config clang clang-format
  nlohmann-json3-dev libplist-dev libicu-dev libfmt-dev libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  gdu time
)
missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
