#!/usr/bin/env bash
# Configures and builds one preset (debug by default; also app, release, asan, libcxx), all of it
# or only the targets named after it:  scripts/build.sh release velmora
# Extra configure options can come in VELMORA_CMAKE_ARGS.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-debug}"
shift || true
# shellcheck disable=SC2086 # the options are meant to split into words
cmake --preset "$preset" ${VELMORA_CMAKE_ARGS:-} >/dev/null
if [ "$#" -gt 0 ]; then
  cmake --build --preset "$preset" --target "$@"
else
  cmake --build --preset "$preset"
fi
