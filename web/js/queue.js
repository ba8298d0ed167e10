// SPDX-License-Identifier: MIT

/** The queue: its rows play, are moved (by dragging, or with the arrows) and removed. */

import { $, act, device, element, showCount } from './ui.js';
import { LiveList } from './livelist.js';
import { playback } from './playback.js';
import { later, text } from './texts.js';
import { TRACK_ROLES, picture, rowButton, setCurrent, trackRow } from './trackrow.js';

let queue;

/** What changes the queue is loaded when a hand comes near it, or at the first change. */
function edit() {
    return later('queueedit.js');
}

const call = (name, ...values) => act(null, async () => (await edit())[name](queue, ...values));

async function grab(event, id) {
    if (event.button !== 0)
        return;
    event.preventDefault();
    let isHeld = true;
    document.addEventListener('pointerup', () => { isHeld = false; }, { once: true });
    const { startDrag } = await edit();
    if (isHeld)
        startDrag(queue, event, id);
}

function queueRow(row) {
    const { id } = row;
    const grip = element('span', { className: 'grip', 'aria-hidden': 'true' }, picture('bars'));
    grip.onpointerdown = event => grab(event, id);
    const up = rowButton('up', text('Move {title} up', row), 'up', () => call('step', row, -1), 'step');
    const down = rowButton('down', text('Move {title} down', row), 'down', () => call('step', row, 1), 'step');
    const remove = rowButton('remove', text('Remove {title} from the queue', row), 'remove',
        // The further taps of a quick series hit the row that has taken the place.
        event => event.detail > 1 || call('drop', row));
    const item = trackRow(row, event =>
        act(event.currentTarget, () => device.activate('player:player/play', { id })),
    [element('span', { className: 'steps' }, up, down), remove]);
    item.prepend(grip);
    return item;
}

function placed(item, { id }, index) {
    // Not disabled: a button that is loses the focus.
    item.querySelector('[data-control=up]')?.setAttribute('aria-disabled', index === 0);
    item.querySelector('[data-control=down]')?.setAttribute('aria-disabled', index === queue.count - 1);
    mark(item, id);
}

function mark(item, id) {
    setCurrent(item, id === playback.track.id);
}

function changed() {
    showCount($('queueCount'), queue.count);
    $('queueEmpty').hidden = queue.count > 0;
    $('queueTools').hidden = !queue.count;
}

/** @returns {Promise} that the first rows are shown, or cannot be */
export function startQueue() {
    let told;
    const first = new Promise(resolve => { told = resolve; });
    queue = new LiveList($('queue'), {
        path: 'player:queue',
        roles: [...TRACK_ROLES, 'id'],
        key: ({ id }, index) => id ?? `#${index}`,
        make: queueRow,
        placed,
        changed: () => {
            changed();
            told();
        },
        failed: told,
    });
    playback.addEventListener('change', () => queue.items.forEach(([item, id]) => mark(item, id)));
    $('clear').onclick = () => call('clear');
    for (const type of ['pointerover', 'focusin'])
        $('queue').addEventListener(type, () => edit().catch(() => {}), { once: true });
    $('save').onclick = async () => (await later('playlists.js')).saveQueue($('save'));
    return first;
}
