/** The device's own tracks: a tap plays, the plus adds to the queue. */

import { plain } from '../plix.js';
import { $, attempt, device, iconButton } from './ui.js';
import { TRACK_ROLES, trackRow } from './trackrow.js';

function show(rows) {
    // An internal row keeps its place in the list, but has nothing that could be played.
    const tracks = rows.filter(row => plain(row.value));
    $('library').replaceChildren(...tracks.map(libraryRow));
    $('libraryCount').textContent = tracks.length || '';
    $('libraryEmpty').hidden = tracks.length > 0;
}

function libraryRow(row) {
    const path = plain(row.value);
    const add = iconButton(`Add ${row.title} to the queue`, 'add',
        () => attempt(device.activate('player:queue/insert', { path }), `Added ${row.title}`));
    return trackRow(row, 'Play', () => attempt(device.activate('player:player/play', { path })), [add]);
}

export function startLibrary() {
    device.watchList('media:/', TRACK_ROLES, show, error => {
        $('libraryEmpty').textContent = `The library cannot be read: ${error.message}`;
        $('libraryEmpty').hidden = false;
    });
}
