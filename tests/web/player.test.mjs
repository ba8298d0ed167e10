// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { beforeEach, describe, test } from 'node:test';
import { plain } from '../../web/plix.js';
import { open, openOnline, phone } from './browser.mjs';
import { until } from './device.mjs';
import { device, newProfile } from './fixture.mjs';

// Far below the 20 seconds after which a browser asks again: what takes longer was not told.
const TOLD_MS = 2500;

let context, page;

beforeEach(async () => {
    await device.activate('player:player/stop');
    context = await newProfile();
    page = await openOnline(context, '/');
    await page.locator('#library .open').first().waitFor();
    await page.locator('#play:enabled').waitFor();
});

const player = name => device.get(`player:player/${name}`);
const showsVolume = (tab, volume) =>
    until(async () => await tab.inputValue('#volume') === String(volume), `volume ${volume}`);
const playsAt = wanted => until(async () => {
    const [minutes, seconds] = (await page.textContent('#elapsed')).split(':').map(Number);
    return minutes * 60 + seconds >= wanted;
}, `second ${wanted}`);

test('a tapped track plays, its position moves, and it is heard', async () => {
    assert.match(page.url(), /\/index\.html$/);
    const row = page.locator('#library li').nth(2);
    const title = await row.locator('.name').textContent();
    await row.locator('.open').click();
    await until(async () => await page.textContent('#title') === title, 'the title');
    await playsAt(1);
    assert.equal(await player('state'), 'playing');
    assert.equal(await page.locator('#queue .current .name').textContent(), title);
    assert.ok(await page.evaluate(() => document.querySelector('#cover').naturalWidth > 0));

    const stream = page.waitForResponse(/\/api\/stream\/media:\/.*\.wav$/);
    await page.locator('#listen').click();
    assert.ok([200, 206].includes((await stream).status()));
    await page.locator('#listen[aria-pressed=true]').waitFor();
    assert.equal(await page.locator('.toast.error').count(), 0);

    await page.getByRole('button', { name: 'Pause' }).first().click();
    await until(async () => await player('state') === 'paused', 'the pause');
});

test('a tap shows in another browser at once', async test => {
    const there = await openOnline(await newProfile(phone));
    for (const [button, attribute] of [['#play', 'aria-label'], ['#mute', 'aria-pressed']]) {
        // Both clocks are this machine's; the mutation is stamped by the page that shows it, the
        // tap by its own: the driver's way to it does not count.
        const seen = there.evaluate(([target, name]) => new Promise(resolve => {
            new MutationObserver(() => resolve(Date.now())).observe(document.querySelector(target),
                { attributes: true, attributeFilter: [name] });
        }), [button, attribute]);
        const tapped = await page.evaluate(target => {
            document.querySelector(target).click();
            return Date.now();
        }, button);
        const took = await seen - tapped;
        test.diagnostic(`${button}: ${took} ms`);
        assert.ok(took <= TOLD_MS, `${button} took ${took} ms`);
    }
});

test('a position is told when it changes, and runs on by itself', async () => {
    const told = [];
    const stop = device.subscribe('player:player/position', { event: event => told.push(event) });
    const shown = () => page.evaluate(async () => (await import('/js/playback.js')).playback.position);
    const agrees = async () => Math.abs(await shown() - await player('position')) < 1000;
    await page.locator('#library .open').first().click();
    await playsAt(3);
    assert.ok(await agrees());
    await device.activate('player:player/seek', 9000);
    await until(agrees, 'the jump');
    await device.activate('player:player/pause');
    await until(async () => await shown() === await player('position'), 'the pause');
    await until(() => told.length > 1, 'the events');
    stop();
    // To the beginning, playing, the jump, the pause.
    assert.ok(told.length <= 4, `${told.length} times`);
});

test('the keyboard seeks and sets the volume', async () => {
    await page.locator('#play').press('Enter');
    await until(() => page.locator('#seek').isEnabled(), 'a track to seek in');
    await page.locator('#seek').fill('9000');
    await until(async () => await player('position') >= 9000, 'the seek');
    await playsAt(10);
    await page.locator('#volume').press('Home');
    await page.locator('#volume').press('ArrowRight');
    await until(async () => await player('volume') === 1, 'volume 1');
});

