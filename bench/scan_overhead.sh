#!/usr/bin/env bash
# Times what the developer-tool scanners add to `velmora scan`: the million-file bench tree is the
# home of a Mac-shaped tree (scripts/mac-shaped-home.sh) whose tool stand-ins are switched on and off
# between runs (off = not executable, so the locator does not find them). Same tree, same binary, same
# run, interleaved rounds on a warm cache; prints the medians, the overhead and whether it is at most
# 10 % of the scan without the tools.
#
# Usage: bench/scan_overhead.sh [ROOT]       (ROOT defaults to /tmp/velmora-scan-bench)
# Environment: RUNS (default 7), FILES (default 1000000), PRESET (default release).
set -euo pipefail

ROOT=$(realpath -m "${1:-/tmp/velmora-scan-bench}")
RUNS="${RUNS:-7}"
FILES="${FILES:-1000000}"
PRESET="${PRESET:-release}"
cd "$(dirname "$0")/.."

die() { echo "scan_overhead: $*" >&2; exit 1; }

echo "== build ($PRESET)"
if ! log=$(cmake --preset "$PRESET" 2>&1 && cmake --build --preset "$PRESET" --target velmora make_tree 2>&1); then
  echo "$log" >&2
  die "the build failed"
fi
[ -x "build/$PRESET/velmora" ] || die "no build/$PRESET/velmora"
# A copy, so that a rebuild while the rounds run cannot change what is timed.
VELMORA=$(mktemp "${TMPDIR:-/tmp}/velmora-bench.XXXXXX")
trap 'rm -f "$VELMORA"' EXIT
cp "build/$PRESET/velmora" "$VELMORA" && chmod +x "$VELMORA"

HOME_IN_TREE="$ROOT/Users/anna"
if [ ! -e "$HOME_IN_TREE/.velmora-bench-tree-complete" ]; then
  [ -e "$HOME_IN_TREE" ] && die "$HOME_IN_TREE exists but is no complete bench tree; remove it first"
  echo "== generating $FILES files in $HOME_IN_TREE"
  mkdir -p "$ROOT/Users"
  "build/$PRESET/bench/make_tree" "$HOME_IN_TREE" --files "$FILES"
fi
bash scripts/mac-shaped-home.sh "$ROOT" >/dev/null
tools=("$ROOT/usr/bin/xcode-select" "$ROOT/usr/bin/xcrun" "$ROOT"/opt/homebrew/bin/{brew,ollama,rustup,docker})

scan() { "$VELMORA" scan --platform macos --root "$ROOT" --home /Users/anna --json; }

# One scan with the tools on or off; prints its wall time in milliseconds.
run_once() {
  local start end
  if [ "$1" = on ]; then chmod +x "${tools[@]}"; else chmod -x "${tools[@]}"; fi
  start=$(date +%s%N)
  scan >/dev/null
  end=$(date +%s%N)
  echo $(((end - start) / 1000000))
}

median() { tr ' ' '\n' | grep . | sort -n | awk '{v[NR]=$1} END {print (NR%2) ? v[(NR+1)/2] : int((v[NR/2]+v[NR/2+1])/2)}'; }

echo "== load: $(uptime)"
chmod +x "${tools[@]}"
found=$(scan | grep -oE '"(xcode\.versions|sim\.unavailable|brew\.cleanup|ai\.ollama|toolchains\.(rustup|dockerPrune|texLive)|languages\.nvm)"' | sort -u | tr '\n' ' ')
echo "== developer findings with the tools on: $found"
run_once off >/dev/null
run_once on >/dev/null
times_off="" times_on=""
for ((r = 1; r <= RUNS; r++)); do
  off=$(run_once off)
  on=$(run_once on)
  times_off+="$off "
  times_on+="$on "
  echo "round $r (ms): without tools=$off with tools=$on"
done
chmod +x "${tools[@]}"
off_ms=$(echo "$times_off" | median)
on_ms=$(echo "$times_on" | median)
share=$(awk -v a="$on_ms" -v b="$off_ms" 'BEGIN {printf "%.1f", (a - b) * 100 / b}')
echo
echo "== medians: without tools ${off_ms} ms, with tools ${on_ms} ms, overhead ${share} %"
if awk "BEGIN {exit !(($on_ms - $off_ms) * 10 <= $off_ms)}"; then
  echo "met    the developer-tool scanners add at most 10 %"
else
  echo "MISSED the developer-tool scanners add at most 10 %"
fi
echo "== load: $(uptime)"
