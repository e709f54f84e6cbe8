#!/usr/bin/env bash
# Sets up, builds and launches Tarno. Arguments are passed to `tarno`.
# Without a display it prints the cleanup report of `tarno-cli scan` instead.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target tarno tarno-cli

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No display found, so here is Tarno's cleanup report from tarno-cli scan instead of the window."
  exec build/default/Sources/TarnoCLI/tarno-cli scan
fi
exec build/default/Sources/TarnoApp/tarno "$@"