describe('the queue', () => {
    let first, second, third, rest;

    const inQueue = expected => until(async () => {
        assert.deepEqual(await page.locator('#queue .name').allTextContents(), expected);
        assert.deepEqual((await device.list('player:queue', ['title'])).map(({ title }) => title), expected);
        return true;
    }, `the queue ${expected}`);
    const idAt = async index => (await device.list('player:queue', ['id']))[index].id;

    beforeEach(async () => {
        await device.activate('player:queue/clear');
        for (const { value } of await device.list('media:/'))
            await device.activate('player:queue/insert', { path: plain(value) });
        const titles = (await device.list('player:queue')).map(({ title }) => title);
        await inQueue(titles);
        [first, second, third, ...rest] = titles;
    });

    test('quick presses move a row as far, and remove one only', async () => {
        const down = page.getByRole('button', { name: `Move ${first} down` });
        await down.focus();
        await down.evaluate(button => [1, 2, 3].forEach(() => button.click()));
        await inQueue([second, third, rest[0], first, ...rest.slice(1)]);
        await page.locator(`:focus[title="Move ${first} down"]`).waitFor();
        await page.getByRole('button', { name: `Remove ${second}` }).click({ clickCount: 4 });
        await inQueue([third, rest[0], first, ...rest.slice(1)]);
        await page.getByRole('button', { name: `Remove ${third}` }).focus();
        for (let press = 0; press < 4; press++)
            await page.keyboard.press('Enter');
        await inQueue([rest[0], first, ...rest.slice(1)]);
        await page.locator('#queue li:first-child:focus').waitFor();
    });

    test('the row that is dragged stays the one, whatever others do', async () => {
        const { x, y, height } = await page.locator('#queue li').nth(2).boundingBox();
        await page.mouse.move(x + 20, y + height / 2);
        await page.mouse.down();
        await page.mouse.move(x + 20, y + 10, { steps: 3 });
        await device.activate('player:queue/remove', { id: await idAt(0) });
        await until(async () => await page.locator('#queue .name').count() === rest.length + 2, 'the removal');
        await page.mouse.move(x + 20, y + 5 - 2 * height, { steps: 5 });
        await page.mouse.up();
        await inQueue([third, second, ...rest]);
    });

    test('what the device refuses is shown at once and taken back', async () => {
        const removed = await idAt(1);
        await page.route('**/api/setData', async route => {
            await page.locator(`#queue li:first-child:has-text("${second}")`).waitFor();
            await device.activate('player:queue/remove', { id: removed });
            await route.continue();
        });
        await page.getByRole('button', { name: `Move ${first} down` }).click();
        await page.getByText('That did not work').waitFor();
        await inQueue([first, third, ...rest]);
    });

    test('removing and clearing are undone', async () => {
        await page.getByRole('button', { name: `Remove ${second}` }).click();
        await inQueue([first, third, ...rest]);
        await page.getByRole('button', { name: 'Undo' }).click();
        await inQueue([first, second, third, ...rest]);
        await page.locator('#clear').press('Enter');
        await inQueue([]);
        await page.locator('#queueHeading:focus').waitFor();
        await page.getByRole('button', { name: 'Undo' }).click();
        await inQueue([first, second, third, ...rest]);
    });

    test('of a track that is queued twice the row that plays is marked', async () => {
        const { value } = (await device.list('player:queue'))[0];
        await device.activate('player:queue/insert', { path: plain(value) });
        await inQueue([first, second, third, ...rest, first]);
        await page.locator('#queue .open').last().click();
        await page.locator('#queue li:last-child.current').waitFor();
        assert.equal(await page.locator('#queue .current').count(), 1);
        await page.getByRole('button', { name: `Add ${second}` }).click();
        await inQueue([first, second, third, ...rest, first, second]);
        await device.activate('player:player/play', { index: 0 });
        await page.locator('#queue li:first-child.current').waitFor();
        await page.getByRole('button', { name: `Play ${third} next` }).click();
        await inQueue([first, third, second, third, ...rest, first, second]);
    });
});

