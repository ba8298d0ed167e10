// SPDX-License-Identifier: MIT

// Controls a device from the shell:
//
//     node control.mjs http://DEVICE:8080 get player:player/volume
//     node control.mjs http://DEVICE:8080 list player:queue
//     node control.mjs http://DEVICE:8080 set player:player/volume 25
//     node control.mjs http://DEVICE:8080 activate player:player/play
//
// Values are JSON.

import { Plix, fromJson, toJson } from 'plix';

const [base, verb, path, value = 'true'] = process.argv.slice(2);
const verbs = {
    get: device => device.get(path),
    list: device => device.list(path),
    set: device => device.set(path, fromJson(value)),
    activate: device => device.activate(path, fromJson(value)),
};

try {
    if (!path || !Object.hasOwn(verbs, verb))
        throw new Error(`usage: control.mjs http://DEVICE:8080 ${Object.keys(verbs).join('|')} PATH [JSON]`);
    console.log(toJson(await verbs[verb](new Plix(base))));
} catch (error) {
    console.error(`${error.name}: ${error.message}`);
    process.exitCode = 1;
}
