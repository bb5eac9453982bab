#!/usr/bin/env bash
# A short scripted demonstration on a simulated button: the launcher runs
# against a temporary USB listing and a stand-in client that prints what it
# receives. Plug, launch, unplug, "exit" delivered.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
. "$root/scripts/packages.sh"
bash "$root/scripts/ensure-packages.sh" $BEAMORA_BUILD_PACKAGES

build="$root/build"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target beamora-launcher beamora-standin-client

world="$(mktemp -d)"
launcher_pid=""
cleanup() {
    [ -n "$launcher_pid" ] && kill "$launcher_pid" 2>/dev/null && wait "$launcher_pid" 2>/dev/null
    pkill -f "$world/client/beamora" 2>/dev/null || true
    rm -rf "$world"
}
trap cleanup EXIT
mkdir -p "$world"/{usb,client,runtime,tmp,data}
chmod 700 "$world/runtime"
cp "$build/tests/launcher/beamora-standin-client" "$world/client/beamora"

wait_for() { # pattern, file
    for _ in $(seq 1 200); do
        grep -q "$1" "$2" 2>/dev/null && return 0
        sleep 0.1
    done
    echo "demo: gave up waiting for: $1" >&2
    return 1
}

echo "== Starting the launcher (exit delay shortened to 3 s for the demonstration)"
env QT_QPA_PLATFORM=offscreen TMPDIR="$world/tmp" XDG_RUNTIME_DIR="$world/runtime" \
    XDG_DATA_HOME="$world/data" BEAMORA_USB_STORAGE_DIR="$world/usb" \
    BEAMORA_CLIENT_PROGRAM="$world/client/beamora" BEAMORA_EXIT_DELAY_MS=3000 \
    "$build/launcher/beamora-launcher" -enablelogging -loglevel debug >"$world/out.txt" 2>&1 &
launcher_pid=$!
tail -f "$world/out.txt" &
tail_pid=$!
wait_for "OS VERSION" "$world/out.txt"

echo "== Plugging the button in"
printf '   Host scsi6: usb-storage\n       Vendor: Lumora\n      Product: Beamora\n' >"$world/usb/6"
wait_for "stand-in client listening" "$world/out.txt"

echo "== Pulling the button out"
rm "$world/usb/6"
wait_for "stand-in client received: exit" "$world/out.txt"
wait_for "Process finished" "$world/out.txt"

echo "== Stopping the launcher"
kill "$launcher_pid"
wait "$launcher_pid" || true
launcher_pid=""
kill "$tail_pid" 2>/dev/null || true
echo "== Demonstration finished: the client was started and received \"exit\"."
