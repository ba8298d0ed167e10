// SPDX-License-Identifier: MIT

/** The library: its first list. What else there is in it is loaded when it is wanted. */

import { plain } from '../plix.js';
import { later, text } from './texts.js';
import { $, act, device, element, showCount } from './ui.js';
import { LiveList } from './livelist.js';
import { playback } from './playback.js';
import { TRACK_ROLES, libraryRow, markTrack } from './trackrow.js';

/** Shorter lists are scrolled through faster than a letter is chosen. */
const LONG_LIST = 100;

/**
 * The main list of a place.
 * @param {HTMLElement} host
 * @param {object} options of LiveList, and:
 * @param {string} [options.className] "wall" for cells instead of rows
 * @param {boolean} [options.isSorted] by title
 * @param {string} [options.empty] what to say when there is nothing
 * @returns {{list: LiveList, stop: () => void, ready: Promise}}
 */
export function showList(host, { className = '', isSorted = false, empty, ...options }) {
    const rows = element('ul', { id: 'library', className: `rows loading ${className}`, tabIndex: -1, 'aria-busy': 'true' });
    const none = element('p', { className: 'empty', id: 'libraryEmpty', hidden: true });
    host.append(rows, none);
    let told;
    const ready = new Promise(resolve => { told = resolve; });
    const list = new LiveList(rows, {
        roles: TRACK_ROLES,
        key: (row, index) => plain(row.value) ?? `#${index}`,
        placed: markTrack,
        changed: () => {
            showCount($('libraryCount'), list.count);
            none.textContent = empty ?? text('There are no tracks on this device.');
            none.hidden = list.count > 0;
            $('jump').hidden = true;
            if (isSorted && list.count >= LONG_LIST)
                later('jump.js').then(({ offerJump }) => rows.isConnected && offerJump(list), () => {});
            told();
        },
        failed: error => {
            none.textContent = text('The library cannot be read: {reason}', { reason: error.message });
            none.hidden = false;
            rows.classList.remove('loading');
            told();
        },
        ...options,
    });
    const mark = () => list.items.forEach(([item]) => markTrack(item, item.row));
    playback.addEventListener('change', mark);
    return {
        list,
        ready,
        stop: () => {
            list.stop();
            playback.removeEventListener('change', mark);
        },
    };
}

export async function showTracks(host) {
    host.replaceChildren();
    return showList(host, { path: 'media:/', make: row => libraryRow(row), isSorted: true });
}

/** A library of one's own is a wall of albums; the tones that come with the device have none. */
export async function home() {
    const { count } = await device.rows('media:/albums', { from: 1, to: 0 }).catch(() => ({}));
    return count ? 'albums' : 'tracks';
}

export async function startLibrary() {
    let view = null;
    let places;
    // As it is when something else is wanted, before anything has changed for it.
    const open = () => act(null, async () => {
        const former = { view, y: scrollY };
        places ??= later('places.js');
        (await places).start(former);
    });
    const once = { once: true };
    addEventListener('hashchange', open, once);
    $('find').addEventListener('input', open, once);
    const isElsewhere = location.hash.startsWith('#/') || await home() !== 'tracks';
    // Both in one turn: one request follows them.
    const tracks = isElsewhere || places ? null : showTracks($('place'));
    device.watch('media:scan', async scan => {
        if (scan?.state && scan.state !== 'off')
            (await later('scan.js')).showScan(scan);
    });
    if (isElsewhere)
        open();
    else if (tracks)
        view = await tracks;
}
