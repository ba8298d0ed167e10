#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# minimalplatform.sh PROGRAM PLUGIN: the example platform serves its nodes through the web server
# plug-in, hides its settings and ends cleanly.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=../device.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../device.sh"
program=$1
plugin=$2

start_device "$program" "$plugin" "$work" "$(free_port)"

# ask TARGET EXPECTED: what the answer has to contain.
ask() {
    local answer
    answer=$(curl -sg --max-time 10 "http://localhost:$http_port/api/$1")
    [[ $answer == *"$2"* ]] || fail "$1 answered $answer"
}
ask 'getData?path=lamp:brightness&roles=title,value' '["Brightness",{"i32_":40}]'
ask 'setData?path=lamp:brightness&role=value&value=55' '{"i32_":55}'
ask 'getData?path=lamp:brightness&roles=value' '[{"i32_":55}]'
ask 'setData?path=lamp:brightness&role=value&value="x"' 'typeMismatch'
ask 'getRows?path=lamp:brightness&roles=value&from=0&to=9' '"rows":[]'
ask 'getData?path=lamp:colour&roles=value' 'nodeNotFound'
ask 'getData?path=settings:/webserver/port&roles=value' 'Node is internal'

# What holds is seen, and what does not.
check() { /usr/bin/python3 "$tests/../tools/porting-check" --node "$1" "http://localhost:$http_port"; }
printed=$(check lamp:brightness) || fail "$printed"
[ "$(grep -c ^holds <<<"$printed")" -eq 5 ] || fail "$printed"
! printed=$(check lamp:colour) || fail "$printed"

stop_device
