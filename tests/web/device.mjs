// SPDX-License-Identifier: MIT

// A device of its own for a test file: plixhost with its own state directory and free ports.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { hostname, tmpdir } from 'node:os';
import { fileURLToPath } from 'node:url';
import { join } from 'node:path';
import { connect } from 'node:tls';
import { Plix } from '../../web/plix.js';

const root = fileURLToPath(new URL('../..', import.meta.url));
const program = process.env.PLIXHOST ?? join(root, 'build/bin/plixhost');
// Generous for a sanitizer build on a busy machine; a test that passes never waits for it.
const START_MS = 60_000;
const LIMIT_MS = 15_000;
const ATTEMPTS = 3;
const STOP_MS = 20_000;

export const webRoot = join(root, 'web');

export async function freePort() {
    const server = createServer().listen();
    await once(server, 'listening');
    const { port } = server.address();
    server.close();
    await once(server, 'close');
    return port;
}

/** Waits until `condition` holds (is truthy and does not throw) and returns what it gave. */
export async function until(condition, what, limit = LIMIT_MS) {
    const deadline = Date.now() + limit;
    let fault = 'it did not come about';
    for (;;) {
        try {
            const result = await condition();
            if (result)
                return result;
        } catch (error) {
            fault = error.message;
        }
        if (Date.now() > deadline)
            throw new Error(`waited for ${what}: ${fault}`);
        await new Promise(resolve => setTimeout(resolve, 20));
    }
}

/**
 * The lines about turns of the event loop that took too much processor time. Others may be long because
 * this machine is busy. Sanitizers and the like make everything slower.
 */
export function longTurns(log) {
    const limit = Number(process.env.PLIX_TURN_LIMIT_MS ?? 100);
    return [...log.matchAll(/^.* WARN .* (\d+) ms of processor time: .*$/gm)]
        .filter(([, ms]) => ms >= limit).map(([line]) => line);
}

const lockFile = join(tmpdir(), 'plix-test.lock');

/**
 * Held while a device makes its certificate, whose files have fixed names. The lock is a QLockFile's,
 * which the other tests take; one that was abandoned is removed.
 */
function takeLock() {
    const holder = existsSync(lockFile) && parseInt(readFileSync(lockFile, 'utf8'));
    if (holder && !existsSync(`/proc/${holder}`))
        rmSync(lockFile, { force: true });
    writeFileSync(lockFile, `${process.pid}\nnode\n${hostname()}\n`, { flag: 'wx' });
    return true;
}

/** The device, and a client of its data model. */
export class Device extends Plix {
    #process = null;
    #ended = null;
    #folder = mkdtempSync(join(tmpdir(), 'plix-web-test-'));
    #arguments = [];
    #log = '';
    state = join(this.#folder, 'state');

    constructor(port, httpsPort) {
        super(`http://127.0.0.1:${port}`);
        this.httpUrl = `http://127.0.0.1:${port}`;
        this.url = `https://127.0.0.1:${httpsPort}`;
        this.#arguments = [
            '--state', this.state, '--log-level', 'warn',
            '--set', `settings:/webserver/port=${port}`,
            '--set', `settings:/webserver/httpsPort=${httpsPort}`,
        ];
    }

    /** @param {object} nodes, platform, more: of the device, as in a device file */
    static async start(nodes = {}, platform = {}, more = {}) {
        const device = new Device(await freePort(), await freePort());
        const file = join(device.#folder, 'device.json');
        writeFileSync(file, JSON.stringify({ nodes, platform, ...more }));
        device.#arguments.push('--device', file);
        try {
            await device.resume();
        } catch (error) {
            await device.end().catch(() => {});
            throw error;
        }
        return device;
    }

    /** Starts it (again), at the same ports and with the same state. */
    async resume() {
        await until(takeLock, 'other devices', Infinity);
        try {
            for (let attempt = 1; ; attempt++) {
                await this.#start();
                const hasHttps = await until(() => this.#hasHttps(), 'HTTPS').catch(error => error);
                if (hasHttps === true)
                    return;
                // Any other device on this machine that starts at the same moment may have
                // written the certificate's files meanwhile; this one then has no HTTPS.
                if (attempt === ATTEMPTS)
                    throw hasHttps;
                await this.stop();
            }
        } finally {
            rmSync(lockFile, { force: true });
        }
    }

    /** Waits until it is back after a restart that `act` brings about. */
    async restarted(act) {
        const before = await this.get('device:restart');
        await until(takeLock, 'other devices', Infinity);
        try {
            await act();
            await until(async () => await this.get('device:restart') !== before, 'the restart', START_MS);
            await until(() => this.#hasHttps(), 'HTTPS');
        } finally {
            rmSync(lockFile, { force: true });
        }
    }

    async #start() {
        this.#process = spawn(program, this.#arguments, { stdio: ['ignore', 'pipe', 'pipe'] });
        const { stdout, stderr } = this.#process;
        stderr.on('data', data => { this.#log += data; });
        // Once all that it wrote has been read.
        this.#ended = once(this.#process, 'close');
        // The first that it prints is that it is ready.
        const outcome = await Promise.race([
            once(stdout, 'data', { signal: AbortSignal.timeout(START_MS) }), this.#ended,
        ]);
        if (!String(outcome).startsWith('ready '))
            throw new Error(`${program} ended: ${outcome}\n${this.#log.slice(-4000)}`);
    }

    /** The HTTPS server comes back a moment after the start, with a certificate of its own. */
    async #hasHttps() {
        const { hostname: host, port } = new URL(this.url);
        // The certificate is signed by the device's own development CA.
        const socket = connect({ host, port, rejectUnauthorized: false });
        await once(socket, 'secureConnect');
        socket.destroy();
        return true;
    }

    /** The end of what it has logged. */
    get log() {
        return this.#log;
    }

    async stop() {
        const stopped = this.#process;
        stopped.kill('SIGTERM');
        setTimeout(() => stopped.kill('SIGKILL'), STOP_MS).unref();
        const [code, signal] = await this.#ended;
        if (code !== 0)
            throw new Error(`plixhost ended with ${signal ?? code}\n${this.#log.slice(-4000)}`);
        const turns = longTurns(this.#log);
        if (turns.length)
            throw new Error(turns.join('\n'));
    }

    async end() {
        try {
            await this.stop();
        } finally {
            rmSync(this.#folder, { recursive: true });
        }
    }
}
