#!/usr/bin/env bash
# Lays out a made-up home folder the way a developer's Mac looks, with real
# (allocated, zero-filled) files, so that Tarno can be tried and cleaned
# without touching the real home:
#   scripts/demo-home.sh /tmp/demo-home && HOME=/tmp/demo-home build/default/Sources/TarnoApp/tarno
set -euo pipefail

home=${1:?usage: scripts/demo-home.sh FOLDER}
mkdir -p "$home"
home=$(cd "$home" && pwd)

# file PATH MEGABYTES
file() {
  mkdir -p "$(dirname "$1")"
  fallocate -l "$2M" "$1" 2>/dev/null || head -c "$(( $2 * 1024 * 1024 ))" /dev/zero > "$1"
}

xcode="$home/Library/Developer/Xcode"
for project in Atlas-bqzfkd Harbor-gxwmqa Lumen-cvtrpe; do
  file "$xcode/DerivedData/$project/Build/Intermediates.noindex/objects.o" 180
  file "$xcode/DerivedData/$project/Index.noindex/DataStore/records" 40
done
file "$xcode/iOS DeviceSupport/17.4 (21E219)/Symbols/dyld_shared_cache" 220
file "$xcode/UserData/Previews/Simulator Devices/preview.data" 60
file "$xcode/Archives/2026-10-02/Atlas 2026-10-02.xcarchive/Products/Atlas.app/Atlas" 90
file "$home/Library/Developer/CoreSimulator/Caches/dyld/cache.bin" 75
file "$home/Library/Caches/CocoaPods/Pods/Release/Alamofire/pod.tar" 35

file "$home/.gradle/caches/modules-2/files-2.1/androidx.core/core.aar" 140
file "$home/.gradle/wrapper/dists/gradle-8.7-bin/gradle-8.7-bin.zip" 120
mkdir -p "$home/.android/avd"
printf 'path=%s/.android/avd/Pixel_7_API_34.avd\ntarget=android-34\n' "$home" > "$home/.android/avd/Pixel_7_API_34.ini"
file "$home/.android/avd/Pixel_7_API_34.avd/userdata-qemu.img" 260

# The user's own files, which nothing may touch.
mkdir -p "$home/Documents" "$home/.ssh"
echo "Notes that must survive every clean." > "$home/Documents/notes.txt"
echo "not a real key" > "$home/.ssh/id_ed25519"

echo "$home"
