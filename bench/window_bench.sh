#!/usr/bin/env bash
# Measures the window under a virtual X server: the time from start until the window is on screen, the
# longest block of the UI thread while it scans the million-file bench tree, tab switching, and the
# processor time the "Leistung" tab's sampling costs. The window reports through the VELMORA_BENCH_*
# variables (Velmora/Views/WindowBench.hpp); nothing is removed anywhere.
#
# Usage: bench/window_bench.sh [ROOT]     ROOT defaults to /tmp/velmora-scan-bench, the Mac-shaped tree
#                                         whose home is the million-file tree (bench/scan_overhead.sh makes it)
# Environment: VELMORA (default build/release/velmora, else build/debug/velmora), RUNS (start-up rounds,
# default 10), SAMPLING_S (seconds per sampling measurement, default 60).
set -euo pipefail
cd "$(dirname "$0")/.."

ROOT=$(realpath -m "${1:-/tmp/velmora-scan-bench}")
RUNS="${RUNS:-10}"
SAMPLING_S="${SAMPLING_S:-60}"
VELMORA="${VELMORA:-}"
if [ -z "$VELMORA" ]; then
  VELMORA=build/release/velmora
  [ -x "$VELMORA" ] || VELMORA=build/debug/velmora
fi
die() { echo "window_bench: $*" >&2; exit 1; }
[ -x "$VELMORA" ] || die "no $VELMORA (build the velmora target first)"
[ -e "$ROOT/Users/anna/.velmora-bench-tree-complete" ] || die "no bench tree in $ROOT (run bench/scan_overhead.sh once)"
command -v Xvfb >/dev/null || die "Xvfb is needed (Debian: xvfb)"

WORK=$(mktemp -d "${TMPDIR:-/tmp}/velmora-window-bench.XXXXXX")
XPID=
cleanup() {
  [ -n "$XPID" ] && kill "$XPID" 2>/dev/null || true
  rm -rf "$WORK"
}
trap cleanup EXIT

# One X server for every round, so that its own start-up is not counted.
for n in $(seq 90 120); do
  [ -e "/tmp/.X$n-lock" ] && continue
  Xvfb ":$n" -screen 0 1280x860x24 -nolisten tcp >/dev/null 2>&1 &
  XPID=$!
  sleep 1
  if kill -0 "$XPID" 2>/dev/null; then export DISPLAY=":$n"; break; fi
  XPID=
done
[ -n "$XPID" ] || die "no free display for Xvfb"
unset WAYLAND_DISPLAY QT_QPA_PLATFORM
# Settings and history of the runs stay in the work folder, never in the user's own.
export XDG_CONFIG_HOME="$WORK/config" XDG_DATA_HOME="$WORK/data" XDG_CACHE_HOME="$WORK/cache"

median() { sort -n | awk '{v[NR]=$1} END {if (NR%2) print v[(NR+1)/2]; else printf "%.1f\n", (v[NR/2]+v[NR/2+1])/2}'; }

echo "== start-up: $RUNS rounds on a small Mac-shaped tree ($VELMORA)"
SMALL="$WORK/small"
mkdir -p "$SMALL"
MAC_SHAPED_WITHOUT_BIG=1 bash scripts/mac-shaped-home.sh "$SMALL" >/dev/null
: >"$WORK/shown" && : >"$WORK/painted"
for _ in $(seq "$RUNS"); do
  log="$WORK/startup.log"
  : >"$log"
  start=$(date +%s%3N)
  VELMORA_BENCH_STARTUP=1 "$VELMORA" --platform macos --root "$SMALL" --home /Users/anna 2>"$log" &
  pid=$!
  for _ in $(seq 100); do grep -q painted-at "$log" && break; sleep 0.05; done
  kill "$pid" 2>/dev/null; wait "$pid" 2>/dev/null || true
  shown=$(awk '/shown-at-epoch-ms/ {print $3}' "$log")
  painted=$(awk '/painted-at-epoch-ms/ {print $3}' "$log")
  [ -n "$shown" ] && [ -n "$painted" ] || die "the window did not report its start: $(cat "$log")"
  echo $((shown - start)) >>"$WORK/shown"
  echo $((painted - start)) >>"$WORK/painted"
done
echo "shown after (ms):   $(tr '\n' ' ' <"$WORK/shown")→ median $(median <"$WORK/shown")"
echo "painted after (ms): $(tr '\n' ' ' <"$WORK/painted")→ median $(median <"$WORK/painted")"

echo "== scan of $ROOT/Users/anna with a 10 ms heartbeat, then tab switching and ${SAMPLING_S} s sampling twice"
log="$WORK/scan.log"
VELMORA_BENCH_HEARTBEAT=1 VELMORA_BENCH_TABS=1 VELMORA_BENCH_SAMPLING="$SAMPLING_S" \
  timeout $((SAMPLING_S * 2 + 900)) "$VELMORA" --platform macos --root "$ROOT" --home /Users/anna 2>"$log" ||
  die "the window run failed: $(tail -5 "$log")"
grep -q '^bench done' "$log" || die "the window run ended early: $(tail -5 "$log")"
awk '/^bench (scan-ms|heartbeat)/ {print $2 ": " $3}' "$log"
awk '/^bench tab-switch-ms/ {print $4}' "$log" | sort -n >"$WORK/tabs"
echo "tab switch incl. repaint (ms): median $(median <"$WORK/tabs"), max $(tail -1 "$WORK/tabs") over $(wc -l <"$WORK/tabs") switches"
awk '/^bench tab-switch-ms/ {sum[$3]+=$4; n[$3]++; if ($4>max[$3]) max[$3]=$4}
     END {for (t in sum) printf "  %-20s mean %.2f  max %.2f\n", t, sum[t]/n[t], max[t]}' "$log"
shown_cpu=$(awk '/^bench cpu-ms-shown/ {print $3}' "$log")
hidden_cpu=$(awk '/^bench cpu-ms-hidden/ {print $3}' "$log")
awk -v s="$shown_cpu" -v h="$hidden_cpu" -v t="$SAMPLING_S" 'BEGIN {
  printf "processor time with \"Leistung\" shown:  %.1f ms over %d s = %.2f %% of one core\n", s, t, s / (t * 10)
  printf "processor time with \"Speicher\" shown:  %.1f ms over %d s = %.2f %% of one core\n", h, t, h / (t * 10)
  printf "the tab costs %.2f %% of one core\n", (s - h) / (t * 10) }'
