// SPDX-License-Identifier: MIT

/** What can be done with all tracks of an album, an artist, a folder, a playlist. */

import { plain } from '../plix.js';
import { text } from './texts.js';
import { act, device, toast } from './ui.js';
import { openMenu } from './menu.js';
import { playback } from './playback.js';

/** Plays it instead of the queue, which an undo brings back. */
export async function play(control, { path, title, from }) {
    let former;
    const isDone = await act(control, async () => {
        ({ rows: [former] } = await device.rows('player:queue', { from: 0, to: 0, roles: ['id'] }));
        await device.activate('player:queue/load', { path, ...(from && { from }) });
    });
    const restore = () => act(null, () => device.activate('player:queue/restore', { id: former.id }));
    if (isDone)
        toast(text('The queue is now: {title}', { title }), { undo: former && restore });
}

export function add(control, { path, title }, place = {}) {
    return act(control, () => device.activate('player:queue/insert', { path, ...place }),
        place.after === undefined ? text('Added {title}', { title }) : text('{title} is next', { title }));
}

/**
 * The menu of a row.
 * @param {HTMLElement} button
 * @param {object} row
 * @param {Array<{label: string, icon: string, run: () => void}>} [more] further entries
 */
export function openActions(button, row, more = []) {
    const target = { path: plain(row.value), title: row.title };
    openMenu(button, [
        { label: text('Play'), icon: 'play', run: () => play(button, target) },
        { label: text('Play next'), icon: 'playnext', run: () => add(button, target, { after: playback.track.id ?? '' }) },
        { label: text('Add to the queue'), icon: 'add', run: () => add(button, target) },
        ...more,
    ]);
}
