// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { createHash, randomBytes, X509Certificate } from 'node:crypto';
import { once } from 'node:events';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { connect } from 'node:tls';
import { open } from './browser.mjs';
import { until, webRoot } from './device.mjs';
import { device, newProfile } from './fixture.mjs';

// Of the first load. The covers are counted as requests only: they are the media's, not the pages'.
const [REQUESTS, BYTES] = [40, 120_000];

const webFile = name => readFileSync(join(webRoot, name), 'utf8');
const sha256 = bytes => createHash('sha256').update(bytes).digest('hex');
const click = (page, name) => page.getByRole('button', { name, exact: true }).click();
const choose = (page, buffer) =>
    page.setInputFiles('#image', { name: 'image', mimeType: 'application/octet-stream', buffer });

/** Through the loopback an image may be gone before Chromium first tells of it. */
async function slowLine(page, mebibytes = 12) {
    const line = await page.context().newCDPSession(page);
    await line.send('Network.emulateNetworkConditions', {
        offline: false, latency: 0, downloadThroughput: -1, uploadThroughput: mebibytes * 1024 * 1024,
    });
}

test('the first load stays within its budget', async test => {
    // In English there is no catalogue to load.
    await device.set('settings:/ui/language', 'de');
    const context = await newProfile();
    const loaded = [];
    context.on('requestfinished', request => loaded.push(request));
    const page = await open(context, '/index.html');
    await page.locator('#library .open').first().waitFor();
    await page.waitForLoadState('load');
    const files = loaded.filter(request => !request.url().includes('/api/stream/'));
    const sizes = await Promise.all(files.map(request => request.sizes()));
    const bytes = sizes.reduce((sum, { responseBodySize }) => sum + responseBodySize, 0);
    test.diagnostic(`${loaded.length} requests, ${bytes} bytes`);
    // All modules are asked for at once, not one level after another, and the rest after the first rows.
    const preloaded = await page.locator('[rel=modulepreload], script[type=module]')
        .evaluateAll(all => all.map(({ href, src }) => href ?? src));
    const later = [...webFile('js/player.js').matchAll(/import\('\.(\/\w+\.js)'\)/g)].map(([, name]) => name);
    const modules = files.map(request => request.url()).filter(url => url.endsWith('.js'));
    const [deferred, first] = [true, false].map(isLater =>
        modules.filter(url => later.some(name => url.endsWith(name)) === isLater));
    assert.equal(deferred.length, later.length);
    assert.deepEqual(preloaded.sort(), first.sort());
    assert.ok(loaded.length <= REQUESTS, `${loaded.length} requests`);
    assert.ok(bytes <= BYTES, `${bytes} bytes`);
    await device.set('settings:/ui/language', 'en');
});

test('the player page has the drawings of icons.svg', () => {
    const symbols = name => webFile(name).match(/<symbol .*<\/symbol>/g);
    assert.deepEqual(symbols('index.html').map(symbol => symbol.replace('"icon-', '"')), symbols('icons.svg'));
});

test('every page can be put on a home screen', async () => {
    const context = await newProfile();
    for (const path of ['index.html', 'player.fcgi', 'settings.fcgi', 'network.fcgi', 'update.html', 'update.fcgi', 'data.html']) {
        const page = await open(context, `/${path}`);
        const line = await context.newCDPSession(page);
        const { url, data, errors } = await line.send('Page.getAppManifest');
        assert.deepEqual([new URL(url).pathname, errors, JSON.parse(data).name], ['/manifest.json', [], 'Plix']);
    }
});

for (const javaScriptEnabled of [false, true]) {
    test(`each setting is saved by itself ${javaScriptEnabled ? 'with' : 'without'} JavaScript`, async () => {
        const page = await open(await newProfile({ javaScriptEnabled }), '/settings.fcgi');
        const name = `Kitchen ${javaScriptEnabled} <b>"&amp;"</b> $name`;
        const save = async (field, text, outcome) => {
            await page.goto('/settings.fcgi');
            // Past the browser's own check.
            await page.locator(`form:has(#${field})`).evaluate(form => { form.noValidate = true; });
            if (field === 'language')
                await page.selectOption('#language', text);
            else
                await page.fill(`#${field}`, text);
            await click(page, `Save: ${await page.locator(`label[for=${field}]`).textContent()}`);
            await page.getByText(outcome, { exact: true }).waitFor();
        };
        await device.set('settings:/player/volume', 55);
        await save('name', name, 'Device name saved');
        // What somebody else saves meanwhile stays, and the header follows the name.
        await device.set('settings:/player/volume', 56);
        await save('language', 'es', 'Language saved');
        assert.equal(await device.get('settings:/player/volume'), 56);
        await save('volume', '101', 'Default volume not saved: it goes from 0 to 100');
        await page.goto('/settings.fcgi');
        await page.locator('#deviceName').getByText(name, { exact: true }).waitFor();
        assert.equal(await page.inputValue('#name'), name);
        assert.equal(await device.get('settings:/device/name'), name);
        assert.equal(await device.get('settings:/ui/language'), 'es');
        assert.equal(await device.get('settings:/player/volume'), 56);
        await device.set('settings:/ui/language', 'en');
    });
}

