// SPDX-License-Identifier: MIT

// Pages of other origins, which a name of its own makes another host of the same machine.

import assert from 'node:assert/strict';
import { once } from 'node:events';
import { readFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { launch } from './browser.mjs';
import { Device, until, webRoot } from './device.mjs';

const script = readFileSync(join(webRoot, 'plix.js'));
const servers = [];
let device, browser, allowed, foreign;

async function serve() {
    const server = createServer(({ url }, response) => {
        const isScript = url === '/plix.js';
        response.setHeader('Content-Type', isScript ? 'text/javascript' : 'text/html');
        response.end(isScript ? script : '<!doctype html>');
    }).listen(0, '127.0.0.1');
    servers.push(server);
    await once(server, 'listening');
    return `http://localhost:${server.address().port}`;
}

async function open(origin) {
    const page = await (await browser.newContext({ ignoreHTTPSErrors: true })).newPage();
    await page.goto(origin);
    return page;
}

before(async () => {
    [allowed, foreign] = [await serve(), await serve()];
    device = await Device.start({ 'settings:/webserver/allowedOrigins': { value: [allowed] } });
    browser = await launch();
});
after(async () => {
    await browser?.close();
    servers.forEach(server => server.close());
    await device?.end();
});

test('a page of an allowed origin reads, writes and follows', async () => {
    const page = await open(allowed);
    const seen = await page.evaluate(async base => {
        const { Plix } = await import('/plix.js');
        const plix = new Plix(base);
        await plix.set('player:player/volume', 20);
        return new Promise((resolve, reject) => {
            const values = [];
            plix.watch('player:player/volume', volume => {
                values.push(volume);
                if (volume === 20)
                    plix.set('player:player/volume', 21);
                else
                    resolve(values);
            }, reject);
        });
    }, device.httpUrl);
    assert.deepEqual(seen, [20, 21]);
});

test('a page of another origin changes nothing', async () => {
    const page = await open(foreign);
    await device.set('player:player/volume', 30);
    const name = await device.get('settings:/device/name');
    for (const base of [device.httpUrl, device.url]) {
        const [read, written] = await page.evaluate(async url => {
            const { Plix } = await import('/plix.js');
            const plix = new Plix(url);
            const fault = promise => promise.then(() => 'none', error => error.name);
            const outcomes = [await fault(plix.get('player:player/volume')),
                await fault(plix.set('player:player/volume', 31))];
            const fields = new URLSearchParams(
                { path: 'settings:/device/name', role: 'value', value: 'foreign' });
            const image = new FormData();
            image.append('file', new Blob(['foreign']), 'image.bin');
            navigator.sendBeacon(`${url}/api/setData`, fields);
            await Promise.all([
                fetch(`${url}/api/setData`, { method: 'POST', mode: 'no-cors', body: fields }),
                fetch(`${url}/x?firmwareupdate=1`, { method: 'POST', mode: 'no-cors', body: image }),
                fetch(`${url}/api/setData?path=player:player/volume&role=value&value=31`,
                    { mode: 'no-cors' }),
            ]);
            return outcomes;
        }, base);
        assert.deepEqual([read, written], ['offline', 'offline']);
    }
    // Also as a form, from a page that is sandboxed.
    await page.evaluate(url => {
        const frame = document.createElement('iframe');
        frame.sandbox = 'allow-forms allow-scripts';
        frame.srcdoc = `<form method=post action=${url}/api/setData>
            <input name=path value=settings:/device/name><input name=role value=value>
            <input name=value value=foreign></form><script>document.forms[0].submit()</script>`;
        document.body.append(frame);
    }, device.httpUrl);
    await until(() => (device.log.match(/rejecting message: origin=/g) ?? []).length >= 9, 'the log');
    assert.equal(await device.get('settings:/device/name'), name);
    assert.equal(await device.get('player:player/volume'), 30);
    assert.equal((await device.get('firmware:update')).state, 'idle');

    // A link is none of this.
    await page.setContent(`<a href="${device.url}/index.html">to the device</a>`);
    await page.click('a');
    await page.waitForURL(`${device.url}/index.html`);
});
