#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# qemu.sh ARCHITECTURE BUILD_FOLDER: the device that was built for another architecture answers under qemu.
# Skipped (77) where there is none, or no qemu for it.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=../device.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../device.sh"
declare -A emulators=([arm64]=qemu-aarch64-static [armhf]=qemu-arm-static)
emulator=${emulators[$1]}
program=$2/bin/plixhost
if [ ! -x "$program" ] || ! command -v "$emulator" >/dev/null; then
    echo "Skipped: needs $emulator and the preset $1, built"
    exit 77
fi

# Qt starts programs by clone() with CLONE_PIDFD. Where qemu refuses that there is no certificate, but a reason.
https=$(free_port)
start_device "$emulator" "$program" --state "$work/state" \
    --set "settings:/webserver/port=$(free_port)" --set "settings:/webserver/httpsPort=$https"
curl -sk --max-time 60 -o /dev/null "https://127.0.0.1:$https/" ||
    grep -qF 'openssl could not be started: this system, or its emulator, lacks clone()' "$work/log" ||
    fail "neither HTTPS nor the reason why not"
url=http://localhost:$http_port
answer=$(curl -s --max-time 60 "$url/api/setData?path=player:player/volume&role=value&value=41")
[ "$answer" = '{"i32_":41}' ] || fail "setData answered $answer"
answer=$(curl -s --max-time 60 "$url/api/getRows?path=media:/&roles=title&from=0&to=9")
[[ $answer == *'"rows":[["'* ]] || fail "getRows answered $answer"
track=$url/api/stream/media:/copper-sky.wav
cmp <(curl -s --max-time 60 "$track") <(curl -s --max-time 60 "$track?via=pipe") || fail "another stream"
kill -TERM "$device_pid"
wait "$device_pid" || fail "ended with status $?"
device_pid=
