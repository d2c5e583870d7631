#!/usr/bin/env bash
# Builds the program with clang 19 and libc++ – the closest we get here to Apple's toolchain – and
# lets it scan a Mac-shaped tree. Tests stay out: Debian's GoogleTest is built for libstdc++.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/build.sh libcxx
root=$(mktemp -d "${TMPDIR:-/tmp}/velmora-libcxx.XXXXXX")
trap 'rm -rf "$root"' EXIT
MAC_SHAPED_WITHOUT_BIG=1 scripts/mac-shaped-home.sh "$root" >/dev/null
report=$(build/libcxx/velmora scan --platform macos --root "$root" --home /Users/anna --json)
for id in xcode.derivedData languages.npm; do
  if ! grep -q "\"$id\"" <<<"$report"; then
    echo "libc++-Build: der Scan des Mac-förmigen Baums fand $id nicht" >&2
    exit 1
  fi
done
echo "libc++-Build: Scan des Mac-förmigen Baums in Ordnung"
