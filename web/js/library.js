/** The device's own tracks: a tap plays, the plus adds to the queue. */

import { plain } from '../plix.js';
import { $, act, device, iconButton } from './ui.js';
import { LiveList } from './livelist.js';
import { TRACK_ROLES, trackRow } from './trackrow.js';

function libraryRow(row) {
    const path = plain(row.value);
    const add = iconButton(`Add ${row.title} to the queue`, 'add', event =>
        act(event.currentTarget, () => device.activate('player:queue/insert', { path }), `Added ${row.title}`));
    add.dataset.control = 'add';
    return trackRow(row, 'Play', event =>
        act(event.currentTarget, () => device.activate('player:player/play', { path })), [add]);
}

export function startLibrary() {
    const library = new LiveList($('library'), {
        path: 'media:/',
        roles: TRACK_ROLES,
        key: (row, index) => plain(row.value) ?? `#${index}`,
        make: libraryRow,
        changed: () => {
            $('libraryCount').textContent = library.count || '';
            $('libraryEmpty').hidden = library.count > 0;
        },
        failed: error => {
            $('libraryEmpty').textContent = `The library cannot be read: ${error.message}`;
            $('libraryEmpty').hidden = false;
        },
    });
}