test('without JavaScript the player plays, pauses and sets the volume', async () => {
    const context = await newProfile({ javaScriptEnabled: false });
    const page = await open(context);
    await page.waitForURL('**/player.fcgi');
    await device.set('settings:/ui/language', 'de');
    await page.reload();
    for (const [button, state, word] of [
        ['Wiedergabe', 'playing', 'läuft'], ['Pause', 'paused', 'angehalten'], ['Stopp', 'stopped', 'gestoppt'],
    ]) {
        await click(page, button);
        await page.waitForURL('**/player.fcgi');
        await page.locator('#state').getByText(word, { exact: true }).waitFor();
        assert.equal((await device.get('player:player/state')), state);
    }
    assert.equal(await page.getAttribute('html', 'lang'), 'de');
    await device.set('settings:/ui/language', 'en');
    await page.reload();
    const { title, artist } = await device.get('player:player/track');
    assert.equal(await page.textContent('#track'), `${title} – ${artist}`);
    await page.fill('#volume', '17');
    await click(page, 'Set');
    await page.waitForURL('**/player.fcgi');
    assert.equal(await page.inputValue('#volume'), '17');
    assert.equal(await device.get('player:player/volume'), 17);
    assert.ok(!device.log.includes('player:player'), device.log);

    // Nothing is written without the form: by a link, or by what fetches pages ahead.
    const name = await device.get('settings:/device/name');
    for (const path of ['control', 'set-volume', 'save-name', 'restart'])
        assert.equal((await context.request.get(`/${path}.fcgi?value=x&type=PlixValue:string_`)).status(), 200);
    assert.deepEqual([await device.get('settings:/device/name'), await device.get('player:player/volume')], [name, 17]);
});

test('until the device has answered nothing looks like an answer', async () => {
    const context = await newProfile();
    const held = [];
    let isHeld = true;
    await context.route('**/api/**', route => isHeld ? held.push(route) : route.continue());
    const page = await open(context);
    await until(() => held.length, 'a request');
    assert.ok(!(await page.textContent('main')).includes('Nothing playing'));
    const controls = page.locator('.transport button, .stage input');
    assert.equal(await controls.and(page.locator(':enabled')).count(), 0);
    assert.equal(await page.locator('main[aria-busy], .rows[aria-busy]').count(), 3);
    isHeld = false;
    await Promise.all(held.map(route => route.continue()));
    await page.locator('#play:enabled').waitFor();
    await until(async () => await page.locator('[aria-busy]').count() === 0, 'the lists');
});

test('a firmware image is checked, sent with both progresses, and runs after a restart', async () => {
    const page = await open(await newProfile(), '/update.html');
    const there = await open(await newProfile({ javaScriptEnabled: false }), '/update.fcgi');
    await page.getByText('Now running 1.0.0.').waitFor();
    await slowLine(page);
    const image = randomBytes(12 * 1024 * 1024);
    image.write('plix-firmware 2.1\n');
    await choose(page, image);
    await page.getByText('12.0 MiB', { exact: true }).waitFor();
    await page.evaluate(() => {
        window.seen = { sent: new Set(), received: new Set() };
        for (const name of Object.keys(seen))
            new MutationObserver(() => seen[name].add(document.getElementById(name).value))
                .observe(document.getElementById(name), { attributes: true });
    });
    await page.locator('#fileHash').getByText(sha256(image)).waitFor();
    const asked = page.waitForRequest(request => request.method() === 'POST');
    await click(page, 'Send to the device');
    await page.getByText('It is the file you chose, byte for byte.').waitFor();
    assert.ok((await asked).url().endsWith(`?firmwareupdate=1&length=${image.length}&sha256=${sha256(image)}`));
    assert.equal(await page.textContent('#hash'), sha256(image));
    assert.equal((await device.get('firmware:update')).sha256, sha256(image));
    for (const name of ['sent', 'received']) {
        const values = await page.evaluate(bar => [...seen[bar]], name);
        assert.ok(values.some(value => value > 0 && value < 1), `${name}: ${values}`);
        assert.equal(values.at(-1), 1);
    }
    await there.reload();
    assert.equal(await there.textContent('#pending'), '2.1');
    await device.restarted(() => click(page, 'Restart now'));
    await page.getByText('The device has been restarted.').waitFor();
    await page.getByText('Now running 2.1.').waitFor();
});

