#!/usr/bin/env bash
# Installs what is missing, builds the launcher and starts it in the
# foreground with logging on. Extra arguments go to the launcher.
# Stop it with Ctrl+C.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
. "$root/scripts/packages.sh"
bash "$root/scripts/ensure-packages.sh" $BEAMORA_BUILD_PACKAGES

build="$root/build"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" --parallel "$(nproc)" --target beamora-launcher
# The launcher has no window; without a display it runs on the offscreen platform.
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}"
fi
exec "$build/launcher/beamora-launcher" -enablelogging -loglevel debug "$@"
