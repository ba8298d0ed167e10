// Runs the console exchanges of documents against a device that has just been started, and compares
// what comes back: node exchanges.mjs FILE.md...  PLIXHOST: the program.
//
// In a block marked "console", a line that begins with "$ " is a command, and what follows up to the
// next one is what it prints; "…" stands for any text. The commands of a document share one shell.

import { spawnSync } from "node:child_process";
import { readFileSync } from "node:fs";
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

// Runs the commands in one shell; gives what each has printed.
function run(commands, device) {
    const script = ["exec 2>&1", 'curl() { command curl -s "$@"; }']
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

async function check(file) {
    const device = await Device.start();
    const exchanges = exchangesOf(readFileSync(file, "utf8"));
    const printed = run(exchanges.map(({ command }) => command), device);
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
    return failures === 0 && exchanges.length > 0;
}

let good = process.argv.length > 2;
for (const file of process.argv.slice(2)) good = (await check(file)) && good;
process.exit(good ? 0 : 1);
