// SPDX-License-Identifier: MIT

// The main paths in Firefox. Everything else is tested in Chromium.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { launchFirefox, open, openOnline, phone } from './browser.mjs';
import { until } from './device.mjs';
import { device, newProfile, use } from './fixture.mjs';

use.launch = launchFirefox;

const player = name => device.get(`player:player/${name}`);
const small = { viewport: phone.viewport };

test('the player plays, follows, and takes back', async () => {
    await device.activate('player:queue/clear');
    const page = await openOnline(await newProfile());
    await page.locator('#play:enabled').waitFor();
    assert.ok(await page.locator('#title').evaluate(({ scrollHeight, clientHeight }) => scrollHeight <= clientHeight),
        'descenders are clipped');
    const row = page.locator('#library li').nth(1);
    const title = await row.locator('.name').textContent();
    await row.locator('.open').click();
    await page.locator(`#title:text-is("${title}")`).waitFor();
    await until(async () => await player('state') === 'playing', 'playing');
    await device.set('player:player/volume', 41);
    await until(async () => await page.inputValue('#volume') === '41', 'the volume');
    await page.locator('#volume').press('ArrowRight');
    await until(async () => await player('volume') === 42, 'one step louder');
    await page.getByRole('button', { name: `Remove ${title}` }).click();
    await page.locator('#queueEmpty').waitFor();
    await page.getByRole('button', { name: 'Undo' }).click();
    await page.locator('#queue .name').getByText(title).waitFor();
});

test('the library is searched, and back leads back', async () => {
    const page = await openOnline(await newProfile(small), '/index.html#/artists');
    await page.getByRole('link', { name: 'Harbour Lights' }).click();
    await page.getByRole('button', { name: 'Play next', exact: true }).waitFor();
    await page.goBack();
    await page.locator('#find').fill('paper bo');
    await page.locator('.group .name').getByText('Paper Boats').waitFor();
    await page.getByRole('button', { name: 'Shuffle' }).click();
    await until(() => player('shuffle'), 'shuffling');
    await page.getByRole('button', { name: 'Repeat: off' }).click();
    await until(async () => await player('repeat') === 'all', 'repeating');
});

test('settings are saved, in the language that was chosen', async () => {
    const page = await openOnline(await newProfile(small), '/settings.fcgi');
    await page.selectOption('#language', 'de');
    await page.getByRole('button', { name: 'Save: Language' }).click();
    await page.getByRole('heading', { name: 'Einstellungen' }).waitFor();
    assert.equal(await device.get('settings:/ui/language'), 'de');
    await device.set('settings:/ui/language', 'en');
});

test('firmware is sent', async () => {
    const page = await open(await newProfile(small), '/update.html');
    await page.setInputFiles('#image', { name: 'image', mimeType: 'text/plain', buffer: Buffer.from('plix-firmware 3\n') });
    await page.getByRole('button', { name: 'Send to the device' }).click();
    await page.getByText('It is the file you chose, byte for byte.').waitFor();
    await page.getByText('after the next start 3.').waitFor();
});
