// SPDX-License-Identifier: MIT

// Runs the console exchanges of documents against a device that has just been started, and compares
// what comes back: node exchanges.mjs FILE.yaml FILE.md...  PLIXHOST: the program. What curl sends and
// gets has to fit the OpenAPI description FILE.yaml.
//
// In a block marked "console", a line that begins with "$ " is a command, and what follows up to the
// next one is what it prints; "…" stands for any text. The commands of a document share one shell.

import { spawnSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { fileURLToPath } from "node:url";
import { Device } from "../web/device.mjs";

function exchangesOf(text) {
    const exchanges = [];
    for (const [, block] of text.matchAll(/^```console\n([^]*?)^```$/gm)) {
        for (const line of block.trimEnd().split("\n")) {
            if (line.startsWith("$ ")) exchanges.push({ command: line.slice(2), expected: [] });
            else exchanges.at(-1).expected.push(line);
        }
    }
    return exchanges;
}

// Runs the commands in one shell; gives what each has printed. The folder gets a trace of each curl.
function run(commands, device, traces) {
    const curl = `curl() { command curl -s --trace "$(mktemp ${traces}/XXXXXX)" "$@"; }`;
    const script = ["exec 2>&1", curl]
        .concat(commands.flatMap((command) => ["printf '\\0'", command]))
        .join("\n")
        .replaceAll(":8080", `:${new URL(device.httpUrl).port}`)
        .replaceAll(":8443", `:${new URL(device.url).port}`)
        .replaceAll(/(~|\$HOME)\/\.local\/state\/plix/g, device.state);
    const result = spawnSync("bash", ["-c", script], { encoding: "utf8", timeout: 60000 });
    return result.stdout.replaceAll("\r", "").split("\0").slice(1);
}

function matches(expected, printed) {
    const pattern = expected.split("…").map((part) => part.replace(/[\\^$.*+?()[\]{}|]/g, "\\$&"));
    return new RegExp(`^${pattern.join("[^]*?")}$`).test(printed);
}

// Debian's validator is for Debian's Python.
function fitsDescription(description, traces) {
    const checker = fileURLToPath(new URL("openapi.py", import.meta.url));
    const { status } = spawnSync("/usr/bin/python3", [checker, description, traces], { stdio: "inherit" });
    return status === 0;
}

async function check(file, description) {
    const traces = mkdtempSync(`${tmpdir()}/plix-docs-`);
    const device = await Device.start();
    const exchanges = exchangesOf(readFileSync(file, "utf8"));
    const printed = run(exchanges.map(({ command }) => command), device, traces);
    await device.end();

    let failures = 0;
    exchanges.forEach(({ command, expected }, index) => {
        const wanted = expected.join("\n");
        const got = (printed[index] ?? "(nothing ran)").trimEnd();
        if (matches(wanted, got)) return;
        ++failures;
        console.error(`${file}: $ ${command}\n  expected: ${wanted}\n  printed:  ${got}`);
    });
    console.log(`${file}: ${exchanges.length} exchanges, ${failures} differ`);
    const fits = fitsDescription(description, traces);
    rmSync(traces, { recursive: true });
    return failures === 0 && fits && exchanges.length > 0;
}

const [description, ...files] = process.argv.slice(2);
let good = files.length > 0;
for (const file of files) good = (await check(file, description)) && good;
process.exit(good ? 0 : 1);
