#!/usr/bin/env bash
# Installs the Debian 12 packages Tarno needs to build, test and run.
# Quick and silent when everything is already there.
set -euo pipefail

packages=(
  # tool chain
  build-essential cmake ninja-build pkg-config git python3
  # core libraries
  libfmt-dev nlohmann-json3-dev libplist-dev libssl-dev
  # tests and benchmarks (xfsprogs, btrfs-progs: volumes with reflinks for the clone tests)
  libgtest-dev libgmock-dev libbenchmark-dev xfsprogs btrfs-progs
  # the fuzz targets: clang with libFuzzer and the sanitizers' runtimes
  clang libclang-rt-14-dev
  # Qt 6 for the application
  qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-declarative-dev-tools
  qt6-qpa-plugins libqt6svg6
  # application icons kept as .icns in bundles
  qt6-image-formats-plugins
  qml6-module-qtqml qml6-module-qtqml-workerscript qml6-module-qtquick
  qml6-module-qtquick-controls qml6-module-qtquick-layouts
  qml6-module-qtquick-templates qml6-module-qtquick-window
  # freedesktop icons the sidebar and screens use, and the file types' names for them
  adwaita-icon-theme shared-mime-info
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo=()
if [ "$(id -u)" -ne 0 ]; then
  sudo=(sudo)
fi

echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
