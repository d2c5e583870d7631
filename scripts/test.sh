#!/usr/bin/env bash
# Builds one preset (debug by default, or asan, release) and runs every test through CTest.
# Warnings count as errors here whatever the preset says. Extra arguments go to ctest, e.g.
# scripts/test.sh debug -R ShellQuote
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-debug}"
shift || true
VELMORA_CMAKE_ARGS="-DVELMORA_WERROR=ON ${VELMORA_CMAKE_ARGS:-}" scripts/build.sh "$preset"
if [ "$preset" = asan ]; then
  export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
fi
ctest --preset "$preset" "$@"
