import assert from 'node:assert/strict';
import { after, before, describe, it } from 'node:test';
import { Plix } from '../../web/plix.js';
import { Device } from './device.mjs';

// More than two requests' worth of rows.
const QUEUE = Array.from({ length: 450 }, (_, index) => ({
    title: `Track ${index}`, value: { string_: `media:/track-${index}.wav` },
}));

describe('plix.js', () => {
    let device, plix;

    before(async () => {
        device = await Device.start({ 'player:queue': { rows: QUEUE } });
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
});
