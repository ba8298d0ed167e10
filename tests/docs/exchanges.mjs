// Runs the console exchanges of documents against a device that has just been started, and compares
// what comes back: node exchanges.mjs PLIXHOST FILE.md...
//
// In a block marked "console", a line that begins with "$ " is a command, and what follows up to the
// next one is what it prints; "…" stands for any text. The commands of a document share one shell.

import { spawn, spawnSync } from "node:child_process";
import { once } from "node:events";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { freePort } from "../web/device.mjs";

const documentedPorts = { http: "8080", https: "8443" };

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

async function startDevice(program, home, ports) {
    const device = spawn(
        program,
        ["--set", `settings:/webserver/port=${ports.http}`,
         "--set", `settings:/webserver/httpsPort=${ports.https}`],
        { env: { ...process.env, HOME: home, XDG_STATE_HOME: "" }, stdio: ["ignore", "pipe", "inherit"] });
    // It prints when it is ready, or ends.
    await Promise.race([once(device.stdout, "data"), once(device, "exit")]);
    return device;
}

// Runs the commands in one shell; gives what each has printed.
function run(commands, home, ports) {
    const script = ["exec 2>&1", 'curl() { command curl -s "$@"; }']
        .concat(commands.flatMap((command) => ["printf '\\0'", command]))
        .join("\n")
        .replaceAll(`:${documentedPorts.http}`, `:${ports.http}`)
        .replaceAll(`:${documentedPorts.https}`, `:${ports.https}`);
    const result = spawnSync("bash", ["-c", script.replaceAll("\0", "\\0")],
                             { env: { ...process.env, HOME: home }, encoding: "utf8", timeout: 60000 });
    return result.stdout.replaceAll("\r", "").split("\0").slice(1);
}

function matches(expected, printed) {
    const pattern = expected.split("…").map((part) => part.replace(/[\\^$.*+?()[\]{}|]/g, "\\$&"));
    return new RegExp(`^${pattern.join("[^]*?")}$`).test(printed);
}

async function check(program, file) {
    const home = mkdtempSync(join(tmpdir(), "plix-docs-"));
    const ports = { http: await freePort(), https: await freePort() };
    const device = await startDevice(program, home, ports);
    const exchanges = exchangesOf(readFileSync(file, "utf8"));
    const printed = run(exchanges.map(({ command }) => command), home, ports);
    device.kill("SIGTERM");
    await once(device, "exit");
    rmSync(home, { recursive: true });

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

const [program, ...files] = process.argv.slice(2);
let good = files.length > 0;
for (const file of files) good = (await check(program, file)) && good;
process.exit(good ? 0 : 1);