test('one stream serves all tabs, and none while all are hidden', async () => {
    const streams = new Set();
    const isStream = request => request.url().includes('/api/event/pollQueue?');
    context.on('request', request => isStream(request) && streams.add(request));
    for (const end of ['requestfinished', 'requestfailed'])
        context.on(end, request => streams.delete(request));
    const show = (tab, state) => tab.evaluate(to => {
        Object.defineProperty(document, 'visibilityState', { value: to, configurable: true });
        document.dispatchEvent(new Event('visibilitychange'));
    }, state);

    const tabs = await Promise.all(Array.from({ length: 7 }, () => openOnline(context)));
    await device.set('player:player/volume', 41);
    await Promise.all([page, ...tabs].map(tab => showsVolume(tab, 41)));
    // The first tab's is older than this set.
    assert.equal(streams.size, 0);

    await page.close();
    await device.set('player:player/volume', 42);
    await showsVolume(tabs[6], 42);
    assert.equal(streams.size, 1);
    for (const tab of tabs)
        await show(tab, 'hidden');
    await until(() => streams.size === 0, 'no stream');
    await device.set('player:player/volume', 43);
    await show(tabs[3], 'visible');
    await showsVolume(tabs[3], 43);
    await until(() => streams.size === 1, 'one stream again');
});

test('keys do what is done often, unless they are switched off', async () => {
    const press = key => page.keyboard.press(key);
    await press('Space');
    await until(async () => await player('state') === 'playing', 'playing');
    await press('ArrowRight');
    await until(async () => await player('position') >= 10_000, 'the seek');
    await device.set('player:player/mute', false);
    await device.set('player:player/volume', 50);
    await showsVolume(page, 50);
    await press('Shift+ArrowUp');
    await until(async () => await player('volume') === 55, 'louder');
    await press('m');
    await until(async () => await player('mute'), 'mute');
    await press('s');
    await page.locator('#shuffle[aria-pressed=true]').waitFor();
    await press('r');
    await page.getByRole('button', { name: 'Repeat: the queue' }).waitFor();
    await press('/');
    await page.locator('#find:focus').waitFor();
    await page.keyboard.press('Tab');
    await press('?');
    await page.getByLabel('Use these keys').uncheck();
    await page.getByRole('button', { name: 'Close' }).click();
    await page.locator('#keys').waitFor({ state: 'hidden' });
    await press('m');
    // What comes later has been done when this is: the device is asked in order.
    await device.set('player:player/volume', 33);
    await showsVolume(page, 33);
    assert.ok(await player('mute'));
    await device.set('player:player/mute', false);
});

test('streams without an end are live, long ones have hours', async () => {
    await device.activate('player:player/play', 'media:/live');
    await page.locator('#total:text("live")').waitFor();
    assert.ok(await page.locator('#seek').isDisabled());
    assert.deepEqual(await page.evaluate(async () => {
        const { clock } = await import('/js/ui.js');
        return [0, 187_000, 3_600_000, 36_061_000].map(clock);
    }), ['0:00', '3:07', '1:00:00', '10:01:01']);
    await device.activate('player:player/stop');
    await until(() => page.locator('#seek').isDisabled(), 'nothing to seek in');
});

test('what the device does not answer is pending, and then has failed', async () => {
    const tab = await context.newPage();
    await tab.clock.install();
    await tab.goto('/index.html');
    await tab.locator('#queue .open').first().waitFor();
    const asked = [];
    await tab.route('**/api/setData', route => asked.push(route));
    await tab.locator('#play').click();
    await until(() => asked.length, 'the request');
    await tab.clock.fastForward(300);
    await tab.locator('#play[aria-busy=true]').waitFor();
    await tab.clock.fastForward(4200);
    await tab.locator('#connection:not(:empty)').waitFor();
    await tab.clock.fastForward(11_000);
    await tab.getByText('The device does not answer').waitFor();
    assert.equal(await tab.locator('[aria-busy=true]').count(), 0);
    await tab.locator('#connection:empty').waitFor({ state: 'attached' });
});

test('pages survive a restart of the device', async () => {
    await device.stop();
    await page.locator('#connection:not(:empty)').waitFor();
    await page.locator('#mute').click();
    await page.getByText('The device does not answer').waitFor();
    await device.resume();
    await page.locator('#connection:empty').waitFor({ state: 'attached' });
    await device.set('player:player/volume', 12);
    await showsVolume(page, 12);
});
