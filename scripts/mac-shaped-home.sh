#!/usr/bin/env bash
# Builds a small Mac-shaped tree below DIR (default: a new temp folder) and prints its path: a home
# at DIR/Users/anna with Xcode data, developer caches, an app's leftovers and an app bundle, system
# areas (caches, logs, the unified log, assets, swap, another user) and stand-ins for diskutil and
# tmutil that print output recorded on real Macs. Use it to look at what the macOS rules find, on
# any machine:
#   velmora scan --platform macos --root "$(scripts/mac-shaped-home.sh)" --home /Users/anna
#   velmora system --platform macos --root "$(scripts/mac-shaped-home.sh)" --home /Users/anna
set -euo pipefail
root="${1:-$(mktemp -d "${TMPDIR:-/tmp}/velmora-mac.XXXXXX")}"
home="$root/Users/anna"
fill() { # fill FILE KIB
  mkdir -p "$(dirname "$1")"
  head -c "$(($2 * 1024))" /dev/zero >"$1"
}
fill "$home/Library/Developer/Xcode/DerivedData/App-abc/Build/Intermediates.noindex/a.o" 2048
fill "$home/Library/Developer/Xcode/Archives/2025-01-01/App.xcarchive/Info.plist" 64
fill "$home/Library/Developer/CoreSimulator/Caches/dyld/cache" 512
fill "$home/.npm/_cacache/content-v2/sha512/aa/blob" 768
fill "$home/Library/Caches/pip/http/blob" 256
fill "$home/Library/Caches/go-build/00/blob" 256
fill "$home/Library/Caches/com.example.Gone/Cache.db" 128
fill "$home/Library/Application Support/Gone/data.bin" 128
fill "$home/Downloads/Installer-1.0.dmg" 1024
fill "$home/Documents/Brief.txt" 4
mkdir -p "$root/Applications/Xcode.app/Contents/MacOS" "$home/.Trash"
cat >"$root/Applications/Xcode.app/Contents/Info.plist" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
<key>CFBundleIdentifier</key><string>com.apple.dt.Xcode</string>
<key>CFBundleExecutable</key><string>Xcode</string>
<key>CFBundleName</key><string>Xcode</string>
</dict></plist>
PLIST
: >"$root/Applications/Xcode.app/Contents/MacOS/Xcode"

# System areas. Old enough to count as old logs and old temporary files.
fill "$root/Library/Caches/com.example.agent/cache.db" 512
fill "$root/Library/Logs/Example/old.log" 64
touch -d "90 days ago" "$root/Library/Logs/Example/old.log"
fill "$root/private/var/log/system.log" 32
fill "$root/private/var/db/diagnostics/Persist/0000000000000001.tracev3" 1024
fill "$root/private/var/db/uuidtext/00/0123456789ABCDEF" 64
fill "$root/private/var/vm/swapfile0" 1024
fill "$root/System/Library/AssetsV2/com_apple_MobileAsset_iOSSimulatorRuntime/a.asset/blob" 768
fill "$root/System/Library/AssetsV2/com_apple_MobileAsset_Font7/b.asset/font" 128
fill "$root/Library/Updates/old-update/payload" 256
fill "$root/Users/bob/Music/song.m4a" 256

# Stand-ins for the system tools: below a --root only tools inside the tree are started.
fixtures="$(cd "$(dirname "$0")/../tests/fixtures/systemdata" && pwd)"
mkdir -p "$root/usr/sbin" "$root/usr/bin" "$root/.recorded"
cp "$fixtures/volumes/apfs-list-applesilicon-nixstore.plist" "$root/.recorded/apfs-list.plist"
cp "$fixtures/tmutil-listlocalsnapshots-volumegroup-2021.txt" "$root/.recorded/tmutil.txt"
printf '#!/bin/sh\nexec /bin/cat "%s"\n' "$root/.recorded/apfs-list.plist" >"$root/usr/sbin/diskutil"
printf '#!/bin/sh\nexec /bin/cat "%s"\n' "$root/.recorded/tmutil.txt" >"$root/usr/bin/tmutil"
chmod +x "$root/usr/sbin/diskutil" "$root/usr/bin/tmutil"
# Developer tools: an extra Xcode, unused nvm, rustup and TeX Live versions, a simulator whose
# runtime is gone, and stand-ins for xcode-select, xcrun, brew, ollama, rustup, docker and osascript
# that print written or recorded output and log each call in .recorded/calls.log. The osascript
# stand-in runs the administrator script as the calling user, inside this tree.
fixtures="$(cd "$(dirname "$0")/../tests/fixtures" && pwd)"
for f in devtools/brew-cleanup-dry-run.txt devtools/brew-autoremove-dry-run.txt devtools/ollama-list.txt \
  devtools/rustup-toolchain-list.txt devtools/rustup-override-list.txt docker/system-df-v.json; do
  cp "$fixtures/$f" "$root/.recorded/"
