// SPDX-License-Identifier: MIT

// The visual states of the pages, for the check of all of them and for screenshots.

import { desktop, open, phone, profile } from './browser.mjs';

const LONG = 'Rindfleischetikettierungsaufgabenuebertragungsgesetz '.repeat(3);
const track = title => ({ title, description: title, type: 'audio', value: { string_: 'media:/copper-sky.wav' } });

/** Nodes of the device that the states need. */
export const stateNodes = {
    'player:queue': { rows: [track('Short'), track(LONG), track('أغنية طويلة '.repeat(9))] },
};

const landscape = { viewport: { width: 844, height: 390 } };
const zoomed = { viewport: { width: 720, height: 450 } };
const plain = { ...phone, javaScriptEnabled: false };
const IMAGE = { name: 'firmware-2.0.bin', mimeType: 'application/octet-stream', buffer: Buffer.from('plix-firmware 2.0\n') };

const play = index => device => device.activate('player:player/play', { index });
const setLanguage = language => device => device.set('settings:/ui/language', language);
const hold = what => context => context.route(what, () => {});
const shows = text => page => page.getByText(text).first().waitFor();
const press = name => page => page.getByRole('button', { name, exact: true }).click();
const chooseImage = async page => {
    await page.setInputFiles('#image', IMAGE);
    await page.getByText('Send this image').waitFor();
};
const sendImage = async page => {
    await chooseImage(page);
    await press('Send to the device')(page);
};

/** The page is told something else than what the device says. */
const says = (url, json) => context => context.route(url, route => route.fulfill({ json }));
const saysValue = (path, value) => says(`**/api/getData?path=${encodeURIComponent(path)}&*`, { value });
const scan = value => saysValue('media:scan', { state: 'scanning', found: 20412, read: 3120, failed: 2, ...value });
const cell = (title, index) => ({ title, description: title, type: 'container', value: { string_: `media:/albums/${index}` },
    icon: index % 2 ? 'media:/covers/copper-sky.svg' : null });
const albums = says('**/api/getRows?path=media%3A%2Falbums&*', {
    count: 6, version: 1, rows: ['Short', LONG, 'أغنية طويلة '.repeat(9), 'One', 'Two', 'Three'].map(cell),
});
const reads = text => page => page.locator('#place').getByText(text).first().waitFor();

/**
 * In this order, because a device stays as it was left.
 * name: of the state; options: of the browser; prepare: done to the device; intercept: to the page's
 * requests; act: to the page; path.
 */
