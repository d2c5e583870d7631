#!/usr/bin/env bash
# Builds a small Mac-shaped tree below DIR (default: a new temp folder) and prints its path: a home
# at DIR/Users/anna with Xcode data, developer caches, an app's leftovers and an app bundle. Use it
# to look at what the macOS rules find, on any machine:
#   velmora scan --platform macos --root "$(scripts/mac-shaped-home.sh)" --home /Users/anna
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
echo "$root"
