// SPDX-License-Identifier: MIT

/** Radio stations: those that the person has added, and those of playlists among the music. */

import { plain } from '../plix.js';
import { text } from './texts.js';
import { act, device, element, icon, toast } from './ui.js';
import { ask } from './dialog.js';
import { showList } from './library.js';
import { openMenu } from './menu.js';
import { art, libraryRow, picture, rowButton, trackRow, TRACK_ROLES } from './trackrow.js';

const SETTING = 'settings:/media/stations';
const COVER_PX = 44;
const WEB = { type: 'url', pattern: 'https?://.+', maxLength: 2000, dir: 'ltr' };

/**
 * Changes the list as it is now, not as it was when it was shown.
 * @param {(stations: object[]) => object[]} change
 */
function write(control, change, done, undo) {
    return act(control, async () => device.set(SETTING, change(await device.get(SETTING) ?? [])), done, undo);
}

/** The setting's entry behind a row; undefined for one of a playlist's file. */
async function entryOf(row) {
    const [url, stations] = await Promise.all([device.get(plain(row.value)), device.get(SETTING)]);
    return stations?.find(station => station.url.trim() === url);
}

const isSame = (one, other) => one.url === other.url && one.title === other.title;

async function form(title, yes, station = {}) {
    const given = await ask({ title, yes, fields: [
        { name: 'title', label: text('Name'), required: true, maxLength: 100, value: station.title ?? '' },
        { name: 'url', label: text('Address of the stream'), required: true, placeholder: 'https://', value: station.url ?? '', ...WEB },
        { name: 'picture', label: text('Address of a picture'), hint: text('May be left out.'), value: station.picture ?? '', ...WEB },
    ] });
    if (given && !given.picture)
        delete given.picture;
    return given;
}

async function addStation(control) {
    const station = await form(text('Add a station'), text('Add'));
    if (station)
        write(control, stations => [...stations, station], text('Added {title}', station));
}

async function edit(control, station) {
    const changed = await form(text('Edit the station'), text('Save'), station);
    if (changed)
        write(control, stations => stations.map(other => isSame(other, station) ? changed : other), text('Saved'));
}

function remove(control, station) {
    let at;
    write(control, stations => {
        at = stations.findIndex(other => isSame(other, station));
        return stations.filter((_, index) => index !== at);
    }, text('Removed {title}', station),
    () => write(null, stations => stations.toSpliced(at, 0, station)));
}

async function openStationMenu(button, row) {
    let station;
    if (!await act(button, async () => { station = await entryOf(row); }))
        return;
    if (!station)
        return toast(text('This station is in a playlist among your music.'));
    openMenu(button, [
        { label: text('Edit'), icon: 'edit', run: () => edit(button, station) },
        { label: text('Remove'), icon: 'remove', run: () => remove(button, station) },
    ]);
}

function stationRow(row) {
    const path = plain(row.value);
    if (!path)
        return libraryRow(row);
    const more = rowButton('more', text('More for {title}', row), 'more', () => openStationMenu(more, row));
    more.setAttribute('aria-haspopup', 'menu');
    const add = rowButton('add', text('Add {title} to the queue', row), 'add', () =>
        act(add, () => device.activate('player:queue/insert', { path }), text('Added {title}', row)));
    return trackRow({ ...row, description: text('live') },
        ({ currentTarget }) => act(currentTarget, () => device.activate('player:player/play', { path })),
        [add, more], art(row.icon, COVER_PX, picture('radio')));
}

export function show(host) {
    const button = element('button', { type: 'button', className: 'action second', onclick: () => addStation(button) },
        icon('add'), element('span', { textContent: text('Add a station') }));
    host.append(element('div', { className: 'actions' }, button));
    return showList(host, {
        path: 'media:/stations', roles: TRACK_ROLES, make: stationRow,
        empty: text('There are no stations yet. A station is the address of a stream on the internet.'),
    });
}
