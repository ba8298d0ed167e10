// SPDX-License-Identifier: MIT

// load.mjs SECONDS DESCRIPTORS [CHECKER]: puts a device, which can open so many descriptors, under load
// and compares descriptors, pipes, temporary files and memory before and after. Ends with status 1 when
// an answer was wrong or missing, or something is left behind.

import { execFile } from 'node:child_process';
import { createHash, randomBytes } from 'node:crypto';
import { mkdirSync, readdirSync, readFileSync, statSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { promisify } from 'node:util';
import { Device, longTurns, webRoot } from '../web/device.mjs';
import { Client, Disconnected, sleep, within } from './client.mjs';

const [seconds, descriptorLimit] = process.argv.slice(2, 4).map(Number);
// A program that watches the device's memory makes it slow, and has its memory counted in.
const checker = process.argv[4];
const patience = checker ? 120_000 : 30_000;
// What the allocator may keep between pieces that are in use, and what the certificate of the moment
// or a log line takes; a leak of 64 bytes in each of the short form's requests would be more.
const memoryToleranceKiB = 4096;

const big = randomBytes(16 << 20);
const readable = '/tmp/load-readable/';
const sha256 = bytes => createHash('sha256').update(bytes).digest('hex');
const indexPage = readFileSync(join(webRoot, 'index.html'));

function equal(actual, expected, what) {
    if (String(actual) !== expected)
        throw new Error(`${what}: ${String(actual).slice(0, 200)} instead of ${expected.slice(0, 200)}`);
}

let device;
const open = (tls = false) => Client.open({ port: new URL(tls ? device.url : device.httpUrl).port, tls, patience });
const getValue = path => `/api/getData?path=${path}&roles=value`;
const setValue = (path, value) => `/api/setData?path=${path}&role=value&value=${value}`;

/** What the clients do: how many of each kind at a time, and one visit. `node` is the visitor's own. */
const traffic = {
    values: [4, async node => {
        const client = await open();
        for (let i = 0; i < 50; ++i) {
            const written = await client.ask(setValue(node, i));
            equal(`${written.status} ${written.body}`, `200 {"i32_":${i}}`, 'setData');
            const read = await client.ask(getValue(node));
            equal(`${read.status} ${read.body}`, `200 [{"i32_":${i}}]`, 'getData');
        }
        client.leave();
    }],

    polls: [20, async node => {
        let poller = await open();
        const other = await open();
        const list = encodeURIComponent(JSON.stringify([{ path: node }]));
        const queue = JSON.parse((await other.ask(`/api/event/modifyQueue?subscribe=${list}`)).body);
        const poll = timeout => `/api/event/pollQueue?queueId=${encodeURIComponent(queue)}&timeout=${timeout}`;
        for (let i = 0; i < 20; ++i) {
            poller.request(poll(20));
            // The second time the earlier poll's client has gone. An answer on an established
            // connection says that what was sent before on others has arrived.
            if (i % 5 === 1 || i % 5 === 2) {
                await other.ask(getValue(node));
                const next = await open();
                await next.ask(getValue(node));
                if (i % 5 === 2)
                    poller.leave();
                next.request(poll(20));
                await other.ask(getValue(node));
                if (i % 5 === 1) {
                    equal((await poller.reply()).body, '[]\n', 'a poll that was renewed');
                    poller.leave();
                }
                poller = next;
            }
            // So that the value differs from the last one, also from the last visitor's.
            const value = i + 100 * (1 + i % 2);
            await sleep(Math.random() * 20);
            await other.ask(setValue(node, value));
            equal((await poller.reply()).body, `[{"path":"${node}","value":{"i32_":${value}}}]\n`, 'a poll');
        }
        equal((await poller.ask(poll(1))).body, '[]\n', 'a poll that ran out');
        poller.leave();
        other.leave();
    }],

    eventStreams: [5, async node => {
        const other = await open();
        const list = encodeURIComponent(JSON.stringify([{ path: node }]));
        let client;
        let place = '';
        const follow = async () => {
            client = await open();
            client.request(`/api/event/pollQueue?subscribe=${list}`,
                { headers: `Accept: text/event-stream\r\nLast-Event-ID: ${place}\r\n` });
            await client.head();
            return String(await client.chunk());
        };
        const next = async () => {
            for (;;) {
                const event = String(await client.chunk());
                if (!event.startsWith('event: heartbeat\n'))
                    return event;
            }
        };
        [, place] = /^retry: 2000\nevent: queue\nid: (\S+)\n/.exec(await follow());
        for (let i = 0; i < 20; ++i) {
            const value = i + 100 * (1 + i % 2);
            await other.ask(setValue(node, value));
            // What it did not read is sent again.
            if (i % 4 === 3) {
                client.leave();
                equal(await follow(), 'retry: 2000\n\n', 'a stream that goes on');
            }
            const event = await next();
            [, place] = /^id: (\S+)\n/.exec(event) ?? [];
            equal(event, `id: ${place}\ndata: [{"path":"${node}","value":{"i32_":${value}}}]\n\n`,
                'a stream of events');
        }
        client.leave();
        other.leave();
    }],

    files: [2, async () => {
        const client = await open();
        const whole = await client.ask(`/file/stream/${readable}big`);
        equal(`${whole.status} ${sha256(whole.body)}`, `200 ${sha256(big)}`, 'a file');
        const part = await client.ask(`/file/stream/${readable}big`, { headers: 'Range: bytes=99-9999999\r\n' });
        equal(`${part.status} ${sha256(part.body)}`, `206 ${sha256(big.subarray(99, 10_000_000))}`, 'a range');
        client.leave();
    }],

    slowReaders: [3, async () => {
        const client = await open();
        client.request(`/file/stream/${readable}big`);
        const { headers } = await client.head();
        const hash = createHash('sha256');
        for (let left = Number(headers['content-length']); left > 0;) {
            const part = await client.part();
            hash.update(part);
            left -= part.length;
            await sleep(Math.random() * 4);
        }
        equal(hash.digest('hex'), sha256(big), 'a file that is read slowly');
        client.leave();
    }],

    slowSenders: [5, async node => {
        const client = await open();
        const body = `{"path":"${node}","roles":["title"]}`;
        const request = 'POST /api/getData HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n' +
            `Content-Length: ${body.length}\r\n\r\n${body}`;
        for (const byte of request) {
            client.send(byte);
            await sleep(1);
        }
        const reply = await client.reply();
        equal(`${reply.status} ${reply.body}`, `200 ["${node}"]`, 'a request that comes byte by byte');
        client.leave();
    }],

    streams: [3, async () => {
        const client = await open();
        const track = '/api/stream/media:/morning-tide.wav';
        const [fromFile, fromPipe] = [await client.ask(track), await client.ask(`${track}?via=pipe`)];
        equal(`${fromPipe.status} ${sha256(fromPipe.body)}`, `200 ${sha256(fromFile.body)}`, 'a stream');
        client.leave();
    }],

    leavers: [6, async node => {
        const requests = [
            `GET /file/stream/${readable}big HTTP/1.1\r\n`,
            'GET /api/stream/media:/live HTTP/1.1\r\n',
            'GET /api/stream/media:/morning-tide.wav?via=pipe HTTP/1.1\r\n',
            `GET ${getValue(node)} HTTP/1.1\r\n`,
            'POST /api/setData HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: 100000\r\n',
        ];
        const client = await open();
        client.send(`${requests[Math.floor(Math.random() * requests.length)]}Host: localhost\r\n\r\n{"path":`);
        await Promise.race([client.part().catch(() => {}), sleep(Math.random() * 200)]);
        client.leave();
    }],

    uploads: [1, async () => {
        const image = randomBytes(2 << 20);
        const body = Buffer.concat([Buffer.from('--B\r\nContent-Disposition: form-data; name="file"\r\n\r\n'),
                                    image, Buffer.from('\r\n--B--\r\n')]);
        const headers = 'Content-Type: multipart/form-data; boundary=B\r\n';
        const client = await open();
        // The one before may have been left a moment ago, and keeps the updater until that is noticed.
        await until(async () => {
            const { status } = await client.ask('/?firmwareupdate=1', { method: 'POST', headers, body });
            if (status !== 503)
                equal(status, '404', 'an upload');
            return status !== 503;
        }, 'the updater');
        await until(async () => (await client.ask(getValue('firmware:update'))).body.includes(sha256(image)), 'the image');
        client.request('/?firmwareupdate=1', { method: 'POST', headers, body: body.subarray(0, -1000) });
        await sleep(Math.random() * 100);
        client.leave();
    }],

    // A new certificate ends the connections of the old one.
    pages: [3, async () => {
        const client = await open(true);
        for (let i = 0; i < 10; ++i) {
            const { status, body } = await client.ask('/index.html');
            equal(`${status} ${sha256(body)}`, `200 ${sha256(indexPage)}`, 'a page');
        }
        client.leave();
    }],

    addresses: [1, async () => {
        const address = `10.77.0.${1 + Math.floor(Math.random() * 250)}`;
        for (const action of ['add', 'del']) {
            await promisify(execFile)('ip', ['address', action, `${address}/32`, 'dev', 'lo']);
            await until(async () => await certifies(address) === (action === 'add'), `a certificate to ${action} ${address}`);
            await sleep(1000);
        }
    }],
};

async function certifies(address) {
    const client = await open(true).catch(() => null);
    const names = client?.certificate()?.subjectaltname?.split(/, |:/);
    client?.leave();
    return names?.includes(address);
}

async function until(condition, what) {
    const deadline = Date.now() + patience;
    while (!await condition()) {
        if (Date.now() > deadline)
            throw new Error(`${what}: not within ${patience} ms`);
        await sleep(50);
    }
}

const visits = {};
const failures = [];

async function runTraffic(ms) {
    const deadline = Date.now() + ms;
    const loops = Object.entries(traffic).flatMap(([kind, [count, visit]]) =>
        Array.from({ length: count }, async (_, number) => {
            while (Date.now() < deadline && failures.length < 20) {
                try {
                    await visit(`load:${kind}${number}`);
                    visits[kind] = (visits[kind] ?? 0) + 1;
                } catch (error) {
                    if (!(error instanceof Disconnected && kind === 'pages'))
                        failures.push(`${kind}: ${error.message}`);
                }
            }
        }));
    await Promise.all(loops);
}

/**
 * More clients than the device can have: as many as it can are answered, the others wait and have
 * their turn when some of the first have left.
 */
async function flood() {
    const title = '/api/getData?path=load:values0&roles=title';
    const clients = [];
    const answered = [];
    for (let i = 0; i < descriptorLimit + 100; ++i) {
        const client = await open();
        clients.push(client);
        client.request(title);
        client.answer = client.reply().then(({ body }) => {
            equal(body, '["load:values0"]', 'a client in a crowd');
            answered.push(client);
        });
        client.answer.catch(() => {});
    }
    for (let before = -1; before < answered.length;) {
        before = answered.length;
        await sleep(checker ? 5000 : 1000);
    }
    const crowd = answered.length;
    // Those that have been idle longest make room for others.
    if (crowd < descriptorLimit / 2)
        throw new Error(`${crowd} of ${clients.length} clients were served with ${descriptorLimit} descriptors`);
    answered.slice(1, 500).forEach(client => client.leave());
    await Promise.all(clients.map(client => client.answer));
    clients.forEach(client => client.leave());
    return crowd;
}

const pid = () => readFileSync('/tmp/load-pid', 'utf8').trim();
const log = () => readFileSync('/tmp/load-log', 'utf8');

/** Without what lies there of the former /tmp (see owntmp), which others may be writing to. */
function temporaryFiles() {
    const { dev } = statSync('/tmp');
    const isOwn = ({ name }) => statSync(`/tmp/${name}`, { throwIfNoEntry: false })?.dev === dev;
    return readdirSync('/tmp', { withFileTypes: true }).filter(isOwn).flatMap(entry =>
        [entry.name, ...entry.isDirectory() ? readdirSync(`/tmp/${entry.name}`, { recursive: true }) : []]
            .map((name, index) => index ? `${entry.name}/${name}` : name));
}

function possessions() {
    const [, memory] = readFileSync(`/proc/${pid()}/status`, 'utf8').match(/VmRSS:\s*(\d+)/);
    return {
        descriptors: readdirSync(`/proc/${pid()}/fd`).length,
        files: temporaryFiles(),
        memory: Number(memory),
    };
}

/** Everybody has left, and the device has noticed. */
async function settled() {
    for (let last; last !== possessions().descriptors;) {
        last = possessions().descriptors;
        await sleep(5000);
    }
}

async function compare(before) {
    await settled();
    const after = possessions();
    if (after.descriptors > before.descriptors)
        failures.push(`${after.descriptors} descriptors are open instead of ${before.descriptors}`);
    failures.push(...after.files.filter(file => !before.files.includes(file)).map(file => `${file} was left`));
    if (!checker && after.memory > before.memory + memoryToleranceKiB)
        failures.push(`memory has grown by ${after.memory - before.memory} KiB`);
    const said = log().match(/file descriptors/g)?.length ?? 0;
    if (said > floods)
        failures.push(`the shortage of descriptors was logged ${said} times in ${floods} shortages`);
    failures.push(...log().match(/^.*\b(ERROR|FATAL|CRITICAL)\b.*$/gm) ?? [], ...longTurns(log()));
    console.log(`descriptors ${before.descriptors} -> ${after.descriptors}, ` +
        `memory ${before.memory} -> ${after.memory} KiB`);
}

let floods = 0;
async function attempt(work) {
    await work().catch(error => failures.push(`${work.name}: ${error.message}`));
}

mkdirSync(readable);
writeFileSync(join(readable, 'big'), big);
const names = Object.entries(traffic).flatMap(([kind, [count]]) => Array.from({ length: count }, (_, i) => kind + i));
device = await Device.start(Object.fromEntries(names.map(name => [`load:${name}`, { title: `load:${name}`, value: 0 }])),
                            { readPathPrefix: readable });
// The first round takes what is taken once: caches, and the memory for so many clients.
await runTraffic(seconds * 100);
await attempt(flood);
++floods;
await settled();
const before = possessions();
await runTraffic(seconds * 800);
await attempt(flood);
++floods;
await compare(before);
await within(patience, device.end(), 'the end of the device').catch(error => failures.push(error.message));
console.log(`visits: ${JSON.stringify(visits)}`);
for (const failure of failures)
    console.error(`FAIL ${failure}`);
process.exit(failures.length ? 1 : 0);
