# SPDX-License-Identifier: MIT

# shellcheck shell=bash
# Sourced by the tests that are shell scripts: a folder $work that goes when the script ends, and
# a host program that is started, asked and ended.

tests=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd -P)
# Below the working folder, which owntmp keeps.
work=$(mktemp -d -p "$PWD" device-XXXXXX)
device_pid=
end() {
    [ -z "$device_pid" ] || kill -KILL "$device_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap end EXIT

fail() {
    echo "FAIL: $*" >&2
    [ ! -s "$work/log" ] || cat "$work/log" >&2
    exit 1
}

# A port of which nobody makes use at the moment.
free_port() {
    local port
    while port=$((20000 + RANDOM % 12000)); do
        (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || break
    done
    echo "$port"
}

# with_own_tmp COMMAND...: where the system lets users have namespaces, the program sees a /tmp of its
# own, as the service does: the device's certificate has fixed names there, and this machine may
# run another device.
with_own_tmp() {
    if unshare -rm true 2>/dev/null; then
        exec unshare -rm "$tests/owntmp" "$@"
    fi
    exec "$@"
}

# start_device COMMAND...: returns once the host has printed its ready line, with $device_pid,
# $http_port and $https_port set.
start_device() {
    local line
    mkfifo "$work/output"
    with_own_tmp "$@" >"$work/output" 2>"$work/log" &
    device_pid=$!
    exec 3<"$work/output"
    read -r -t 30 line <&3 || fail "no ready line from $1"
    [[ $line =~ ^ready\ http=([0-9]+)(\ https=([0-9]+))?$ ]] || fail "unexpected output: $line"
    http_port=${BASH_REMATCH[1]}
    # Read by the tests of devices that have one.
    # shellcheck disable=SC2034
    https_port=${BASH_REMATCH[3]-}
    [ "$http_port" -gt 0 ] || fail "no HTTP port"
}

# Turns of the event loop may be long because this machine is busy; those that spent so much processor
# time themselves may not. Sanitizers and the like make everything slower.
without_pauses() {
    awk -v limit="${PLIX_TURN_LIMIT_MS:-100}" '
        !match($0, /[0-9]+ ms of processor time/) || substr($0, RSTART) + 0 >= limit' "$1"
}

# Ends it as a service manager does and wants a clean end without complaints.
stop_device() {
    local status=0
    kill -TERM "$device_pid"
    wait "$device_pid" || status=$?
    device_pid=
    [ "$status" -eq 0 ] || fail "ended with status $status"
    [ -z "$(without_pauses "$work/log")" ] || fail "something was logged"
}
