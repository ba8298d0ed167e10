// A device of its own for a test file: plixhost with its own state directory and free ports.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { hostname, tmpdir } from 'node:os';
import { fileURLToPath } from 'node:url';
import { join } from 'node:path';
import { Agent, request } from 'node:https';

const root = fileURLToPath(new URL('../..', import.meta.url));
const program = process.env.PLIXHOST ?? join(root, 'build/bin/plixhost');
// Generous for a sanitizer build on a busy machine; a test that passes never waits for it.
const START_MS = 60_000;
const HTTPS_MS = 15_000;
const ATTEMPTS = 3;
const STOP_MS = 20_000;
// The device's certificate is signed by its own development CA.
const agent = new Agent({ rejectUnauthorized: false, keepAlive: false });

export const webRoot = join(root, 'web');

async function freePort() {
    const server = createServer().listen(0, '127.0.0.1');
    await once(server, 'listening');
    const { port } = server.address();
    server.close();
    await once(server, 'close');
    return port;
}

const lockFile = join(tmpdir(), 'plix-test.lock');

/**
 * Runs `work` while no other test makes a device certificate: those have their files under fixed
 * names. The lock is a QLockFile's, which the other tests take.
 */
async function withCertificateLock(work) {
    for (;;) {
        try {
            writeFileSync(lockFile, `${process.pid}\nnode\n${hostname()}\n`, { flag: 'wx' });
            break;
        } catch (error) {
            if (error.code !== 'EEXIST')
                throw error;
            removeAbandonedLock();
            await new Promise(resolve => setTimeout(resolve, 50));
        }
    }
    try {
        return await work();
    } finally {
        rmSync(lockFile, { force: true });
    }
}

function removeAbandonedLock() {
    try {
        process.kill(parseInt(readFileSync(lockFile, 'utf8')), 0);
    } catch (error) {
        if (error.code === 'ESRCH')
            rmSync(lockFile, { force: true });
    }
}

export class Device {
    #process = null;
    #state = mkdtempSync(join(tmpdir(), 'plix-web-test-'));
    #arguments = [];
    #log = '';

    /** @param {object} nodes, platform: of the device, as in a device file */
    static async start(nodes = {}, platform = {}) {
        const device = new Device();
        const file = join(device.#state, 'device.json');
        writeFileSync(file, JSON.stringify({ nodes, platform }));
        const [port, httpsPort] = [await freePort(), await freePort()];
        device.url = `https://127.0.0.1:${httpsPort}`;
        device.httpUrl = `http://127.0.0.1:${port}`;
        device.#arguments = [
            '--state', join(device.#state, 'state'), '--device', file, '--log-level', 'warn',
            '--set', `settings:/webserver/documentRoot=${JSON.stringify(webRoot)}`,
            '--set', `settings:/webserver/port=${port}`,
            '--set', `settings:/webserver/httpsPort=${httpsPort}`,
        ];
        try {
            await device.resume();
        } catch (error) {
            await device.end().catch(() => {});
            throw error;
        }
        return device;
    }

    /** Starts it (again), at the same ports and with the same state. */
    resume() {
        return withCertificateLock(async () => {
            for (let attempt = 1; ; attempt++) {
                await this.#start();
                try {
                    return await this.#httpsAnswers();
                } catch (error) {
                    // Any other device on this machine that starts at the same moment may have
                    // written the certificate's files in between; this one then stays without HTTPS.
                    if (attempt === ATTEMPTS)
                        throw error;
                    await this.stop();
                }
            }
        });
    }

    async #start() {
        this.#process = spawn(program, this.#arguments, { stdio: ['ignore', 'pipe', 'pipe'] });
        const { stdout, stderr } = this.#process;
        stderr.on('data', data => { this.#log = (this.#log + data).slice(-4000); });
        await new Promise((resolve, reject) => {
            const fail = reason => reject(new Error(`${program}: ${reason}\n${this.#log}`));
            const timer = setTimeout(() => fail('not ready in time'), START_MS);
            this.#process.once('error', error => fail(error.message));
            this.#process.once('exit', code => fail(`ended with status ${code}`));
            let output = '';
            stdout.on('data', data => {
                output += data;
                if (!output.startsWith('ready '))
                    return;
                clearTimeout(timer);
                resolve();
            });
        });
    }

    /** The HTTPS server comes back a moment after the start, with its certificate for this machine. */
    async #httpsAnswers() {
        const deadline = Date.now() + HTTPS_MS;
        for (;;) {
            try {
                return await this.get('settings:/device/name');
            } catch (error) {
                if (Date.now() > deadline)
                    throw new Error(`${program}: ${error.message}\n${this.#log}`);
                await new Promise(resolve => setTimeout(resolve, 50));
            }
        }
    }

    async stop() {
        if (this.#process.exitCode !== null)
            throw new Error(`plixhost ended by itself with ${this.#process.exitCode}`);
        const ended = once(this.#process, 'exit');
        const timer = setTimeout(() => this.#process.kill('SIGKILL'), STOP_MS);
        this.#process.kill('SIGTERM');
        const [code, signal] = await ended;
        clearTimeout(timer);
        if (code !== 0)
            throw new Error(`plixhost ended with ${signal ?? code}`);
    }

    async end() {
        try {
            await this.stop();
        } finally {
            rmSync(this.#state, { recursive: true });
        }
    }

    /** The value of a node, past the browser. */
    get(path) {
        return this.#ask(`/api/getData?path=${encodeURIComponent(path)}&roles=value`).then(([value]) => value);
    }

    rows(path) {
        return this.#ask(`/api/getRows?path=${encodeURIComponent(path)}&roles=title&from=0&to=99`)
            .then(({ rows }) => rows.map(([title]) => title));
    }

    set(path, value, role = 'value') {
        return this.#ask('/api/setData', JSON.stringify({ path, role, value }));
    }

    activate(path, argument = true) {
        return this.set(path, argument, 'activate');
    }

    #ask(path, body) {
        return new Promise((resolve, reject) => {
            const asking = request(this.url + path, {
                agent, method: body ? 'POST' : 'GET', headers: { 'Content-Type': 'application/json' },
            }, async response => {
                let text = '';
                for await (const data of response)
                    text += data;
                response.statusCode === 200 ? resolve(JSON.parse(text)) : reject(new Error(text));
            });
            asking.on('error', reject);
            asking.end(body);
        });
    }
}
