// SPDX-License-Identifier: MIT

/** Playlists of the device: the queue saved under a name. */

import { plain } from '../plix.js';
import { text } from './texts.js';
import { act, device, toast } from './ui.js';
import { play } from './actions.js';
import { showHeader } from './browse.js';
import { containerRow } from './containers.js';
import { ask } from './dialog.js';
import { showList } from './library.js';
import { TRACK_ROLES, libraryRow } from './trackrow.js';

const LIST = 'player:playlists';
const TITLE = { name: 'title', required: true, maxLength: 100 };

/** Saves the queue; asks again before another playlist is replaced. */
export async function saveQueue(control) {
    const given = await ask({ title: text('Save the queue as a playlist'), yes: text('Save'),
        fields: [{ ...TITLE, label: text('Name') }] });
    if (!given)
        return;
    let exists = false;
    const save = options => act(control, () =>
        device.activate(`${LIST}/save`, { ...given, ...options }).catch(error => {
            exists = !options && error.name === 'exists';
            if (!exists)
                throw error;
        }));
    let isSaved = await save();
    if (exists) {
        if (!await ask({ title: text('Replace the playlist {title}?', given), yes: text('Replace'),
            says: text('There is one of this name already.') }))
            return;
        isSaved = await save({ replace: true });
    }
    if (isSaved)
        toast(text('Saved as {title}', given));
}

async function rename(control, row) {
    const given = await ask({ title: text('Rename the playlist'), yes: text('Rename'),
        fields: [{ ...TITLE, label: text('Name'), value: row.title }] });
    if (given && given.title !== row.title)
        await act(control, () => device.activate(`${LIST}/rename`, { path: plain(row.value), ...given }), text('Renamed'));
}

async function remove(control, row) {
    const isSure = await ask({ title: text('Delete the playlist {title}?', row), yes: text('Delete'),
        says: text('The tracks in it stay in the library.') });
    return isSure && act(control, () => device.activate(`${LIST}/remove`, { path: plain(row.value) }),
        text('Removed {title}', row));
}

function playlistRow(row) {
    const item = containerRow(row, [
        { label: text('Rename'), icon: 'edit', run: () => rename(item, row) },
        { label: text('Delete'), icon: 'remove', run: () => remove(item, row) },
    ]);
    return item;
}

export async function show(host, { id }) {
    if (!id)
        return showList(host, {
            path: LIST, roles: TRACK_ROLES, make: playlistRow, isSorted: true,
            empty: text('There are no playlists yet. Fill the queue and save it.'),
        });
    const path = `${LIST}/${id}`;
    const { title } = await showHeader(host, path, 'playlists');
    return showList(host, {
        path, roles: [...TRACK_ROLES, 'maximum'],
        // A track may be in it twice.
        key: (row, index) => `${index} ${plain(row.value)}`,
        make: row => libraryRow(row, (control, from) => play(control, { path, title, from })),
        empty: text('This playlist is empty.'),
    });
}
