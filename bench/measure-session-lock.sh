#!/usr/bin/env bash
# Measures the built launcher's session lock probe on Ubuntu's GNOME
# (XDG_CURRENT_DESKTOP=ubuntu:GNOME, GDMSESSION=ubuntu) with the fake logind
# of the tests on a private system bus:
#  - CPU time per minute of the idle launcher (unlocked, no button), first
#    without a system bus (the yardstick: the desktop's answer alone), then
#    with logind, in the same run; all threads, from their scheduler run time;
#  - time from LockedHint turning false to the client's start with the button
#    plugged in, unlocking at a random point of the locked detector's sleep.
# Needs a build with BEAMORA_BUILD_TESTS=ON (for the fake services).
# Usage: bench/measure-session-lock.sh [build-dir] [idle-seconds] [unlocks]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$root/build}"
idle_seconds="${2:-60}"
unlocks="${3:-10}"
launcher="$build/launcher/beamora-launcher"
services="$build/tests/beamora-fake-session-services"
for program in "$launcher" "$services"; do
    [ -x "$program" ] || { echo "build it first: $program" >&2; exit 1; }
done

. "$root/bench/launcher-world.sh"

coproc SERVICES { TMPDIR="$world/tmp" exec "$services"; }
read -r system_bus <&"${SERVICES[0]}"
read -r session_bus <&"${SERVICES[0]}"
set_state() {
    echo "$1" >&"${SERVICES[1]}"
    read -r ack <&"${SERVICES[0]}"
    [ "$ack" = ok ] || { echo "fake services refused: $1" >&2; exit 1; }
}

# start_launcher <system bus address>
start_launcher() {
    env -u XDG_SESSION_ID XDG_CURRENT_DESKTOP=ubuntu:GNOME GDMSESSION=ubuntu XDG_SESSION_ID=1 \
        "$1" DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent \
        QT_QPA_PLATFORM=offscreen TMPDIR="$world/tmp" \
        XDG_RUNTIME_DIR="$world/runtime" XDG_DATA_HOME="$world/data" \
        BEAMORA_USB_STORAGE_DIR="$world/usb" BEAMORA_CLIENT_PROGRAM="$world/client/beamora" \
        BEAMORA_MEASURE_STARTS="$world/starts" BEAMORA_EXIT_DELAY_MS=100 \
        "$launcher" >"$world/out.txt" 2>&1 &
    launcher_pid=$!
    until grep -q "ession lock state" "$world/out.txt" 2>/dev/null; do sleep 0.1; done
}
stop_launcher() {
    kill "$launcher_pid" && wait "$launcher_pid" || true
    launcher_pid=""
}
cpu_ns() { cat /proc/"$launcher_pid"/task/*/schedstat | awk '{n += $1} END {print n}'; }
idle_cpu_ms_per_minute() {
    sleep 2
    local before after
    before=$(cpu_ns)
    sleep "$idle_seconds"
    after=$(cpu_ns)
    echo $(( (after - before) * 60 / idle_seconds / 1000000 ))
}
count() { grep -c "$1" "$world/out.txt" || true; }
wait_count() { until [ "$(count "$1")" -ge "$2" ]; do sleep 0.02; done; }
count_starts() { [ -f "$world/starts" ] && wc -l <"$world/starts" || echo 0; }

start_launcher DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent
grep -q "No session lock state" "$world/out.txt"
without=$(idle_cpu_ms_per_minute)
stop_launcher

start_launcher DBUS_SYSTEM_BUS_ADDRESS="${system_bus#*=}"
grep -q "Session lock state from logind." "$world/out.txt"
with=$(idle_cpu_ms_per_minute)

latencies=()
for i in $(seq 1 "$unlocks"); do
    set_state "LockedHint true"
    wait_count "The executable is not running on the input desktop." "$i"
    printf '       Vendor: Lumora\n      Product: Beamora\n' >"$world/usb/6"
    sleep "$(awk -v r="$RANDOM" 'BEGIN { print (r % 2000) / 1000 }')"
    started=$(count_starts)
    set_state "LockedHint false"
    unlocked=$(date +%s%N)
    until [ "$(count_starts)" -gt "$started" ]; do sleep 0.01; done
    latencies+=( $(( ($(tail -n 1 "$world/starts") - unlocked) / 1000000 )) )
    rm "$world/usb/6"
    wait_count "Button detector has detected that button is removed." "$i"
done
sorted=$(printf '%s\n' "${latencies[@]}" | sort -n)
median=$(echo "$sorted" | awk '{a[NR] = $1} END {print (NR % 2) ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2}')

echo "idle CPU time without a system bus: ${without} ms per minute (yardstick)"
echo "idle CPU time with logind: ${with} ms per minute (measured over ${idle_seconds} s each)"
echo "unlock to client start: median ${median} ms, max $(echo "$sorted" | tail -n 1) ms over ${unlocks} (all: ${latencies[*]})"