done
mkdir -p "$root/Applications/Xcode-beta.app/Contents/MacOS"
sed 's|<key>CFBundleName</key>|<key>CFBundleShortVersionString</key><string>16.0</string>&|' \
  "$root/Applications/Xcode.app/Contents/Info.plist" >"$root/Applications/Xcode-beta.app/Contents/Info.plist"
fill "$root/Applications/Xcode-beta.app/Contents/MacOS/Xcode" 512
for v in 2022 2023 2024; do fill "$root/usr/local/texlive/$v/bin/tex" 128; done
for v in v18.20.4 v20.12.0; do fill "$home/.nvm/versions/node/$v/bin/node" 256; done
mkdir -p "$home/.nvm/alias" && echo 20 >"$home/.nvm/alias/default"
fill "$home/.rustup/toolchains/nightly-aarch64-apple-darwin/bin/rustc" 256
fill "$home/Library/Caches/Homebrew/wget--1.21.4.arm64_sonoma.bottle.tar.gz" 64
sim=6F1E0E2A-3C1B-4D7E-9A52-0B1C2D3E4F50
fill "$home/Library/Developer/CoreSimulator/Devices/$sim/data/Library/x" 128
cat >"$root/.recorded/simctl-list.json" <<JSON
{"devicetypes": [], "runtimes": [], "pairs": {}, "devices": {"com.apple.CoreSimulator.SimRuntime.iOS-15-0": [
 {"udid": "$sim", "isAvailable": false, "name": "iPhone 8", "state": "Shutdown",
  "availabilityError": "runtime profile not found",
  "dataPath": "/Users/anna/Library/Developer/CoreSimulator/Devices/$sim/data"}]}}
JSON
standin() { # standin PATH: logs "name args" and answers with the case branches read from stdin
  mkdir -p "$(dirname "$1")"
  {
    printf '#!/bin/sh\nrec="%s/.recorded"\necho "${0##*/} $*" >>"$rec/calls.log"\ncase "$*" in\n' "$root"
    cat
    printf 'esac\nexit 0\n'
  } >"$1"
  chmod +x "$1"
}
standin "$root/usr/bin/xcode-select" <<'SH'
-p) echo /Applications/Xcode.app/Contents/Developer ;;
SH
standin "$root/usr/bin/xcrun" <<'SH'
"simctl list -j") exec /bin/cat "$rec/simctl-list.json" ;;
"simctl runtime list -j") echo '{}' ;;
SH
standin "$root/opt/homebrew/bin/brew" <<'SH'
"cleanup --prune=all --dry-run") exec /bin/cat "$rec/brew-cleanup-dry-run.txt" ;;
"autoremove --dry-run") exec /bin/cat "$rec/brew-autoremove-dry-run.txt" ;;
SH
standin "$root/opt/homebrew/bin/ollama" <<'SH'
list) exec /bin/cat "$rec/ollama-list.txt" ;;
SH
standin "$root/opt/homebrew/bin/rustup" <<'SH'
"toolchain list") exec /bin/cat "$rec/rustup-toolchain-list.txt" ;;
"override list") exec /bin/cat "$rec/rustup-override-list.txt" ;;
SH
standin "$root/opt/homebrew/bin/docker" <<'SH'
"system df -v --format json") exec /bin/cat "$rec/system-df-v.json" ;;
SH
# "do shell script "<script>" with administrator privileges": the script unquoted, then run.
standin "$root/usr/bin/osascript" <<'SH'
-e*) shift; exec /bin/sh -c "$(/usr/bin/perl -e '$_ = shift; s/^do shell script "//; s/" with administrator privileges$//; s/\\(.)/$1/gs; print' "$1")" ;;
SH
echo "$root"
