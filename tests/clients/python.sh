#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# python.sh PROGRAM SOURCE_FOLDER: the Python client as an app has it: packed, checked by mypy, and run from
# its package against a device.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=../device.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../device.sh"
source=$2
export PYTHONDONTWRITEBYTECODE=1

cp -rL "$source/clients/python" "$work/python"
cd "$work/python"
# Debian's Python has Debian's packages.
/usr/bin/python3 -c 'from setuptools.build_meta import build_wheel; print(build_wheel("."))' \
    >"$work/log" 2>&1 || fail "no package"
wheel=$(echo "$PWD"/*.whl)
[[ $(/usr/bin/python3 -m zipfile -l "$wheel") == *plix/py.typed* ]] || fail "the package has no types"
for program in "$source"/examples/python/*.py; do
    MYPYPATH=. mypy --strict --cache-dir="$work/mypy" plix "$program" || fail "the types of $program"
done

/usr/bin/python3 -c 'import json; print(json.dumps({"nodes": {"player:queue": {"rows": [
    {"title": f"Track {index}", "value": {"string_": f"media:/{index}"}} for index in range(450)]}}}))' \
    >"$work/device.json"
start_device "$1" --state "$work/state" --log-level warn --device "$work/device.json" \
    --set "settings:/webserver/port=$(free_port)" --set "settings:/webserver/httpsPort=$(free_port)"
export PYTHONPATH=$wheel
/usr/bin/python3 "$source/tests/clients/test_plix.py" "http://127.0.0.1:$http_port" \
    "https://127.0.0.1:$https_port" "$work/state/development-ca/ca.pem" "$source/examples/python"
stop_device
