// SPDX-License-Identifier: MIT

// A library of one's own, with playlists and stations.

import assert from 'node:assert/strict';
import { mkdtempSync, renameSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, beforeEach, test } from 'node:test';
import { plain } from '../../web/plix.js';
import { open, openOnline, phone, profile } from './browser.mjs';
import { Device, until } from './device.mjs';
import { browser, device, newProfile, nodes } from './fixture.mjs';
import { makeCover, makeTrack } from './music.mjs';

const folder = mkdtempSync(join(tmpdir(), 'plix-web-music-'));
const music = join(folder, 'music');
const ALBUMS = Array.from({ length: 12 }, (_, index) => `Album ${String.fromCharCode(65 + index)}`);
const STATIONS = 'settings:/media/stations';
const small = { viewport: { width: 390, height: 600 } };

nodes['settings:/media/directory'] = { value: { string_: music } };
for (const [index, album] of ALBUMS.entries()) {
    const artist = index % 2 ? 'Østen Band' : 'Quiet Yard';
    makeTrack(music, `${artist}/${album}/1.flac`, { title: `${album} one`, artist, album, album_artist: artist, track: 1 });
}
for (const track of [2, 3])
    makeTrack(music, `Quiet Yard/Album A/${track}.flac`, { title: `Number ${track}`, artist: 'Quiet Yard', album: 'Album A', album_artist: 'Quiet Yard', track });
makeCover(music, 'Quiet Yard/Album A/cover.jpg', 'color=teal');

let page;
const player = name => device.get(`player:player/${name}`);
const queue = async () => (await device.list('player:queue', ['title'])).map(({ title }) => title);
const queueIs = titles => until(async () => {
    assert.deepEqual(await queue(), titles);
    return true;
}, `the queue ${titles}`);
const press = name => page.getByRole('button', { name, exact: true }).first().click();
const choose = name => page.getByRole('menuitem', { name, exact: true }).click();
const shown = selector => page.locator(selector).first().waitFor();

before(() => until(async () => (await device.get('media:scan')).state === 'idle', 'the first scan', 60_000));
after(() => rmSync(folder, { recursive: true }));
beforeEach(async () => {
    await device.activate('player:player/stop');
    await device.activate('player:queue/clear');
});

