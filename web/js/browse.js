// SPDX-License-Identifier: MIT

/** Albums, artists, genres, folders and what is new; and the page of each of them. */

import { text } from './texts.js';
import { device, element, icon, showCover } from './ui.js';
import { add, play } from './actions.js';
import { showGroups } from './groups.js';
import { showList } from './library.js';
import { playback } from './playback.js';
import { byLine, containerRow, wallCell } from './containers.js';
import { TRACK_ROLES, libraryRow } from './trackrow.js';

const ROLES = [...TRACK_ROLES, 'type', 'maximum', 'year'];
const HEADER_COVER_PX = 176;

const LISTS = {
    albums: { path: 'media:/albums', make: wallCell, className: 'wall', isSorted: true,
        empty: text('There are no albums. They are made from the tags of your files.') },
    artists: { path: 'media:/artists', make: containerRow, isSorted: true, empty: text('There are no artists.') },
    genres: { path: 'media:/genres', make: containerRow, isSorted: true, empty: text('There are no genres.') },
    folders: { path: 'media:/folders', make: rowOf },
    recent: { path: 'media:/recent', make: row => libraryRow(row) },
};

/** Tracks of a container play it from there on. */
function rowOf(row, container) {
    if (row.type === 'container')
        return containerRow(row);
    return libraryRow(row, container && ((control, from) => play(control, { ...container, from })));
}

export async function show(host, { name, id }) {
    if (!id)
        return showList(host, { roles: ROLES, ...LISTS[name] });
    const path = `media:/${name}/${id}`;
    const header = await showHeader(host, path, name);
    const container = { path, title: header.title };
    if (name === 'artists')
        return showGroups(host, path, rowOf);
    const isAlbum = name === 'albums';
    // Who has made the album is said above.
    const make = row => rowOf(isAlbum && row.description === header.by ? { ...row, description: '' } : row, container);
    return showList(host, { path, roles: isAlbum ? [...ROLES, 'track'] : ROLES, make });
}

/** What a container is, and what can be done with it. Its node gives what it knows. */
export async function showHeader(host, path, name, more = []) {
    const { title = '', description, icon: cover, year } = await device.get(path, ['title', 'description', 'icon', 'year']);
    const target = { path, title };
    const heading = element('h3', { dir: 'auto', tabIndex: -1, textContent: title });
    heading.dataset.first = '';
    const button = (label, image, run, className = 'action second') =>
        element('button', { type: 'button', className, onclick: ({ currentTarget }) => run(currentTarget) },
            icon(image), element('span', { textContent: label }));
    const addButton = button(text('Add'), 'add', control => add(control, target));
    addButton.ariaLabel = text('Add to the queue');
    const by = [byLine(description), year].filter(Boolean);
    host.append(backTo(name), element('header', { className: 'head' },
        ...(name === 'albums' ? [sleeve(cover, title)] : []),
        element('div', { className: 'what' },
            heading,
            ...(by.length ? [element('p', { dir: 'auto', textContent: by.join(' · ') })] : [])),
        element('div', { className: 'actions' },
            button(text('Play'), 'play', control => play(control, target), 'action'),
            button(text('Play next'), 'playnext', control => add(control, target, { after: playback.track.id ?? '' })),
            addButton,
            ...more.map(({ label, icon: image, run }) => button(label, image, run)))));
    return { title, by: description };
}

/** To where the person came from, if that is in the history. */
function backTo(name) {
    const link = document.querySelector(`#places [href="#/${name}"]`);
    return element('a', { className: 'backto', href: link.hash }, icon('back'), element('span', { textContent: link.textContent }));
}

function sleeve(cover, title) {
    const image = element('img', { alt: text('Cover of {title}', { title }), hidden: true });
    showCover(image, cover, HEADER_COVER_PX);
    return element('div', { className: 'sleeve' }, icon('note'), image);
}
