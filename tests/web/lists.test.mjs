// SPDX-License-Identifier: MIT

// Lists that are too long to be shown as a whole.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { openOnline, phone } from './browser.mjs';
import { until } from './device.mjs';
import { device, file, newProfile, nodes } from './fixture.mjs';

const LIBRARY_ROWS = 20_000;
const QUEUE_ROWS = 500;
// What a page and its two lists may have in the document, and what a jump may read.
const MOST_ELEMENTS = 1500;
const MOST_READ_ROWS = 300;

// No more roles: a device file has a limit.
const track = (name, index) => ({ title: `${name} ${index}`, value: { string_: `media:/${index}.wav` } });
const letter = index => String.fromCharCode(65 + Math.floor(index * 26 / LIBRARY_ROWS));
// Without the media worker its list is what the device file says.
file.workers = ['settings', 'network', 'player', 'firmware', 'webserver'].map(name => (
    { library: `plix_${name}`, config: name === 'settings' ? { developmentCa: true } : {} }));
nodes['media:/'] = {
    title: 'Media',
    rows: Array.from({ length: LIBRARY_ROWS }, (_, index) =>
        track(`${letter(index)}${String(index).padStart(5, '0')}`, index)),
};
nodes['player:queue'] = { rows: Array.from({ length: QUEUE_ROWS }, (_, index) => track('Queued', index)) };

/** A page whose answers to requests for rows are counted. */
async function openCounting(options) {
    const context = await newProfile(options);
    const read = { rows: 0 };
    context.on('response', async response => {
        if (response.url().includes('/api/getRows'))
            read.rows += await response.json().then(({ rows }) => rows?.length ?? 0, () => 0);
    });
    const page = await openOnline(context);
    await page.locator('#queue li[data-key]').first().waitFor();
    return { page, read };
}

const elements = page => page.evaluate(() => document.querySelectorAll('*').length);
const inView = (page, text) => page.locator('#library li').filter({ hasText: text }).first()
    .evaluate(item => {
        const { top, bottom } = item.getBoundingClientRect();
        return top < innerHeight && bottom > 0;
    });

test('only what is near the screen is read and in the document', async () => {
    const { page, read } = await openCounting({ viewport: { width: 1280, height: 800 } });
    await page.locator('#library li[data-key]').first().waitFor();
    assert.equal(await page.locator('#library li[aria-posinset="1"]').getAttribute('aria-setsize'),
        String(LIBRARY_ROWS));
    assert.equal(await page.textContent('#libraryCount'), '20,000');
    for (const [choice, shown] of [['M', 'M0923'], ['end', 'Z19999'], ['A', 'A00000']]) {
        read.rows = 0;
        await page.selectOption('#jump', choice);
        await until(() => inView(page, shown), `the rows of ${choice}`);
        assert.ok(read.rows <= MOST_READ_ROWS, `${choice}: ${read.rows} rows`);
        assert.ok(await elements(page) <= MOST_ELEMENTS, `${await elements(page)} elements`);
    }
});

test('one change costs one row, and what is read stays where it is', async () => {
    const { page } = await openCounting({ viewport: { width: 1280, height: 800 } });
    const row = page.locator('#queue li').filter({ hasText: 'Queued 200' });
    await page.evaluate(() => scrollTo(0, 200 * document.querySelector('#queue li').offsetHeight));
    await row.waitFor();
    // Rows beyond the screen come in later frames.
    await page.evaluate(async () => {
        const { children } = document.querySelector('#queue');
        for (let frames = 0, count; frames < 10; frames = children.length === count ? frames + 1 : 0) {
            count = children.length;
            await new Promise(requestAnimationFrame);
        }
    });
    const before = await row.boundingBox();
    await page.evaluate(() => {
        window.made = 0;
        new MutationObserver(changes => {
            for (const { addedNodes } of changes)
                window.made += [...addedNodes].filter(({ nodeName }) => nodeName === 'LI').length;
        }).observe(document.getElementById('queue'), { childList: true });
    });
    await device.activate('player:queue/remove', { index: 0 });
    await until(async () => await row.getAttribute('aria-posinset') === '200', 'the change');
    assert.equal((await row.boundingBox()).y, before.y);
    assert.ok(await page.evaluate(() => window.made) <= 2, 'rows made anew');
});

test('the queue is shown before what it does not need', async () => {
    const context = await newProfile(phone);
    const held = [];
    let isHeld = true;
    const asked = [];
    context.on('request', request => asked.push(decodeURIComponent(request.url())));
    await context.route(/nowplaying|library\.js|api\/getData|modifyQueue/, route => isHeld ? held.push(route) : route.continue());
    const page = await context.newPage();
    await page.goto('/index.html', { waitUntil: 'commit' });
    await page.locator('#queue li[data-key]').first().waitFor();
    assert.ok(await page.isDisabled('#play'));
    // What the page asks for before its scripts is what they want.
    assert.equal(asked.filter(url => url.includes('path=player:queue&')).length, 1);
    isHeld = false;
    await Promise.all(held.map(route => route.continue()));
    await page.locator('#play:enabled').waitFor();
    await page.locator('.switch [data-panel=library]').click();
    await page.locator('#library li[data-key]').first().waitFor();
});

// The figures are for docs/measurements.md: what a busy machine makes of them proves nothing.
test('a slow phone shows the first rows soon and scrolls on', async test => {
    const context = await newProfile(phone);
    const page = await context.newPage();
    const line = await context.newCDPSession(page);
    await line.send('Emulation.setCPUThrottlingRate', { rate: 4 });
    await page.addInitScript(() => {
        window.tasks = [];
        new PerformanceObserver(list => window.tasks.push(...list.getEntries().map(({ duration }) => duration)))
            .observe({ type: 'longtask', buffered: true });
        // By the page's own clock, and told by itself: what the driver puts into a page takes as long as the page.
        new MutationObserver((_, observer) => {
            if (!document.querySelector('#queue li[data-key]'))
                return;
            observer.disconnect();
            requestAnimationFrame(() => setTimeout(() => console.log(performance.now())));
        }).observe(document, { childList: true, subtree: true });
    });
    const shown = page.waitForEvent('console');
    await page.goto('/index.html');
    const shownAfter = Number((await shown).text());
    await page.locator('#play:enabled').waitFor();
    const longest = Math.max(0, ...await page.evaluate(() => window.tasks));
    await page.locator('.switch [data-panel=library]').click();
    await page.locator('#library li[data-key]').first().waitFor();
    const frames = await page.evaluate(async () => {
        const times = [];
        for (let step = 0; step < 60; step++) {
            scrollBy(0, 150);
            times.push(await new Promise(requestAnimationFrame));
        }
        return times.slice(1).map((time, index) => time - times[index]);
    });
    test.diagnostic(`first rows after ${Math.round(shownAfter)} ms, longest task of the start ${longest} ms, longest frame ${
        Math.round(Math.max(...frames))} ms, median ${frames.sort((a, b) => a - b)[30].toFixed(1)} ms`);
    await until(async () => await page.locator('#library li[aria-posinset="150"]').count(), 'the rows below');
});