test('a library of albums is a wall of covers, and back leads to where one was', async () => {
    page = await openOnline(await newProfile(small), '/index.html#/albums');
    await page.getByRole('link', { name: 'Album A, Quiet Yard' }).waitFor();
    await until(() => page.getByAltText('Cover of Album A').evaluate(({ naturalWidth }) => naturalWidth === 256), 'a scaled cover');
    await page.evaluate(() => scrollTo(0, document.documentElement.scrollHeight));
    const link = page.getByRole('link', { name: 'Album L, Østen Band' });
    await link.focus();
    const before = await page.evaluate(() => scrollY);
    await link.press('Enter');
    await page.locator('h3:focus').getByText('Album L').waitFor();
    assert.match(page.url(), /#\/albums\/\w+$/);
    await page.reload();
    await page.getByRole('button', { name: 'Play Album L one', exact: true }).waitFor();
    await page.goBack();
    await link.waitFor();
    assert.equal(await page.evaluate(() => scrollY), before);
    for (const [place, name] of [['Artists', 'Østen Band'], ['Genres'], ['New', 'Number 3'], ['Folders', 'Quiet Yard'], ['Tracks', 'Album C one']]) {
        await page.locator('#places').getByRole('link', { name: place }).click();
        await shown(name ? `#library .name:text-is("${name}")` : '#libraryEmpty');
    }
});

test('an artist, an album and a folder play, follow and wait their turn', async () => {
    page = await openOnline(await newProfile(), '/index.html#/artists');
    await page.getByRole('button', { name: 'Play Quiet Yard' }).click();
    await until(async () => (await queue()).length === 8, 'all tracks of the artist');
    assert.equal(await player('state'), 'playing');
    await page.getByRole('link', { name: 'Quiet Yard' }).click();
    await page.getByRole('link', { name: 'Album A, Quiet Yard' }).click();
    const album = ['Album A one', 'Number 2', 'Number 3'];
    await press('Play Number 2');
    await queueIs(album);
    await until(async () => (await player('track')).title === 'Number 2', 'the track that was tapped');
    await shown('#library .current');
    await press('Undo');
    await until(async () => (await queue()).length === 8, 'what was in the queue before');
    await device.activate('player:queue/clear');
    await press('Add to the queue');
    await queueIs(album);
    await device.activate('player:player/play', { index: 0 });
    await page.goto('/index.html#/folders');
    await press('More for Østen Band');
    await choose('Play next');
    await until(async () => (await queue())[1] === 'Album B one', 'the folder');
    assert.deepEqual((await queue()).slice(7), album.slice(1));
    await page.locator('[title="More for Østen Band"]:focus').waitFor();
});

test('what is found follows the typing, and comes in groups', async () => {
    page = await openOnline(await newProfile());
    await shown('#library .open');
    let release;
    await page.route(/search%2Fosten&/, async route => {
        await new Promise(resolve => { release = resolve; });
        await route.continue().catch(() => {});
    });
    await page.locator('#find').fill('osten');
    await until(() => release, 'the request');
    await page.locator('#find').fill('number');
    await page.locator('.group').getByText('Number 2').waitFor();
    release();
    await page.locator('#find').fill('quiet');
    await page.getByRole('region', { name: 'Albums' }).getByText('Album A').waitFor();
    assert.deepEqual(await page.locator('.group:visible h3').allTextContents(), ['Artists', 'Albums', 'Tracks']);
    assert.equal(await page.locator('.group').getByText('Østen Band').count(), 0);
    await page.locator('#find').fill('nothing of the kind');
    await page.getByText('Nothing was found for “nothing of the kind”.').waitFor();
    await page.goBack();
    await page.locator('#places [aria-current=page]').getByText('Albums').or(page.locator('#library.wall')).first().waitFor();
    assert.equal(await page.inputValue('#find'), '');
    const cell = page.locator('.wall li').first();
    const [title, more] = await Promise.all(['.name', '[data-control=more]'].map(part => cell.locator(part).boundingBox()));
    assert.ok(Math.abs(title.y + title.height / 2 - more.y - more.height / 2) < title.height / 2, 'the title beside its button');
});

test('lists follow the folder, and say when it is not there', async () => {
    page = await openOnline(await newProfile(), '/index.html#/artists');
    makeTrack(music, 'New/1.flac', { title: 'Fresh', artist: 'A New One', album: 'Fresh' });
    await page.getByRole('link', { name: 'A New One' }).waitFor();
    renameSync(music, `${music}-away`);
    await press('Look for new music');
    await page.getByText('The folder with your music is not there').waitFor();
    await page.getByRole('link', { name: 'A New One' }).waitFor();
    renameSync(`${music}-away`, music);
    await press('Try again');
    await until(async () => (await device.get('media:scan')).state === 'idle', 'the scan');
    await page.getByText('The folder with your music is not there').waitFor({ state: 'hidden' });
});

test('the queue is saved as a playlist, which is renamed, played and deleted', async () => {
    const [{ value }] = await device.list('media:/albums', ['value']);
    await device.activate('player:queue/insert', { path: plain(value) });
    const titles = await queue();
    page = await openOnline(await newProfile());
    const save = async name => {
        await press('Save');
        await page.getByRole('textbox', { name: 'Name' }).fill(name);
        await page.getByRole('textbox', { name: 'Name' }).press('Enter');
    };
    await save('Dinner');
    await page.getByText('Saved as Dinner').waitFor();
    await save('Dinner');
    await press('Replace');
    await until(async () => await page.getByText('Saved as Dinner').count() === 2, 'the second time');
    await page.locator('#places').getByRole('link', { name: 'Playlists' }).click();
    await press('More for Dinner');
    await choose('Rename');
    await page.getByRole('textbox', { name: 'Name' }).fill('Supper');
    await page.getByRole('textbox', { name: 'Name' }).press('Enter');
    await page.getByRole('link', { name: 'Supper' }).waitFor();
    await device.activate('player:queue/clear');
    await page.getByRole('link', { name: 'Supper' }).click();
    await press(`Play ${titles[1]}, Quiet Yard`);
    await queueIs(titles);
    await until(async () => (await player('track')).title === titles[1], 'the track that was tapped');
    await page.goBack();
    await press('More for Supper');
    await choose('Delete');
    await press('Delete');
    await page.getByText('There are no playlists yet').waitFor();
});

test('stations are added, edited and removed, and others are kept', async () => {
    page = await openOnline(await newProfile(), '/index.html#/radio');
    const station = (title, url) => ({ title, url });
    const stationsAre = expected => until(async () => {
        assert.deepEqual(await device.get(STATIONS), expected);
        return true;
    }, 'the stations');
    await press('Add a station');
    await page.getByRole('textbox', { name: 'Name' }).fill('One');
    await page.getByLabel('Address of the stream').fill('gopher://radio.example/one');
    await press('Add');
    await page.locator('input:invalid').waitFor();
    await page.getByLabel('Address of the stream').fill('http://radio.example/one');
    await press('Add');
    await page.locator('#library').getByText('live').waitFor();
    await stationsAre([station('One', 'http://radio.example/one')]);
    await press('More for One');
    await device.set(STATIONS, [station('Zero', 'http://radio.example/0'), station('One', 'http://radio.example/one')]);
    await choose('Edit');
    await page.getByRole('textbox', { name: 'Name' }).fill('Uno');
    await press('Save');
    await page.getByRole('button', { name: 'Play Uno, live' }).waitFor();
    await stationsAre([station('Zero', 'http://radio.example/0'), station('Uno', 'http://radio.example/one')]);
    await press('More for Zero');
    await choose('Remove');
    await stationsAre([station('Uno', 'http://radio.example/one')]);
    await press('Undo');
    await stationsAre([station('Zero', 'http://radio.example/0'), station('Uno', 'http://radio.example/one')]);
});

test('what could not be played is said, and can be put away', async () => {
    const mute = await Device.start({
        'settings:/player/engine': { value: { string_: 'gstreamer' } },
        'settings:/player/output': { value: { string_: 'no-such-sink' } },
    });
    after(() => mute.end());
    page = await openOnline(await profile(browser, mute, phone));
    await press('Play');
    await until(() => mute.get('player:player/error'), 'an error');
    const fault = page.locator('#faultText');
    await until(async () => await fault.textContent() === await mute.get('player:player/error'), 'the reason');
    await page.getByRole('button', { name: 'Put this message away' }).click();
    await fault.waitFor({ state: 'hidden' });
});

test('what is heard here is shown and controlled by the system', async () => {
    const context = await newProfile();
    await context.addInitScript(() => {
        window.handlers = {};
        const { mediaSession } = navigator;
        const set = mediaSession.setActionHandler.bind(mediaSession);
        mediaSession.setActionHandler = (action, handler) => {
            window.handlers[action] = handler;
            set(action, handler);
        };
        mediaSession.setPositionState = state => { window.position = state; };
    });
    page = await open(context);
    const [{ value }] = await device.list('media:/albums', ['value']);
    await device.activate('player:queue/load', { path: plain(value) });
    await page.locator('#listen:enabled').click();
    const session = () => page.evaluate(() => {
        const { metadata, playbackState } = navigator.mediaSession;
        const { title, artist, album, artwork } = metadata ?? {};
        return { title, artist, album, cover: artwork?.[0]?.src.includes('size=512'), playbackState };
    });
    const expected = { title: 'Album A one', artist: 'Quiet Yard', album: 'Album A', cover: true, playbackState: 'playing' };
    await until(async () => {
        assert.deepEqual(await session(), expected);
        return true;
    }, 'the metadata');
    const act = (action, details) => page.evaluate(([name, given]) => window.handlers[name](given), [action, details]);
    await act('seekto', { seekTime: 7 });
    await until(async () => await player('position') >= 7000, 'the seek');
    await until(() => page.evaluate(() => window.position.position >= 7 && window.position.duration === 20), 'the position');
    await act('nexttrack');
    await until(async () => (await session()).title === 'Number 2', 'the next track');
    await act('previoustrack');
    await until(async () => (await session()).title === 'Album A one', 'the track before');
    await act('pause');
    await until(async () => (await session()).playbackState === 'paused', 'the pause');
    await act('play');
    await until(async () => await player('state') === 'playing', 'playing');
});
