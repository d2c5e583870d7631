#!/usr/bin/env bash
# Configures and builds one preset (debug by default; also release, asan).
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-debug}"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