export const states = [
    { name: 'loading', options: phone, intercept: hold('**/api/**') },
    { name: 'playing', options: phone, prepare: play(0) },
    { name: 'playing on a desktop', prepare: play(0) },
    { name: 'library', options: phone, act: press('Library') },
    { name: 'long texts', options: phone, prepare: play(1) },
    { name: 'long texts shown', options: phone, act: press('Show all of it') },
    { name: 'landscape', options: landscape },
    { name: '200 % zoom', options: zoomed },
    { name: 'right-to-left titles', prepare: play(2) },
    { name: 'live stream', options: phone, prepare: device => device.activate('player:player/play', 'media:/live') },
    { name: '200 % text', options: phone, prepare: play(0), act: page => page.evaluate(() => {
        document.documentElement.style.fontSize = '200%';
    }) },
    { name: 'forced colours', options: { ...phone, forcedColors: 'active' } },
    { name: 'keys', act: page => page.keyboard.press('?') },
    { name: 'pending', intercept: hold('**/api/setData'), act: async page => {
        await page.click('#play');
        await page.locator('#play[aria-busy]').waitFor();
    } },
    { name: 'refused', intercept: context => context.route('**/api/setData', route => route.fulfill({
        status: 500, json: { error: { name: 'outOfRange', message: 'There is no such row' } },
    })), act: async page => {
        await page.click('#play');
        await shows('There is no such row')(page);
    } },
    { name: 'offline', act: async page => {
        await page.route('**/api/**', route => route.abort());
        // A stream that is open goes on; a page that comes back opens another one.
        await page.evaluate(() => ['hidden', 'visible'].forEach(value => {
            Object.defineProperty(document, 'visibilityState', { value, configurable: true });
            document.dispatchEvent(new Event('visibilitychange'));
        }));
        await page.click('#play');
        await page.locator('.toast.error').waitFor();
        await page.locator('.connecting #connection').waitFor();
    } },
    { name: 'albums', options: phone, path: '/index.html#/albums', intercept: albums, act: reads('Three') },
    { name: 'albums on a desktop', path: '/index.html#/albums', intercept: albums, act: reads('Three') },
    { name: 'albums from right to left', path: '/index.html#/albums', intercept: albums, act: async page => {
        await reads('Three')(page);
        await page.evaluate(() => { document.dir = 'rtl'; });
        await page.setViewportSize({ width: 1300, height: 860 });
    } },
    { name: 'albums in forced colours', options: { ...phone, forcedColors: 'active' }, path: '/index.html#/albums',
        intercept: albums, act: reads('Three') },
    { name: 'artists', options: phone, path: '/index.html#/artists', act: reads('Harbour Lights') },
    { name: 'artist on its side', options: landscape, path: '/index.html#/artists', act: async page => {
        await page.getByRole('link', { name: 'Harbour Lights' }).click();
        await reads('Paper Boats')(page);
    } },
    { name: 'menu', options: phone, path: '/index.html#/artists', act: press('More for Harbour Lights') },
    { name: 'found', path: '/index.html#/search/har', act: reads('Morning Tide') },
    { name: 'found, 200 % text', options: phone, path: '/index.html#/search/har', act: async page => {
        await reads('Morning Tide')(page);
        await page.evaluate(() => { document.documentElement.style.fontSize = '200%'; });
    } },
    { name: 'nothing found', options: phone, path: '/index.html#/search/xyzzy', act: reads('Nothing was found') },
    { name: 'no stations', options: phone, path: '/index.html#/radio', act: reads('There are no stations') },
    { name: 'new station', options: phone, path: '/index.html#/radio', act: press('Add a station') },
    { name: 'stations', options: phone, path: '/index.html#/radio', prepare: device => device.set('settings:/media/stations',
        [{ title: 'One', url: 'http://127.0.0.1:9/one' }]), act: reads('live') },
    { name: 'playlists', options: phone, path: '/index.html#/playlists', prepare: device =>
        device.activate('player:playlists/save', { title: 'Dinner' }), act: reads('Dinner') },
    { name: 'playlist exists', path: '/index.html#/playlists', act: async page => {
        await press('Save')(page);
        await page.getByLabel('Name').fill('Dinner');
        await page.getByLabel('Name').press('Enter');
        await shows('There is one of this name already')(page);
    } },
    { name: 'modes', options: phone, prepare: async device => {
        await device.set('player:player/shuffle', { bool_: true });
        await device.set('player:player/repeat', { string_: 'one' });
    }, act: page => page.locator('#repeat.on').waitFor() },
    { name: 'not playable', options: landscape, intercept: saysValue('player:player/error', { string_: `${LONG} cannot be played` }),
        act: page => page.locator('#fault').waitFor() },
    { name: 'reading music', options: phone, path: '/index.html#/tracks', intercept: scan(), act: shows('Reading your music') },
    { name: 'music away', path: '/index.html#/tracks', intercept: scan({ state: 'away' }), act: shows('is not there') },
    { name: 'files not read', path: '/index.html#/tracks', intercept: scan({ state: 'idle' }), act: shows('could not be read') },
    { name: 'settings', options: phone, path: '/settings.fcgi' },
    { name: 'setting saved', path: '/settings.fcgi', act: async page => {
        await press('Save: Device name')(page);
        await shows('Device name saved')(page);
    } },
    { name: 'restart question', options: phone, path: '/settings.fcgi', act: press('Restart the device') },
    { name: 'network', options: phone, path: '/network.fcgi' },
    { name: 'network on a desktop', path: '/network.fcgi' },
    { name: 'data model', options: phone, path: '/data.html#player:player/volume', act: shows('maximum') },
    { name: 'data model, rows', path: '/data.html#player:queue', act: shows('Short') },
    { name: 'update', options: phone, path: '/update.html', act: shows('Now running 1.0.0') },
    { name: 'update, check', options: phone, path: '/update.html', act: chooseImage },
    { name: 'update, sending', options: phone, path: '/update.html',
        intercept: hold('**/update.fcgi**'), act: sendImage },
    { name: 'update, received', options: phone, path: '/update.html', act: async page => {
        await sendImage(page);
        await shows('byte for byte')(page);
    } },
    { name: 'update, received, on a desktop', path: '/update.html', act: shows('after the next start') },
    { name: 'update without JavaScript', options: plain, path: '/update.fcgi' },
    { name: 'player without JavaScript', options: plain, path: '/player.fcgi' },
    { name: 'form carried out', options: plain, path: '/settings.fcgi', act: async page => {
        await press('Save: Device name')(page);
        await shows('Device name saved')(page);
    } },
    { name: 'form refused', options: plain, path: '/control.fcgi' },
    { name: 'German', prepare: setLanguage('de') },
    { name: 'German without JavaScript', options: plain, path: '/settings.fcgi' },
    { name: 'undo', options: phone, prepare: async device => {
        await setLanguage('en')(device);
        await device.activate('player:queue/insert', { path: 'media:/copper-sky.wav' });
    }, act: async page => {
        await press('Clear')(page);
        await shows('Undo')(page);
    } },
    { name: 'empty', options: phone, prepare: device => device.activate('player:queue/clear') },
    { name: 'empty on a desktop' },
];

/** Opens a page in this state; the caller closes its context. */
export async function enter({ name, options = desktop, prepare, intercept, act, path }, browser, device, more) {
    await prepare?.(device);
    const context = await profile(browser, device, { ...options, ...more });
    await intercept?.(context);
    const page = await open(context, path);
    if (!path && name !== 'loading')
        await page.locator('#play:enabled').waitFor();
    await act?.(page);
    return page;
}
