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
# Big folders: a video project no rule explains, 1.1 GB (allocated at once where the file system can).
mkdir -p "$home/Movies/Projekt Sommer"
fallocate -l 1100M "$home/Movies/Projekt Sommer/Rohschnitt.mov" 2>/dev/null ||
  head -c 1100M /dev/zero >"$home/Movies/Projekt Sommer/Rohschnitt.mov"

echo "$root"
