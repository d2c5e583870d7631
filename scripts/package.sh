#!/usr/bin/env bash
# Builds the release program (preset app) and packs it as a Debian package in build/app
# (velmora_<version>_<arch>.deb); prints the package's path. Extra configure options can come in
# VELMORA_CMAKE_ARGS, e.g. -DCMAKE_CXX_COMPILER_LAUNCHER=ccache.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck disable=SC2086 # the options are meant to split into words
cmake --preset app ${VELMORA_CMAKE_ARGS:-} >/dev/null
cmake --build build/app
(cd build/app && cpack -G DEB >/dev/null)
ls -1 "$PWD"/build/app/velmora_*.deb
