#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the whole test suite.
# Usage: scripts/test.sh [build-dir]   (default: build)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
. "$root/scripts/packages.sh"
bash "$root/scripts/ensure-packages.sh" $BEAMORA_TEST_PACKAGES

build="${1:-$root/build}"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DBEAMORA_BUILD_TESTS=ON -DBEAMORA_BUILD_BENCH=ON -DBEAMORA_WERROR=ON
cmake --build "$build" --parallel "$(nproc)"
QT_QPA_PLATFORM=offscreen ctest --test-dir "$build" --output-on-failure --parallel 2
