#!/usr/bin/env bash
# Sets up, builds and runs every test, then all of them again under the
# address and undefined-behaviour sanitizers, then those that run work on
# other threads under the thread sanitizer, and last the fuzz targets of the
# core's readers over their seeds and a few seconds of fuzzing each.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

cmake --preset default >/dev/null
cmake --build --preset default
ctest --preset default -j2

cmake --preset asan >/dev/null
cmake --build --preset asan
ctest --preset asan -j2

# The tsan presets build only the test programs and run only the threaded tests.
cmake --preset tsan >/dev/null
cmake --build --preset tsan
ctest --preset tsan -j2

# The core with clang and libFuzzer; each target replays its seeds, then fuzzes briefly.
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
ctest --preset fuzz -j2
