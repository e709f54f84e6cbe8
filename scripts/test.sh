#!/usr/bin/env bash
# Sets up, builds and runs every test, then all of them again under the
# address and undefined-behaviour sanitizers.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

cmake --preset default >/dev/null
cmake --build --preset default
ctest --preset default -j2

cmake --preset asan >/dev/null
cmake --build --preset asan
ctest --preset asan -j2
