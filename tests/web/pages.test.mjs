import assert from 'node:assert/strict';
import { createHash, randomBytes } from 'node:crypto';
import { readdirSync, statSync } from 'node:fs';
import { after, afterEach, before, beforeEach, describe, it } from 'node:test';
import { join } from 'node:path';
import { launch, open, profile, until } from './browser.mjs';
import { Device, webRoot } from './device.mjs';

// "without the covers": those come from the media worker.
const BUDGET = 100_000;

describe('pages', () => {
    let device, browser, context;

    before(async () => {
        device = await Device.start();
        browser = await launch();
    });
    after(async () => {
        await browser?.close();
        await device?.end();
    });
    beforeEach(async () => { context = await profile(browser, device); });
    afterEach(async () => {
        await context.close();
        assert.deepEqual(context.faults, []);
    });

    it('stay within their budget', () => {
        const sizes = readdirSync(webRoot, { recursive: true })
            .map(name => statSync(join(webRoot, name)))
            .map(entry => entry.isFile() ? entry.size : 0);
        const total = sizes.reduce((sum, size) => sum + size, 0);
        assert.ok(total < BUDGET, `${total} bytes`);
    });

    it('save settings without JavaScript', async () => {
        const plain = await profile(browser, device, { javaScriptEnabled: false });
        const page = await open(plain, '/settings.fcgi');
        const name = 'Kitchen <b>"&amp;"</b> $name';
        assert.equal((await page.locator('.outcome').allTextContents()).join(''), '');

        await page.fill('#name', name);
        await page.selectOption('#language', 'de');
        await page.fill('#volume', '17');
        await page.getByRole('button', { name: 'Save' }).click();
        await page.getByText('Device name saved').waitFor();
        assert.equal(await page.inputValue('#name'), name);
        assert.equal((await device.get('settings:/device/name')).string_, name);
        assert.equal((await device.get('settings:/ui/language')).string_, 'de');
        assert.equal((await device.get('settings:/player/volume')).i32_, 17);

        // Past the browser's own check.
        await page.locator('#settings').evaluate(form => { form.noValidate = true; });
        await page.fill('#volume', '101');
        await page.getByRole('button', { name: 'Save' }).click();
        await page.getByText('Default volume not saved').waitFor();
        assert.equal((await device.get('settings:/player/volume')).i32_, 17);

        await page.goto('/settings.fcgi');
        assert.equal((await page.locator('.outcome').allTextContents()).join(''), '');
        assert.equal((await device.get('settings:/device/name')).string_, name);
        await plain.close();
    });

    it('send a firmware image and show both progresses and its hash', async () => {
        const page = await open(context, '/update.html');
        const image = randomBytes(12 * 1024 * 1024);
        await page.setInputFiles('#image', { name: 'image.bin', mimeType: 'application/octet-stream', buffer: image });
        await page.getByText('12.0 MiB', { exact: true }).waitFor();
        await page.evaluate(() => {
            window.seen = { sent: new Set(), received: new Set() };
            for (const name of Object.keys(seen))
                new MutationObserver(() => seen[name].add(document.getElementById(name).value))
                    .observe(document.getElementById(name), { attributes: true });
        });
        await page.getByRole('button', { name: 'Send to the device' }).click();
        await page.getByText('It is the file you chose, byte for byte.').waitFor();
        const expected = createHash('sha256').update(image).digest('hex');
        assert.equal(await page.textContent('#hash'), expected);
        assert.equal((await device.get('firmware:update')).sha256, expected);
        for (const name of ['sent', 'received']) {
            const values = await page.evaluate(bar => [...seen[bar]], name);
            assert.ok(values.some(value => value > 0 && value < 1), `${name}: ${values}`);
            assert.equal(values.at(-1), 1);
        }
    });

    it('take a dropped image, cancel it, and send again', async () => {
        const page = await open(context, '/update.html');
        await page.evaluate(() => {
            const dropped = new DataTransfer();
            dropped.items.add(new File([new Uint8Array(64 * 1024 * 1024)], 'big.bin'));
            document.getElementById('drop').dispatchEvent(new DragEvent('drop', { dataTransfer: dropped, bubbles: true }));
            new MutationObserver(() => document.getElementById('sent').value > 0.1 && document.getElementById('cancel').click())
                .observe(document.getElementById('sent'), { attributes: true });
        });
        await page.getByText('64.0 MiB', { exact: true }).waitFor();
        await page.getByRole('button', { name: 'Send to the device' }).click();
        await page.getByText('Cancelled.').waitFor();
        await until(async () => (await device.get('firmware:update')).state !== 'receiving', 'the updater to give up');

        await page.reload();
        await page.setInputFiles('#image', { name: 'small.bin', mimeType: 'application/octet-stream', buffer: Buffer.from('small') });
        await page.getByRole('button', { name: 'Send to the device' }).click();
        await page.getByText('The updater has the whole image, 5 bytes.').waitFor();
    });

    it('answer a plain upload with the outcome', async () => {
        const page = await open(context, '/update.html');
        await page.setInputFiles('#image', { name: 'plain.bin', mimeType: 'application/octet-stream', buffer: Buffer.from('plain image') });
        await page.locator('#update').evaluate(form => HTMLFormElement.prototype.submit.call(form));
        await page.getByText('The image has gone through').waitFor();
        await page.getByText('The updater has the whole image, 11 bytes.').waitFor();
        assert.equal(await page.textContent('#hash'), createHash('sha256').update('plain image').digest('hex'));
    });

    it('write, follow and copy in the data model', async () => {
        await context.grantPermissions(['clipboard-read', 'clipboard-write']);
        const page = await open(context, '/data.html');
        await page.getByRole('button', { name: 'player:player/volume' }).click();
        await page.getByRole('rowheader', { name: 'maximum' }).waitFor();
        await page.getByRole('button', { name: 'Watch events' }).click();
        await until(async () => await page.getAttribute('#follow', 'aria-pressed') === 'true', 'watching');

        await page.fill('#value', '{"i32_":64}');
        await page.getByRole('button', { name: 'Write', exact: true }).click();
        await page.getByText('Written.').waitFor();
        assert.equal((await device.get('player:player/volume')).i32_, 64);
        await page.locator('#log').getByText('{"value":{"i32_":64}}').waitFor();

        for (const [value, answer] of [['{"i32_":', 'This is not JSON'], ['{"i32_":101}', 'outOfRange']]) {
            await page.fill('#value', value);
            await page.getByRole('button', { name: 'Write', exact: true }).click();
            await page.locator('#writeOutcome').getByText(answer).waitFor();
        }
        await page.fill('#value', '{"string_":"it\'s"}');
        await page.getByRole('button', { name: 'Copy the command that writes' }).click();
        assert.equal(await page.evaluate(() => navigator.clipboard.readText()),
            `curl -k -H 'Content-Type: application/json' -d '{"path":"player:player/volume","role":"value","value":{"string_":"it'\\''s"}}' '${device.url}/api/setData'`);

        await page.getByRole('button', { name: 'media:/', exact: true }).click();
        await page.locator('#rows button').first().click();
        await until(async () => /^media:\/.+/.test(await page.textContent('#nodePath')), 'the row that was followed');
        await page.goBack();
        await until(async () => await page.textContent('#nodePath') === 'media:/', 'the way back');
    });
});
