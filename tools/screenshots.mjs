#!/usr/bin/env node
// SPDX-License-Identifier: MIT

// Makes the screenshots of the documents in docs/images, from a device of its own that plays.
// ./test has installed what this needs and built the device.

import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { desktop, launch, open, phone, profile } from '../tests/web/browser.mjs';
import { Device, until } from '../tests/web/device.mjs';
import { makeCover, makeTrack } from '../tests/web/music.mjs';

const images = fileURLToPath(new URL('../docs/images/', import.meta.url));
const SHOTS = [
    ['now-playing-phone', '', { ...phone, colorScheme: 'light', deviceScaleFactor: 2 }],
    ['now-playing-desktop', '', { ...desktop, colorScheme: 'dark' }],
    ['library-phone', '#/albums', { ...phone, colorScheme: 'light', deviceScaleFactor: 2 }],
];
const ALBUMS = [
    ['Copper Sky', 'Northern Row', '0xf4a259', '0x5b3a29'], ['First Frost', 'The Quiet Yard', '0xcfe8ef', '0x31507a'],
    ['Harbour', 'Harbour Lights', '0x2a9d8f', '0x14323f'], ['Lamp Room', 'The Quiet Yard', '0xe9c46a', '0x7d4f1d'],
    ['Late Tram', 'Northern Row', '0xe56399', '0x3a1d5c'], ['Morning Tide', 'Harbour Lights', '0x8fb8ff', '0x1d3557'],
    ['Orchard', 'The Quiet Yard', '0xb5c267', '0x37501f'], ['Paper Boats', 'Harbour Lights', '0xffb4a2', '0x6d2e46'],
    ['Slow Train', 'Northern Row', '0x9a8cff', '0x241a52'],
];
const TRACKS = ['Platform', 'Window Seat', 'Fields', 'Junction', 'Terminus'];
const PLAYED = 'Morning Tide';
const SECONDS = 30;
const POSITION_MS = 12_000;

const music = mkdtempSync(join(tmpdir(), 'plix-screenshots-'));
for (const [album, artist, light, dark] of ALBUMS) {
    const folder = join(music, artist, album);
    makeCover(folder, 'cover.jpg', `gradients=c0=${light}:c1=${dark}:x0=80:y0=0:x1=420:y1=600`);
    for (const [index, title] of TRACKS.entries())
        makeTrack(folder, `${index + 1}.ogg`, { title, artist, album, album_artist: artist, track: index + 1 }, SECONDS);
}

const device = await Device.start({
    'settings:/device/name': { value: { string_: 'Living room' } },
    'settings:/media/directory': { value: { string_: music } },
});
const browser = await launch();
try {
    await until(async () => (await device.get('media:scan')).state === 'idle', 'the library', 60_000);
    const played = (await device.list('media:/albums')).find(({ title }) => title === PLAYED);
    await device.activate('player:queue/load', { path: played.value.string_ });
    for (const [name, place, options] of SHOTS) {
        const context = await profile(browser, device, options);
        const page = await open(context, `/index.html${place}`);
        await device.activate('player:player/seek', POSITION_MS);
        await until(() => page.evaluate(() => {
            const covers = [...document.querySelectorAll('.wall li:nth-child(-n+9) img')];
            const hasWall = covers.length || !document.querySelector('#libraryPanel').checkVisibility();
            return document.querySelector('#cover').naturalWidth && document.querySelector('#elapsed').textContent >= '0:12'
                && hasWall && covers.every(({ hidden }) => !hidden);
        }), 'the covers');
        await until(() => page.evaluate(() =>
            document.getAnimations().every(({ playState }) => playState === 'finished')), 'rest');
        await page.screenshot({ path: `${images}${name}.png` });
        await context.close();
    }
} finally {
    await browser.close();
    await device.end();
    rmSync(music, { recursive: true });
}
