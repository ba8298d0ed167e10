// SPDX-License-Identifier: MIT

/**
 * Changes of the queue. What the person does is shown at once: it lies over the device's list until the
 * device has done it, and is taken off when it is refused.
 */

import { number, text } from './texts.js';
import { $, act, device } from './ui.js';

/** Dragging this near to the screen's edge scrolls. */
const EDGE_PX = 80;
const SCROLL_PX = 12;

/** Not confirmed yet. */
const changes = [];
/** A move that the person has not decided on yet. */
let preview = null;
let sending = Promise.resolve();

function show(queue) {
    queue.changes = [...changes, preview].filter(Boolean);
}

/** Has the device carry out a change, after those before it; `send` gives whether it was done. */
function change(queue, made, send) {
    changes.push(made);
    show(queue);
    sending = sending.then(async () => {
        if (await send())
            await queue.reload();
        changes.splice(changes.indexOf(made), 1);
        show(queue);
    });
}

export function step(queue, { id, title }, by) {
    const to = queue.indexOf(id) + by;
    if (to < 0 || to >= queue.count)
        return;
    move(queue, id, queue.keyAt(by < 0 ? to - 1 : to) ?? '', text('{title} is now number {number}', { title, number: number(to + 1) }));
}

function move(queue, id, after, done) {
    change(queue, { key: id, after }, () =>
        act(queue.item(id), () => device.activate('player:queue/move', { id, after }), done));
}

export function drop(queue, { id, title }) {
    if (queue.indexOf(id) < 0)
        return;
    change(queue, { key: id, gone: true }, () =>
        act(null, () => device.activate('player:queue/remove', { id }), text('Removed {title}', { title }), () => restore(id)));
}

/** Any row of a removal brings back all of it. */
function restore(id) {
    return act(null, () => device.activate('player:queue/restore', { id }));
}

export async function clear(queue) {
    const [[, id]] = queue.items;
    if (await act($('clear'), () => device.activate('player:queue/clear'), text('Queue cleared'), () => restore(id)))
        $('queueHeading').focus();
}

/** The row follows the pointer, the others make room; the device is asked once, at the end. */
export function startDrag(queue, start, id) {
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
        preview = { key: id, after: afterAt(queue, target, id) };
        queue.held = id;
        show(queue);
        item.classList.add('dragged');
        $('queue').classList.add('dragging');
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
        $('queue').classList.remove('dragging');
        const after = afterAt(queue, target, id);
        const isMove = commit && queue.indexOf(id) >= 0;
        preview = null;
        queue.held = undefined;
        show(queue);
        if (isMove && after !== (queue.keyAt(queue.indexOf(id) - 1) ?? ''))
            move(queue, id, after);
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
function afterAt(queue, target, id) {
    const at = queue.indexOf(id);
    return queue.keyAt(target <= at ? target - 1 : target) ?? '';
}
