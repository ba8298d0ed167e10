// SPDX-License-Identifier: MIT

/** The queue: play, move (by dragging, or with the arrows), remove. */

import { $, act, device, element, icon, iconButton, showCount } from './ui.js';
import { LiveList } from './livelist.js';
import { playback } from './playback.js';
import { number, text } from './texts.js';
import { TRACK_ROLES, trackRow } from './trackrow.js';

/** Dragging this near to the screen's edge scrolls. */
const EDGE_PX = 80;
const SCROLL_PX = 12;

let queue;

function queueRow(row) {
    const { id } = row;
    const grip = element('span', { className: 'grip', 'aria-hidden': 'true' }, icon('grip'));
    grip.onpointerdown = event => startDrag(event, id);
    const up = control('up', iconButton(text('Move {title} up', row), 'up', () => step(row, -1), 'step'));
    const down = control('down', iconButton(text('Move {title} down', row), 'down', () => step(row, 1), 'step'));
    const remove = control('remove', iconButton(text('Remove {title} from the queue', row), 'remove',
        event => drop(event, row)));
    const item = trackRow(row, event =>
        act(event.currentTarget, () => device.activate('player:player/play', { id })),
    [element('span', { className: 'steps' }, up, down), remove]);
    item.prepend(grip);
    return item;
}

function control(name, button) {
    button.dataset.control = name;
    return button;
}

function placed(item, { id }, index) {
    // Not disabled: a button that is loses the focus.
    item.querySelector('[data-control=up]')?.setAttribute('aria-disabled', index === 0);
    item.querySelector('[data-control=down]')?.setAttribute('aria-disabled', index === queue.count - 1);
    mark(item, id);
}

function mark(item, id) {
    const isCurrent = id === playback.track.id;
    item.classList.toggle('current', isCurrent);
    const open = item.querySelector('.open');
    if (open)
        open.ariaCurrent = isCurrent ? 'true' : null;
}

function step({ id, title }, by) {
    const to = queue.indexOf(id) + by;
    if (to < 0 || to >= queue.count)
        return;
    move(id, queue.keyAt(by < 0 ? to - 1 : to) ?? '', text('{title} is now number {number}', { title, number: number(to + 1) }));
}

function move(id, after, done) {
    queue.change({ key: id, after }, () =>
        act(queue.item(id), () => device.activate('player:queue/move', { id, after }), done));
}

function drop(event, { id, title }) {
    // The further taps of a quick series hit the row that has taken the place.
    if (event.detail > 1)
        return;
    queue.change({ key: id, gone: true }, () =>
        act(null, () => device.activate('player:queue/remove', { id }), text('Removed {title}', { title }), () => restore(id)));
}

/** Any row of a removal brings back all of it. */
function restore(id) {
    return act(null, () => device.activate('player:queue/restore', { id }));
}

async function clear() {
    const [[, id]] = queue.items;
    if (await act($('clear'), () => device.activate('player:queue/clear'), text('Queue cleared'), () => restore(id)))
        $('queueHeading').focus();
}

/** The row follows the pointer, the others make room; the device is asked once, at the end. */
function startDrag(start, id) {
    if (start.button !== 0)
        return;
    start.preventDefault();
    const listeners = new AbortController();
    const offset = start.clientY - queue.item(id).getBoundingClientRect().top;
    let y = start.clientY;
    let target = queue.indexOf(id);
    let frame = 0;

    const follow = () => {
        const item = queue.item(id);
        if (!item || queue.indexOf(id) < 0)
            return end(false);
        const top = y - offset - $('queue').getBoundingClientRect().top;
        target = Math.max(0, Math.min(queue.count - 1, Math.round(top / queue.rowHeight)));
        queue.preview({ key: id, after: afterAt(target, id) });
        item.classList.add('dragged');
        item.style.transform = `translateY(${top}px)`;
    };
    const scroll = () => {
        frame = requestAnimationFrame(scroll);
        const by = y < EDGE_PX ? -SCROLL_PX : y > innerHeight - EDGE_PX ? SCROLL_PX : 0;
        if (by) {
            scrollBy(0, by);
            follow();
        }
    };
    const end = commit => {
        // Whatever was shown for the pointer only.
        const item = queue.item(id);
        cancelAnimationFrame(frame);
        listeners.abort();
        if (item)
            item.place = undefined;
        item?.classList.remove('dragged');
        const after = afterAt(target, id);
        const isMove = commit && queue.indexOf(id) >= 0;
        queue.preview(null);
        if (isMove && after !== (queue.keyAt(queue.indexOf(id) - 1) ?? ''))
            move(id, after);
    };
    // On the document: the row is put elsewhere in it meanwhile, and would lose them.
    const on = (type, listener) => document.addEventListener(type, listener, listeners);
    on('pointermove', event => {
        y = event.clientY;
        follow();
    });
    on('pointerup', () => end(true));
    on('pointercancel', () => end(false));
    scroll();
}

/** The row before the position, not counting the one that goes there. */
function afterAt(target, id) {
    const at = queue.indexOf(id);
    return queue.keyAt(target <= at ? target - 1 : target) ?? '';
}

function changed() {
    showCount($('queueCount'), queue.count);
    $('queueEmpty').hidden = queue.count > 0;
    $('clear').hidden = !queue.count;
}

export function startQueue() {
    queue = new LiveList($('queue'), {
        path: 'player:queue',
        roles: [...TRACK_ROLES, 'id'],
        key: ({ id }, index) => id ?? `#${index}`,
        make: queueRow,
        placed,
        changed,
        failed: () => {},
    });
    playback.addEventListener('change', () => queue.items.forEach(([item, id]) => mark(item, id)));
    $('clear').onclick = clear;
}
