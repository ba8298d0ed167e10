// SPDX-License-Identifier: MIT

/** The device's own tracks: a tap plays, the plus adds to the queue. */

import { plain } from '../plix.js';
import { text } from './texts.js';
import { $, act, device, iconButton, showCount } from './ui.js';
import { playback } from './playback.js';
import { LiveList } from './livelist.js';
import { TRACK_ROLES, trackRow } from './trackrow.js';

/** Shorter lists are scrolled through faster than a letter is chosen. */
const LONG_LIST = 100;
const LETTERS = [...'ABCDEFGHIJKLMNOPQRSTUVWXYZ'];
const END = 'end';

let library;

function libraryRow(row) {
    const path = plain(row.value);
    const add = iconButton(text('Add {title} to the queue', row), 'add', event =>
        act(event.currentTarget, () => device.activate('player:queue/insert', { path }), text('Added {title}', row)));
    add.dataset.control = 'add';
    const next = iconButton(text('Play {title} next', row), 'playnext', event => act(event.currentTarget,
        () => device.activate('player:queue/insert', { path, after: playback.track.id ?? '' }),
        text('{title} is next', row)));
    next.dataset.control = 'next';
    return trackRow(row, event =>
        act(event.currentTarget, () => device.activate('player:player/play', { path })), [next, add]);
}

/** The device has the titles in order, whatever their case. */
async function jump() {
    const letter = $('jump').value;
    $('jump').value = '';
    library.scrollTo(letter === END ? library.count - 1
        : await library.search(({ title }) => title.toUpperCase() >= letter));
}

export function startLibrary() {
    $('jump').append(...LETTERS.map(letter => new Option(letter)), new Option(text('The end'), END));
    $('jump').onchange = () => act($('jump'), jump);

    library = new LiveList($('library'), {
        path: 'media:/',
        roles: TRACK_ROLES,
        key: (row, index) => plain(row.value) ?? `#${index}`,
        make: libraryRow,
        changed: () => {
            showCount($('libraryCount'), library.count);
            $('libraryEmpty').hidden = library.count > 0;
            $('jump').hidden = library.count < LONG_LIST;
        },
        failed: error => {
            $('libraryEmpty').textContent = text('The library cannot be read: {reason}', { reason: error.message });
            $('libraryEmpty').hidden = false;
        },
    });
}
