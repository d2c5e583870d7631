#!/usr/bin/env bash
# Installs what Velmora needs on Debian (bookworm or newer); only what is missing, with sudo when
# you are not root.
#   scripts/setup-debian.sh          building and running the program
#   scripts/setup-debian.sh --dev    also the tests, benchmarks and formatting
#   scripts/setup-debian.sh --ci     also the fuzzer's clang and clang 19 with libc++ (Apple-like)
set -euo pipefail
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
PACKAGES=(
  build-essential cmake ninja-build pkg-config
  nlohmann-json3-dev libplist-dev libicu-dev libfmt-dev libcli11-dev
  qt6-base-dev qt6-svg-dev
)
DEV=(clang-format libgtest-dev libgmock-dev libbenchmark-dev gdu time xvfb xauth imagemagick fonts-dejavu-core)
CI=(clang clang-19 libc++-19-dev libc++abi-19-dev)
case "${1:-}" in
  "") ;;
  --dev) PACKAGES+=("${DEV[@]}") ;;
  --ci) PACKAGES+=("${DEV[@]}" "${CI[@]}") ;;
  *) echo "Aufruf: $0 [--dev|--ci]" >&2; exit 2 ;;
esac
missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
