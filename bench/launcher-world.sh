# Sourced by the launcher measurements: a private world for one launcher
# (listing, runtime, data and temporary folders) in "$world", a client that
# notes the moment it started in $BEAMORA_MEASURE_STARTS and leaves at once,
# and a trap that stops "$launcher_pid" and removes the world on exit.
world="$(mktemp -d)"
launcher_pid=""
cleanup() {
    [ -n "$launcher_pid" ] && kill "$launcher_pid" 2>/dev/null && wait "$launcher_pid" 2>/dev/null
    rm -rf "$world"
}
trap cleanup EXIT
mkdir -p "$world"/{usb,client,runtime,tmp,data}
chmod 700 "$world/runtime"
cat >"$world/client/beamora" <<'CLIENT'
#!/bin/sh
date +%s%N >>"$BEAMORA_MEASURE_STARTS"
CLIENT
chmod +x "$world/client/beamora"
