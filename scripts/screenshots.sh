#!/usr/bin/env bash
# Renders every tab of the window (and the settings) for a Mac-shaped demo tree to PNG files under
# Xvfb, for the README and for review:  scripts/screenshots.sh [OUT]   (default: build/screenshots)
# Uses build/debug/velmora (built when missing), or the program named in VELMORA.
# SCREENSHOT_DOCS=1 also copies the three pictures the README shows into docs/.
# Needs Xvfb (xvfb-run) and ImageMagick's `import`. Nothing outside the demo tree is touched: the
# window runs with --root on a temp tree and in dry run (one removal runs first, inside that tree).
set -euo pipefail
cd "$(dirname "$0")/.."
out="${1:-build/screenshots}"
program="${VELMORA:-build/debug/velmora}"
wait_seconds="${SCREENSHOT_WAIT:-6}"
for tool in xvfb-run import; do
  command -v "$tool" >/dev/null || { echo "screenshots.sh: $tool fehlt (Pakete xvfb, imagemagick)" >&2; exit 1; }
done
if [ ! -x "$program" ]; then
  scripts/build.sh debug velmora
fi
mkdir -p "$out"
out="$(cd "$out" && pwd)"
program="$(cd "$(dirname "$program")" && pwd)/$(basename "$program")"

tree="$(mktemp -d "${TMPDIR:-/tmp}/velmora-shots.XXXXXX")"
trap 'rm -rf "$tree"' EXIT
MAC_SHAPED_WITHOUT_BIG=1 scripts/mac-shaped-home.sh "$tree" >/dev/null

# A few past checks, so that the settings show a history and its chart.
history="$tree/Users/anna/Library/Application Support/Velmora2/history.json"
mkdir -p "$(dirname "$history")"
python3 - "$history" <<'PY'
import json, sys, time
now = time.time() - 978307200  # seconds since 2001-01-01, as the history stores dates
week = 7 * 86400
rows = []
for i, (free, cleanable) in enumerate([(118e9, 6.1e9), (112e9, 8.4e9), (104e9, 11.9e9), (109e9, 7.3e9), (96e9, 14.2e9)]):
    rows.append({"date": now - (4 - i) * week - 3600, "cleanableTotal": int(cleanable), "freeBytes": int(free),
                 "totalBytes": 500_000_000_000, "sizes": {}, "titles": {}, "alerts": []})
rows.reverse()  # newest first
json.dump(rows, open(sys.argv[1], "w"), indent=2, sort_keys=True)
PY

# One past removal (inside the demo tree only), so that the history has a run to show.
"$program" clean --platform macos --root "$tree" --home /Users/anna --yes personal.oldInstallers \
  apps.leftovers/com.example.Gone >/dev/null

export OUT="$out" PROGRAM="$program" TREE="$tree" WAIT="$wait_seconds"
# One X server for all shots. Each window is captured by its title, so no window manager is needed.
xvfb-run -a -s "-screen 0 1280x900x24" bash -c '
  set -u
  shot() { # shot FILE WINDOW-TITLE [ENV=VALUE…] -- ARGS…
    local file="$1" title="$2"; shift 2
    local env=()
    while [ "$1" != "--" ]; do env+=("$1"); shift; done
    shift
    env ${env[@]+"${env[@]}"} VELMORA_DRY_RUN=1 "$PROGRAM" --platform macos --root "$TREE" \
      --home /Users/anna "$@" >/dev/null 2>&1 &
    local pid=$!
    sleep "$WAIT"
    if import -window "$title" "$OUT/$file" 2>/dev/null; then echo "$OUT/$file"; else echo "nicht aufgenommen: $file" >&2; fi
    kill "$pid" 2>/dev/null; wait "$pid" 2>/dev/null || true
  }
  for tab in storage developer systemData services performance; do
    shot "velmora-$tab.png" "Velmora 2" -- --tab "$tab"
  done
  shot "velmora-storage-dark.png" "Velmora 2" VELMORA_DARK=1 -- --tab storage
  shot "velmora-settings.png" "Einstellungen" VELMORA_OPEN_SETTINGS=1 -- --tab storage
  shot "velmora-settings-dark.png" "Einstellungen" VELMORA_OPEN_SETTINGS=1 VELMORA_DARK=1 -- --tab storage
  shot "velmora-history.png" "Verlauf der Entfernungen" VELMORA_OPEN_HISTORY=1 -- --tab storage
'
if [ "${SCREENSHOT_DOCS:-0}" = 1 ]; then
  mkdir -p docs
  cp "$out/velmora-developer.png" "$out/velmora-settings.png" "$out/velmora-history.png" docs/
fi
