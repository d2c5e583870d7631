#!/usr/bin/env bash
# Times a whole `velmora scan` (every scanner, all phases, the big-folder sweep included) with the
# benchmark tree as the home against `du -s -B1` of the same folder, in the same run, on a warm cache.
#
# Usage: bench/scan_vs_du.sh [TREE]        (TREE defaults to /tmp/velmora-bench-tree)
# Environment: RUNS (default 5), BOOST (default 1, see compare_with_du.sh).
#
# Builds the release preset's velmora and make_tree, generates TREE with make_tree if it does not exist
# (about a million files, ~4 GB), prints what the scan reports for it (not timed), then times RUNS
# interleaved rounds and prints the medians, the ratio scan / du and whether the scan took at most half
# of du's time. The scan runs against this machine's root with TREE as the home: it only reads, and the
# system locations of the catalog are part of what a real scan costs. Wall-clock times include process
# start; the load is printed at the start and the end, since other work distorts both tools (ours more,
# because its gain comes from walking on every core).
set -euo pipefail

if [ "${BOOST:-1}" = 1 ] && [ "$(id -u)" -eq 0 ] && [ -z "${VELMORA_BENCH_BOOSTED:-}" ] && [ -w /proc/self/autogroup ]; then
  export VELMORA_BENCH_BOOSTED=1
  exec setsid -w bash -c 'echo -20 >/proc/self/autogroup && exec nice -n -20 "$0" "$@"' "$0" "$@"
fi

TREE=$(realpath -m "${1:-/tmp/velmora-bench-tree}")
RUNS="${RUNS:-5}"
cd "$(dirname "$0")/.."

die() { echo "scan_vs_du: $*" >&2; exit 1; }
for tool in du awk sort; do command -v "$tool" >/dev/null || die "$tool is missing"; done

echo "== build (release)"
if ! log=$(cmake --preset release 2>&1 && cmake --build --preset release --target velmora make_tree 2>&1); then
  echo "$log" >&2
  die "the release build failed"
fi
VELMORA=build/release/velmora
if [ ! -e "$TREE" ]; then
  echo "== generating $TREE"
  build/release/bench/make_tree "$TREE"
elif [ ! -e "$TREE/.velmora-bench-tree-complete" ]; then
  die "$TREE exists but is not a complete benchmark tree; remove it or name another folder"
fi
scan=("$VELMORA" scan --home "$TREE")

echo "== load: $(uptime)"
[ -n "${VELMORA_BENCH_BOOSTED:-}" ] && echo "== running in a scheduling group of its own at nice -20"
echo "== what the scan reports (not timed)"
"${scan[@]}" | sed -n '/Große Brocken/,/^$/p;/Nicht geprüft/,$p'
echo "du -s -B1: $(du -s -B1 "$TREE" 2>/dev/null | cut -f1) bytes"

run_once() {
  local start end
  start=$(date +%s%N)
  case "$1" in
    scan) "${scan[@]}" >/dev/null ;;
    du) du -s -B1 "$TREE" >/dev/null 2>&1 || true ;;
  esac
  end=$(date +%s%N)
  echo $(((end - start) / 1000000))
}

median() { tr ' ' '\n' | grep . | sort -n | awk '{v[NR]=$1} END {print (NR%2) ? v[(NR+1)/2] : int((v[NR/2]+v[NR/2+1])/2)}'; }

echo "== warm cache: $RUNS rounds"
run_once scan >/dev/null
run_once du >/dev/null
times_scan="" times_du=""
for ((r = 1; r <= RUNS; r++)); do
  s=$(run_once scan)
  d=$(run_once du)
  times_scan+="$s "
  times_du+="$d "
  echo "round $r (ms): scan=$s du=$d"
done
scan_ms=$(echo "$times_scan" | median)
du_ms=$(echo "$times_du" | median)
ratio=$(awk -v a="$scan_ms" -v b="$du_ms" 'BEGIN {printf "%.2f", a / b}')
echo
echo "== medians: scan ${scan_ms} ms, du -s -B1 ${du_ms} ms, scan / du = ${ratio}"
if awk "BEGIN {exit !(2 * $scan_ms <= $du_ms)}"; then
  echo "met    the whole scan takes at most half of du's time"
else
  echo "MISSED the whole scan takes at most half of du's time"
fi
echo "== load: $(uptime)"