test('the device is restarted from the settings, once more without JavaScript', async () => {
    const page = await open(await newProfile(), '/settings.fcgi');
    await click(page, 'Restart the device');
    await device.restarted(() => click(page, 'Restart'));
    await page.getByText('The device has been restarted.').waitFor();
    const plain = await open(await newProfile({ javaScriptEnabled: false }), '/settings.fcgi');
    await device.restarted(() => click(plain, 'Restart the device'));
});

test('the network page tells how to reach the device and to trust it', async () => {
    const { hostname: host, port } = new URL(device.url);
    const socket = connect({ host, port, rejectUnauthorized: false });
    await once(socket, 'secureConnect');
    const { raw } = socket.getPeerCertificate();
    socket.destroy();
    const certificate = new X509Certificate(raw);
    for (const javaScriptEnabled of [true, false]) {
        const page = await open(await newProfile({ javaScriptEnabled }), '/network.fcgi');
        const { wired } = await device.get('network:info');
        for (const { ip } of wired.addresses.filter(address => !/^(127|::1|fe80)/.test(address.ip)))
            await page.locator('#addresses').getByText(ip).waitFor();
        assert.equal(await page.textContent('#fingerprint'), certificate.fingerprint256);
        const saved = page.waitForEvent('download');
        await page.getByRole('link', { name: 'Save the authority' }).click();
        const authority = new X509Certificate(readFileSync(await (await saved).path()));
        assert.ok(authority.ca && certificate.verify(authority.publicKey));
        assert.equal(authority.fingerprint256, await page.textContent('#authority'));
    }
});

test('a dropped image is cancelled, and others are sent', async () => {
    const context = await newProfile();
    const page = await open(context, '/update.html');
    const there = await open(await newProfile(), '/update.html');
    await slowLine(page, 1);
    await page.evaluate(() => {
        const dataTransfer = new DataTransfer();
        dataTransfer.items.add(new File([new Uint8Array(64 * 1024 * 1024)], 'big.bin'));
        document.getElementById('drop')
            .dispatchEvent(new DragEvent('drop', { dataTransfer, bubbles: true }));
    });
    await page.getByText('64.0 MiB', { exact: true }).waitFor();
    await click(page, 'Send to the device');
    // A second one is told whom it waits for, before and after it has been sent.
    await there.getByText('The updater is receiving an image').waitFor();
    await choose(there, Buffer.from('small'));
    await click(there, 'Send to the device');
    await there.getByText('Another image is being sent to this device.').waitFor();
    await click(page, 'Cancel');
    await page.getByText('You stopped sending.').waitFor();
    // Every page says what the device says, and so does one that is opened afterwards.
    await until(async () => (await device.get('firmware:update')).state === 'failed', 'the end');
    for (const tab of [page, there, await open(context, '/update.html')])
        await tab.getByText('The updater did not get the whole image').waitFor();

    await page.reload();
    await choose(page, Buffer.from('small'));
    await click(page, 'Send to the device');
    await page.getByText('The updater has the whole image, 5 bytes.').waitFor();

    await page.goto('/update.fcgi');
    await choose(page, Buffer.from('plain image'));
    await click(page, 'Send to the device');
    await page.getByText('The updater has the whole image, 11 bytes.').waitFor();
    assert.equal(await page.textContent('#hash'), sha256('plain image'));
});

test('nodes are written, followed and copied', async () => {
    const context = await newProfile();
    await context.grantPermissions(['clipboard-read', 'clipboard-write']);
    const page = await open(context, '/data.html');
    await click(page, 'player:player/volume');
    await page.getByRole('rowheader', { name: 'maximum' }).waitFor();
    await click(page, 'Watch events');
    await page.locator('#follow[aria-pressed=true]').waitFor();
    for (const [value, answer] of [
        ['{"i32_":64}', 'Written.'], ['{"i32_":', 'not JSON'], ['{"i32_":101}', 'outOfRange'],
    ]) {
        await page.fill('#value', value);
        await click(page, 'Write');
        await page.locator('#writeOutcome').getByText(answer).waitFor();
    }
    assert.equal(await device.get('player:player/volume'), 64);
    await page.locator('#log').getByText('{"value":{"i32_":64}}').waitFor();

    await page.fill('#value', '{"string_":"it\'s"}');
    await click(page, 'Copy the command that writes');
    const data = `{"path":"player:player/volume","role":"value","value":{"string_":"it'\\''s"}}`;
    assert.equal(await page.evaluate(() => navigator.clipboard.readText()),
        `curl -k -H 'Content-Type: application/json' -d '${data}' '${device.url}/api/setData'`);

    await click(page, 'media:/');
    await page.locator('#rows button').first().click();
    await page.locator('#nodePath').getByText(/^media:\/.+/).waitFor();
    await page.goBack();
    await page.locator('#nodePath').getByText(/^media:\/$/).waitFor();
    // A link that somebody has mistyped.
    await page.goto('/data.html#%E0%A4%A');
    await page.getByText('nodeNotFound').or(page.getByText('workerNotFound')).waitFor();
});
