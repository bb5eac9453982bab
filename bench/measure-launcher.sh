#!/usr/bin/env bash
# Measures the built launcher on a simulated button:
#  - resident memory of an idle launcher (MB),
#  - CPU time per minute while idle, without desktop probes (ms per minute),
#  - time from writing the listing file to the client's start, median of 20.
# Usage: bench/measure-launcher.sh [build-dir] [idle-seconds]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${1:-$root/build}"
idle_seconds="${2:-60}"
launcher="$build/launcher/beamora-launcher"
[ -x "$launcher" ] || { echo "build the launcher first: $launcher" >&2; exit 1; }

. "$root/bench/launcher-world.sh"

env -u XDG_CURRENT_DESKTOP -u GDMSESSION QT_QPA_PLATFORM=offscreen TMPDIR="$world/tmp" \
    XDG_RUNTIME_DIR="$world/runtime" XDG_DATA_HOME="$world/data" \
    BEAMORA_USB_STORAGE_DIR="$world/usb" BEAMORA_CLIENT_PROGRAM="$world/client/beamora" \
    BEAMORA_MEASURE_STARTS="$world/starts" BEAMORA_EXIT_DELAY_MS=100 \
    "$launcher" >"$world/out.txt" 2>&1 &
launcher_pid=$!
until grep -q "OS VERSION" "$world/out.txt" 2>/dev/null; do sleep 0.1; done

ticks_per_second=$(getconf CLK_TCK)
cpu_ticks() { awk '{print $14 + $15}' "/proc/$launcher_pid/stat"; }
sleep 2
before=$(cpu_ticks)
sleep "$idle_seconds"
after=$(cpu_ticks)
rss_kb=$(awk '/^VmRSS/ {print $2}' "/proc/$launcher_pid/status")
cpu_ms_per_minute=$(( (after - before) * 1000 * 60 / ticks_per_second / idle_seconds ))

count_starts() { [ -f "$world/starts" ] && wc -l <"$world/starts" || echo 0; }
latencies=()
for i in $(seq 1 20); do
    started=$(count_starts)
    written=$(date +%s%N)
    printf '       Vendor: Lumora\n      Product: Beamora\n' >"$world/usb/6"
    until [ "$(count_starts)" -gt "$started" ]; do sleep 0.01; done
    latencies+=( $(( ($(tail -n 1 "$world/starts") - written) / 1000000 )) )
    rm "$world/usb/6"
    until [ "$(grep -c 'Button detector has detected that button is removed.' "$world/out.txt")" -ge "$i" ]; do
        sleep 0.05
    done
    # The detector read the long interval of the presenting state before the
    # removal was handled; the short one applies after that sleep.
    sleep 3.5
done
median=$(printf '%s\n' "${latencies[@]}" | sort -n | awk '{a[NR]=$1} END {print (a[10] + a[11]) / 2}')

echo "idle resident memory: $(( rss_kb / 1024 )).$(( (rss_kb % 1024) * 10 / 1024 )) MB"
echo "idle CPU time: ${cpu_ms_per_minute} ms per minute (measured over ${idle_seconds} s)"
echo "insertion to client start: median ${median} ms over 20 (all: ${latencies[*]})"
