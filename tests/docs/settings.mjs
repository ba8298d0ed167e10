// SPDX-License-Identifier: MIT

// The table of settings tells what the device has: node settings.mjs TABLE.md SOURCE_FOLDER

import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";

const [table, folder] = process.argv.slice(2);
const types = { string_: "text", i32_: "number", i64_: "number", bool_: "truth value" };
const sources = execFileSync("find", [folder, "-name", "*.h", "-o", "-name", "*.cpp"], { encoding: "utf8" })
    .trim().split("\n").map((file) => readFileSync(file, "utf8")).join("\n");

const had = {};
const { nodes } = JSON.parse(readFileSync(`${folder}/host/default-device.json`, "utf8"));
for (const [path, { value, internal }] of Object.entries(nodes)) {
    const [member] = Object.keys(value ?? { string_: "" });
    const isList = Array.isArray(value);
    had[path] = {
        type: isList ? "list" : types[member],
        preset: value ? `\`${JSON.stringify(isList ? value : value[member])}\`` : "none",
        writer: internal ? "device" : "clients",
    };
}
const [, limits] = sources.match(/^struct ConnectionLimits \{([^}]*)\}/m);
for (const [, name, member] of sources.matchAll(/\{"(\w+)", &ConnectionLimits::(\w+)\}/g)) {
    const [, number, shift] = limits.match(`qint64 ${member} = (?:qint64\\()?(\\d+)\\)?(?: << (\\d+))?;`);
    had[`settings:/webserver/limits/${name}`] =
        { type: "number", preset: `\`${number * 2 ** (shift ?? 0)}\``, writer: "device" };
}

const told = {};
for (const [, path, type, preset, writer] of
    readFileSync(table, "utf8").matchAll(/^\| `(settings:[^`]*)` \| (.*?) \| (.*?) \| (.*?) \|/gm))
    told[path] = { type, preset, writer };

// What the sources name, and no device file has a default for, is a setting too.
const named = [...sources.matchAll(/"(settings:\/\w+\/\w+)"/g)].map(([, path]) => path);
let differences = 0;
for (const path of new Set([...Object.keys(had), ...Object.keys(told), ...named])) {
    const [inDevice, inTable] = [had, told].map((from) => JSON.stringify(from[path]));
    if (inTable && inDevice === inTable) continue;
    ++differences;
    console.error(`${path}: the device has ${inDevice}, the table says ${inTable}`);
}
console.log(`${Object.keys(told).length} settings, ${differences} differ`);
process.exit(differences ? 1 : 0);
