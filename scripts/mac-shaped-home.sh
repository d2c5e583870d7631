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
# Apps: one not opened for long (Atlas), one in use (Notiz), what a deleted app left behind
# (com.example.Gone) and two big app caches; a stand-in mdls tells the last use from the bundle's name.
app_bundle() { # app_bundle PATH BUNDLE-ID NAME
  mkdir -p "$1/Contents/MacOS"
  printf '<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict>\n<key>CFBundleIdentifier</key><string>%s</string>\n<key>CFBundleName</key><string>%s</string>\n<key>CFBundleExecutable</key><string>%s</string>\n</dict></plist>\n' "$2" "$3" "$3" >"$1/Contents/Info.plist"
  fill "$1/Contents/MacOS/$3" 256
}
app_bundle "$root/Applications/Atlas.app" com.example.Atlas Atlas
app_bundle "$root/Applications/Notiz.app" com.example.Notiz Notiz
fill "$home/Library/Caches/com.example.Atlas/Cache.db" 12288
fill "$home/Library/Caches/com.apple.appstore/downloads.db" 11264
fill "$home/Library/Preferences/com.example.Gone.plist" 4
fill "$home/Library/Containers/com.example.Gone/Data/Library/state.db" 64
cat >"$root/usr/bin/mdls" <<'MDLS'
#!/bin/sh
for bundle; do :; done
case "$bundle" in
*/Atlas.app) echo "2025-01-15 09:30:00 +0000" ;;
*/Notiz.app) echo "2099-01-01 00:00:00 +0000" ;;
*) echo "(null)" ;;
esac
MDLS
chmod +x "$root/usr/bin/mdls"

# Personal data: old installers in Downloads, an iPhone backup, Messages attachments, the Photos library
# and a softwareupdate stand-in with one pending update (tmutil above lists the local snapshots).
touch -d "30 days ago" "$home/Downloads/Installer-1.0.dmg"
fill "$home/Downloads/Setup.pkg/Contents/Archive.pax" 512
touch -d "40 days ago" "$home/Downloads/Setup.pkg"
fill "$home/Downloads/Neu.dmg" 256
backup="$home/Library/Application Support/MobileSync/Backup/00008110-000A1B2C3D4E5F60"
fill "$backup/3f/3f0a6c2d9e8b7a6f5e4d3c2b1a0f9e8d7c6b5a49" 1024
cat >"$backup/Info.plist" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
<key>Device Name</key><string>Annas iPhone</string>
<key>Last Backup Date</key><date>2025-06-01T08:30:00Z</date>
<key>Product Type</key><string>iPhone14,2</string>
</dict></plist>
PLIST
fill "$home/Library/Messages/Attachments/ab/01/IMG_0001.heic" 512
fill "$home/Pictures/Photos Library.photoslibrary/originals/0/IMG_0001.heic" 768
cp "$fixtures/../personal/softwareupdate-list-one-13.txt" "$root/.recorded/softwareupdate.txt"
printf '#!/bin/sh\nexec /bin/cat "%s"\n' "$root/.recorded/softwareupdate.txt" >"$root/usr/sbin/softwareupdate"
chmod +x "$root/usr/sbin/softwareupdate"

# The old automation of an earlier version (a monthly cleanup.sh agent with its log) and a Trash with
# something in it; launchctl answers "not loaded", osascript the Finder's refusal of automation.
mkdir -p "$home/Library/LaunchAgents" "$home/Library/Application Support/Velmora" "$home/Library/Logs/Velmora" "$root/bin"
printf '#!/bin/sh\nexit 0\n' >"$home/Library/Application Support/Velmora/cleanup.sh"
printf 'aufgeräumt\n' >"$home/Library/Logs/Velmora/cleanup.log"
cat >"$home/Library/LaunchAgents/de.tobrenlux.velmora.cleanup.plist" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>Label</key><string>de.tobrenlux.velmora.cleanup</string>
<key>ProgramArguments</key><array><string>/bin/sh</string><string>/Users/anna/Library/Application Support/Velmora/cleanup.sh</string></array>
<key>StartCalendarInterval</key><dict><key>Day</key><integer>1</integer><key>Hour</key><integer>9</integer></dict>
<key>StandardOutPath</key><string>/Users/anna/Library/Logs/Velmora/cleanup.log</string>
<key>StandardErrorPath</key><string>/Users/anna/Library/Logs/Velmora/cleanup.log</string>
</dict></plist>
PLIST
fill "$home/.Trash/Alter Export.mov" 1536
printf '#!/bin/sh\nexit 113\n' >"$root/bin/launchctl"
chmod +x "$root/bin/launchctl"
# Developer tools: an extra Xcode, unused nvm, rustup and TeX Live versions, a simulator whose
# runtime is gone, and stand-ins for xcode-select, xcrun, brew, ollama, rustup, docker and osascript
# that print written or recorded output and log each call in .recorded/calls.log. The osascript
# stand-in runs the administrator script as the calling user, inside this tree.
fixtures="$(cd "$(dirname "$0")/../tests/fixtures" && pwd)"
for f in devtools/brew-cleanup-dry-run.txt devtools/brew-autoremove-dry-run.txt devtools/ollama-list.txt \
  devtools/rustup-toolchain-list.txt devtools/rustup-override-list.txt docker/system-df-v.json \
  apps/brew-info-json-v2-cask-installed.json; do
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
"info --json=v2 --cask --installed") exec /bin/cat "$rec/brew-info-json-v2-cask-installed.json" ;;
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
# "do shell script "<script>" with administrator privileges": the script unquoted, then run; the
# Finder refuses to be steered (the Trash cannot be emptied from here).
standin "$root/usr/bin/osascript" <<'SH'
"-e tell application \"Finder\" to empty trash") echo "execution error: Not authorized to send Apple events to Finder. (-1743)" >&2; exit 1 ;;
-e*) shift; exec /bin/sh -c "$(/usr/bin/perl -e '$_ = shift; s/^do shell script "//; s/" with administrator privileges$//; s/\\(.)/$1/gs; print' "$1")" ;;
SH
# Big folders: a video project no rule explains, 1.1 GB (allocated at once where the file system can).
# Tests that do not look at it set MAC_SHAPED_WITHOUT_BIG=1 and spare the disk.
if [ "${MAC_SHAPED_WITHOUT_BIG:-0}" != 1 ]; then
  mkdir -p "$home/Movies/Projekt Sommer"
  fallocate -l 1100M "$home/Movies/Projekt Sommer/Rohschnitt.mov" 2>/dev/null ||
    head -c 1100M /dev/zero >"$home/Movies/Projekt Sommer/Rohschnitt.mov"
fi

echo "$root"
