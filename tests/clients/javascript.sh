#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# javascript.sh PROGRAM SOURCE_FOLDER: the JavaScript client as an app has it, installed by npm, checked by
# TypeScript, bundled, and run against a device; and the example page in a browser.
set -euo pipefail

# shellcheck source-path=SCRIPTDIR source=../device.sh
. "$(dirname -- "${BASH_SOURCE[0]}")/../device.sh"
source=$2
app=$work/app

mkdir "$app"
cp -r "$source/examples/javascript/." "$app"
cp "$source/web/plix.js" "$app/page"
echo '{"type":"module"}' >"$app/package.json"
cd "$app"
npm install --offline --install-links --no-audit --no-fund "$source" >"$work/log" 2>&1 || fail "npm install"
# Node's way to find types, and that of before packages had exports.
for way in 'nodenext nodenext' 'es2022 node'; do
    read -r module resolution <<<"$way"
    tsc --strict --target es2022 --lib es2022,dom --module "$module" --moduleResolution "$resolution" tour.ts ||
        fail "tour.ts does not fit plix.d.ts"
done
for name in $(node --input-type=module -e '
    import * as plix from "plix";
    const own = ({ prototype }) => Object.getOwnPropertyNames(prototype ?? {});
    console.log([...Object.keys(plix), ...own(plix.Plix)].join("\n"))'); do
    [ "$name" = constructor ] || grep -qw "$name" tour.ts || fail "tour.ts does not use $name"
done
cat >run.js <<'RUN'
import { Plix } from "plix";
import { tour } from "./tour.js";
console.log(await tour(new Plix(process.argv[2])));
RUN
esbuild --bundle --format=esm --log-level=error --platform=node --outfile=bundle.js run.js

start_device "$1" --state "$work/state" --log-level warn \
    --set "settings:/webserver/documentRoot=\"$app/page\"" \
    --set "settings:/webserver/port=$(free_port)" --set "settings:/webserver/httpsPort=$(free_port)"
device=http://127.0.0.1:$http_port
for program in run.js bundle.js; do
    diff - <(node "$program" "$device" 2>&1) <<'EXPECTED' || fail "$program"
Volume 100 true
written {"i32_":21}
followed 21
listed 1 true
queue true
event 2,1
exact bigint 9007199254740993
refused outOfRange 500
online true
EXPECTED
done
[ "$(node control.mjs "$device" set player:player/volume 33)" = '{"i32_":33}' ] || fail control.mjs
coproc node follow-volume.mjs "$device" 2>/dev/null
follower=$COPROC_PID
read -r volume <&"${COPROC[0]}"
kill "$follower"
[ "$volume" = 33 ] || fail follow-volume.mjs

node --input-type=module - "$source" "https://127.0.0.1:$https_port" <<'PAGE' || fail "the page"
const [folder, url] = process.argv.slice(2);
const { launch } = await import(`${folder}/tests/web/browser.mjs`);
const browser = await launch();
const page = await browser.newPage({ ignoreHTTPSErrors: true });
await page.goto(`${url}/`);
await page.click("#play");
await page.getByText("playing", { exact: true }).waitFor();
await page.waitForFunction(() => document.querySelector("#volume").value === "33");
await browser.close();
PAGE
stop_device
