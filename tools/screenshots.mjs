// SPDX-License-Identifier: MIT
#!/usr/bin/env node
// Makes the screenshots of the README in docs/images, from a device of its own that plays.
// ./test has installed what this needs and built the device.

import { fileURLToPath } from 'node:url';
import { desktop, launch, open, phone, profile } from '../tests/web/browser.mjs';
import { Device, until } from '../tests/web/device.mjs';

const images = fileURLToPath(new URL('../docs/images/', import.meta.url));
const SHOTS = [
    ['now-playing-phone', { ...phone, colorScheme: 'light', deviceScaleFactor: 2 }],
    ['now-playing-desktop', { ...desktop, colorScheme: 'dark' }],
];
const TRACK = 3;
const POSITION_MS = 6000;

const device = await Device.start({ 'settings:/device/name': { value: { string_: 'Living room' } } });
const browser = await launch();
try {
    await device.activate('player:player/play', { index: TRACK });
    for (const [name, options] of SHOTS) {
        const context = await profile(browser, device, options);
        const page = await open(context);
        await device.activate('player:player/seek', POSITION_MS);
        await until(() => page.evaluate(() => document.querySelector('#cover').complete
            && document.querySelector('#title').textContent !== 'Nothing playing'
            && document.querySelector('#elapsed').textContent >= '0:06'), 'the track');
        await until(() => page.evaluate(() =>
            document.getAnimations().every(({ playState }) => playState === 'finished')), 'rest');
        await page.screenshot({ path: `${images}${name}.png` });
        await context.close();
    }
} finally {
    await browser.close();
    await device.end();
}
