// SPDX-License-Identifier: MIT

/** Albums, artists, folders, playlists: as rows, and as cells of a wall of covers. */

import { plain } from '../plix.js';
import { later, number, text } from './texts.js';
import { act, element } from './ui.js';
import { art, names, picture, rowButton } from './trackrow.js';

const ROW_COVER_PX = 44;
const CELL_COVER_PX = 200;
const ICONS = { genres: 'tag', folders: 'folder', playlists: 'list' };

/** The address of the place that shows a container: "media:/albums/1" gives "#/albums/1". */
export function placeOf(path) {
    const [, name, id = ''] = /^[^:]+:\/?(\w+)(?:\/(.*))?$/s.exec(path) ?? [];
    return `#/${name}/${id.split('/').map(encodeURIComponent).join('/')}`;
}

function kindOf(path) {
    return /^[^:]+:\/?(\w+)/.exec(path)?.[1];
}

/** Of an artist there is no picture, but a letter. */
function standIn(kind, title) {
    if (kind !== 'artists')
        return picture(ICONS[kind] ?? 'note');
    const [letter = ''] = /[\p{L}\p{N}]/u.exec(title ?? '') ?? [];
    return element('span', { className: 'letter', 'data-letter': letter });
}

function link(row, ...children) {
    const label = [row.title, byLine(row.description)].filter(Boolean).join(', ');
    const made = element('a', { className: 'open', href: placeOf(plain(row.value)), title: label, 'aria-label': label }, ...children);
    made.dataset.control = 'open';
    return made;
}

/** Of playlists the number of tracks. */
export function byLine(description) {
    const by = plain(description);
    return typeof by === 'number' ? text('Tracks: {count}', { count: number(by) }) : by;
}

/** What can be done is loaded when it is done. */
function button(name, label, image, className, run) {
    const made = rowButton(name, label, image, () => act(null, async () => run(made, await later('actions.js'))), className);
    return made;
}

function playButton(row, className) {
    return button('play', text('Play {name}', { name: row.title }), 'play', className,
        (made, { play }) => play(made, { path: plain(row.value), title: row.title }));
}

function moreButton(row, more) {
    const made = button('more', text('More for {title}', row), 'more', undefined,
        (_, { openActions }) => openActions(made, row, more));
    made.setAttribute('aria-haspopup', 'menu');
    return made;
}

/** @param {Array<object>} [more] entries of its menu */
export function containerRow(row, more) {
    const kind = kindOf(plain(row.value) ?? '');
    const item = element('li', { tabIndex: -1, className: kind },
        link(row, art(row.icon, ROW_COVER_PX, standIn(kind, row.title)), names(row.title, byLine(row.description))),
        playButton(row), moreButton(row, more));
    return item;
}

export function wallCell(row) {
    const cover = art(row.icon, CELL_COVER_PX);
    if (row.icon)
        cover.lastElementChild.alt = text('Cover of {title}', row);
    return element('li', { tabIndex: -1 },
        link(row, cover, names(row.title, row.description)), playButton(row, 'round primary small'), moreButton(row));
}
