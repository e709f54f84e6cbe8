#!/usr/bin/env bash
# Sets up, builds and runs every test, then all of them again under the
# address and undefined-behaviour sanitizers, then those that run work on
# other threads under the thread sanitizer.
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
