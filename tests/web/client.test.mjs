// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { after, before, describe, it } from 'node:test';
import { Plix } from '../../web/plix.js';
import { Device, until } from './device.mjs';

// More than two requests' worth of rows.
const QUEUE = Array.from({ length: 450 }, (_, index) => ({
    title: `Track ${index}`, value: { string_: `media:/track-${index}.wav` },
}));

function deferred() {
    const made = {};
    made.promise = new Promise(resolve => { made.resolve = resolve; });
    return made;
}

describe('plix.js', () => {
    let device, plix;

    before(async () => {
        device = await Device.start({
            'player:queue': { rows: QUEUE },
            'lab:big': { value: { i64_: 0 } }, 'lab:text': { value: { string_: '' } },
        });
        plix = new Plix(device.httpUrl);
    });
    after(() => device?.end());

    it('reads roles, and tells errors by name', async () => {
        const nowhere = new Plix('http://127.0.0.1:1');
        assert.equal(await plix.get('settings:/ui/language'), 'en');
        assert.deepEqual(await plix.get('settings:/ui/language', ['title', 'value']),
            { title: 'Language', value: { string_: 'en' } });
        assert.equal((await plix.get('player:player/volume', '@all')).maximum, 100);
        await assert.rejects(plix.get('nobody:x'), { name: 'workerNotFound', status: 500 });
        await assert.rejects(plix.set('player:player/volume', 101), { name: 'outOfRange' });
        await assert.rejects(plix.activate('player:player/seek', 'x'), { status: 500 });
        await assert.rejects(nowhere.get('player:player/volume'), { name: 'offline', status: 0 });
        for (const secret of ['documentRoot', 'httpsPrivateKey', 'port'])
            await assert.rejects(plix.get(`settings:/webserver/${secret}`), { status: 500 });
    });

    it('reads a long list that changes meanwhile in one version', async () => {
        const { fetch } = globalThis;
        let requests = 0;
        globalThis.fetch = async (...request) => {
            const response = await fetch(...request);
            if (++requests === 1)
                await device.activate('player:queue/remove', { index: 0 });
            return response;
        };
        try {
            const rows = await plix.list('player:queue', ['title']);
            assert.deepEqual(rows, QUEUE.slice(1).map(({ title }) => ({ title })));
        } finally {
            globalThis.fetch = fetch;
        }
    });

    it('knows integers that no number can hold', async () => {
        const big = -9007199254740993n;
        const text = '"\\" -9007199254740993, 1e3';
        assert.deepEqual(await plix.set('lab:big', { i64_: big }), { i64_: big });
        assert.equal(await plix.get('lab:big'), big);
        assert.deepEqual(await plix.set('lab:text', text), { string_: text });
        assert.equal(await plix.get('lab:text'), text);
    });

    it('takes addresses with a slash, and says what is wrong with others', async () => {
        assert.equal(await new Plix(`${device.httpUrl}//`).get('settings:/ui/language'), 'en');
        for (const base of ['localhost:8080', '192.168.1.5', '/device'])
            assert.throws(() => new Plix(base), error => error.name === 'invalidBase' && !!error.cause);
        await assert.rejects(new Plix('http://127.0.0.1:1').get('x:y'), error => !!error.cause);
    });

    it('follows what can be followed, by any name and whatever listeners throw', async t => {
        const reported = t.mock.method(console, 'error', () => {});
        const requests = t.mock.method(globalThis, 'fetch');
        const newQueues = () => requests.mock.calls.filter(({ arguments: [url, options] }) =>
            url.endsWith('modifyQueue') && !options.body.includes('queueId')).length;
        const refused = [];
        const heard = { current: [], legacy: [], list: [] };
        const following = new Plix(device.httpUrl);
        const stops = ['', 'x'.repeat(1025), `/ui${'x'.repeat(1022)}`].map(path =>
            following.watch(path, assert.fail, error => refused.push(error.name)));
        stops.push(
            following.watch('player:player/volume', volume => {
                heard.current.push(volume);
                throw new Error('of the app');
            }),
            following.watch('/player/volume', volume => heard.legacy.push(volume)),
            following.watchList('player:queue', ['title'], rows => {
                heard.list.push(rows.length);
                throw new Error('of the app');
            }));
        await until(() => Object.values(heard).every(({ length }) => length === 1), 'the first values');
        for (const volume of [41, 42]) {
            await device.set('player:player/volume', volume);
            await until(() => heard.current.at(-1) === volume && heard.legacy.at(-1) === volume, volume);
        }
        for (let row = 0; row < 70; row++)
            await device.activate('player:queue/insert', { path: 'media:/copper-sky.wav' });
        await until(() => heard.list.at(-1) === heard.list[0] + 70, 'the whole list');
        stops.forEach(stop => stop());
        assert.deepEqual(refused, ['invalidPath', 'invalidPath', 'invalidPath']);
        assert.equal(reported.mock.callCount(), heard.current.length + heard.list.length);
        assert.equal(newQueues(), 1);
    });

    it('follows at once what is wanted while the queue is made', async t => {
        const { fetch } = globalThis;
        const following = new Plix(device.httpUrl);
        const stops = [];
        t.after(() => stops.forEach(stop => stop()));
        let volume;
        t.mock.method(globalThis, 'fetch', (url, options) => {
            if (url.endsWith('modifyQueue') && stops.length === 1)
                stops.push(following.watch('player:player/volume', value => { volume = value; }));
            return fetch(url, options);
        });
        stops.push(following.watch('player:player/mute', () => {}));
        await until(() => volume !== undefined, 'the volume, before the first poll is over');
    });

    it('calls nobody who has stopped', async t => {
        const called = [];
        for (const [path, method] of [
            ['player:player/volume', 'watch'], ['nobody:x', 'watch'],
            ['player:queue', 'watchList'], ['nobody:x', 'watchList'],
        ]) {
            const note = () => called.push(`${method} ${path}`);
            const [request, { fetch }] = [deferred(), globalThis];
            const mock = t.mock.method(globalThis, 'fetch', async (url, options) => {
                const response = await fetch(url, options);
                if (/get(Data|Rows)/.test(url)) {
                    stop();
                    request.resolve();
                }
                return response;
            });
            const stop = method === 'watch' ? plix.watch(path, note, note)
                                            : plix.watchList(path, ['title'], note, note);
            await request.promise;
            mock.mock.restore();
            plix.watch('', note, note)();
            await plix.get('player:player/volume');
        }
        assert.deepEqual(called, []);
    });

    // With the locks that later versions of node have, and so with a channel between its threads.
    it('lets the process end', async () => {
        const script = `
            Object.defineProperty(globalThis, 'navigator',
                { value: { locks: { request: (name, options, run) => run() } } });
            const { Plix } = await import('${new URL('../../web/plix.js', import.meta.url)}');
            const stop = new Plix('${device.httpUrl}').watch('player:player/volume', () => stop());`;
        const child = spawn(process.execPath, ['--input-type=module', '-e', script],
            { stdio: 'inherit', timeout: 60_000 });
        assert.deepEqual(await once(child, 'exit'), [0, null]);
    });
});
