// SPDX-License-Identifier: MIT

/** Rows of tracks: in the queue, and in the lists of the library. */

import { plain } from '../plix.js';
import { text } from './texts.js';
import { act, clock, device, element, icon, showCover } from './ui.js';
import { playback } from './playback.js';

export const TRACK_ROLES = ['title', 'description', 'icon', 'value'];
const COVER_PX = 44;

export function names(title, by) {
    return element('span', { className: 'names' },
        element('span', { className: 'name', dir: 'auto', textContent: title ?? '' }), ' ',
        element('span', { className: 'by', dir: 'auto', textContent: by ?? '' }));
}

/** A picture, and what stands for it until it is there. */
export function art(path, width, stand = picture('note')) {
    const made = element('span', { className: 'art' }, stand);
    if (path) {
        const image = element('img', { alt: '', hidden: true });
        showCover(image, path, width);
        made.append(image);
    }
    return made;
}

/** An icon that the style sheet makes of a letter or of borders; the others are drawn. */
const SIGNS = new Set(['note', 'add', 'remove', 'bars', 'up', 'down', 'playnext']);

export function picture(name) {
    return SIGNS.has(name) ? element('i', { className: `sign ${name}` }) : icon(name);
}

/** A button of a row; `name` stays the same when the row is made anew. */
export function rowButton(name, label, image, onclick, className = 'round small') {
    const made = element('button', { type: 'button', className, title: label, ariaLabel: label, onclick }, picture(image));
    made.dataset.control = name;
    return made;
}

/**
 * @param {object} row values of TRACK_ROLES
 * @param {() => void} onclick plays it
 * @param {Element[]} controls further buttons
 * @param {Element} [first] in place of the cover
 */
export function trackRow(row, onclick, controls, first = art(row.icon, COVER_PX)) {
    if (!plain(row.value))
        return element('li', { tabIndex: -1, className: 'withheld', textContent: text('Not shown here') });
    // All that is seen, because people who speak to the device say what they see.
    const label = text('Play {name}', { name: [row.title, row.description].filter(Boolean).join(', ') });
    const open = element('button', { type: 'button', className: 'open', 'aria-label': label, onclick },
        first, names(row.title, row.description));
    open.dataset.control = 'open';
    open.title = [row.title, row.description].filter(Boolean).join('\n');
    return element('li', { tabIndex: -1 }, open, ...controls);
}

/**
 * A track of the library: a tap plays it, the plus adds it to the queue.
 * @param {object} row values of TRACK_ROLES, and of `maximum` and `track` to be shown
 * @param {(control: Element, path: string) => void} [play] what a tap does instead
 */
export function libraryRow(row, play = playTrack) {
    const path = plain(row.value);
    const button = (name, label, image, place, done) => rowButton(name, label, image, ({ currentTarget }) =>
        act(currentTarget, () => device.activate('player:queue/insert', { path, ...place() }), done));
    const controls = [
        button('next', text('Play {title} next', row), 'playnext', () => ({ after: playback.track.id ?? '' }),
            text('{title} is next', row)),
        button('add', text('Add {title} to the queue', row), 'add', () => ({}), text('Added {title}', row)),
    ];
    if (row.maximum)
        controls.unshift(element('span', { className: 'length', textContent: clock(row.maximum) }));
    return trackRow(row, ({ currentTarget }) => play(currentTarget, path), controls,
        row.track && element('span', { className: 'number', textContent: row.track }));
}

function playTrack(control, path) {
    act(control, () => device.activate('player:player/play', { path }));
}

/** Marks the row of what is playing; for LiveList's `placed`. */
export function markTrack(item, row) {
    const path = plain(row.value);
    setCurrent(item, Boolean(path) && path === playback.track.path);
}

export function setCurrent(item, isCurrent) {
    item.classList.toggle('current', isCurrent);
    const open = item.querySelector('.open');
    if (open)
        open.ariaCurrent = isCurrent ? 'true' : null;
}
