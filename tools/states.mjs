#!/usr/bin/env node
// Makes screenshots of the pages' visual states, and one page to look through them:
// tools/states.mjs FOLDER. ./test has installed what this needs and built the device.

import { mkdirSync, writeFileSync } from 'node:fs';
import { desktop, launch, open, phone, profile } from '../tests/web/browser.mjs';
import { Device } from '../tests/web/device.mjs';

const folder = process.argv[2];
if (!folder) {
    console.error('usage: tools/states.mjs FOLDER');
    process.exit(2);
}
const LONG = 'Rindfleischetikettierungsaufgabenuebertragungsgesetz '.repeat(3);
const track = title => ({ title, description: title, type: 'audio', value: { string_: 'media:/copper-sky.wav' } });
const QUEUE = { rows: [track('Short'), track(LONG), track('أغنية طويلة '.repeat(9))] };
const play = index => device => device.activate('player:player/play', { index });
const landscape = { viewport: { width: 844, height: 390 } };
// Name, browser, what is done to the device before, to the page's requests, to the page, its path.
const STATES = [
    ['empty', phone, device => device.activate('player:queue/clear')],
    ['loading', phone, () => {}, context => context.route('**/api/**', () => {})],
    ['playing', phone, play(0)],
    ['playing on a desktop', desktop, play(0)],
    ['long texts', phone, play(1)],
    ['right-to-left', desktop, play(2)],
    ['landscape', landscape, play(1)],
    ['200 % zoom', { viewport: { width: 720, height: 450 } }, play(1)],
    ['200 % text', phone, play(0), () => {}, page => page.evaluate(() => {
        document.documentElement.style.fontSize = '200%';
    })],
    ['forced colours', { ...phone, forcedColors: 'active' }, play(0)],
    ['refused', desktop, play(0), context => context.route('**/api/setData', route => route.fulfill({
        status: 500, json: { error: { name: 'outOfRange', message: 'There is no such row' } },
    })), page => page.click('#play')],
    ['offline', desktop, play(0), () => {}, async page => {
        await page.route('**/api/**', route => route.abort());
        await page.click('#play');
        await page.locator('.toast.error').waitFor();
    }],
    ['German', desktop, device => device.set('settings:/ui/language', 'de')],
    ['settings', phone, () => {}, () => {}, () => {}, '/settings.fcgi'],
    ['update', phone, () => {}, () => {}, () => {}, '/update.html'],
    ['without JavaScript', { ...phone, javaScriptEnabled: false }, () => {}, () => {}, () => {}, '/player.fcgi'],
];

mkdirSync(folder, { recursive: true });
const browser = await launch();
const shots = [];
try {
    for (const [name, options, prepare, intercept = () => {}, act = () => {}, path] of STATES) {
        const device = await Device.start({ 'player:queue': QUEUE });
        try {
            await prepare(device);
            for (const colorScheme of ['light', 'dark']) {
                const context = await profile(browser, device, { ...options, colorScheme });
                await intercept(context);
                const page = await open(context, path);
                if (!path && name !== 'loading')
                    await page.locator('#play:enabled').waitFor();
                await act(page);
                const file = `${name.replaceAll(/\W+/g, '-')}-${colorScheme}.png`;
                await page.screenshot({ path: `${folder}/${file}`, animations: 'disabled' });
                shots.push(`<figure><img src="${file}" alt=""><figcaption>${name}, ${colorScheme}</figcaption></figure>`);
                await context.close();
            }
        } finally {
            await device.end();
        }
    }
} finally {
    await browser.close();
}
writeFileSync(`${folder}/index.html`, `<!doctype html><meta charset="utf-8"><title>Visual states</title>
<style>body { display: flex; flex-wrap: wrap; } img { height: 24rem; border: 1px solid; }</style>
${shots.join('\n')}\n`);
console.log(`${folder}/index.html`);
