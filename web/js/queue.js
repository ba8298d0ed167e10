/** The queue: play, move (by dragging, or with the arrows), remove. */

import { plain } from '../plix.js';
import { $, attempt, device, element, icon, iconButton } from './ui.js';
import { playback } from './playback.js';
import { TRACK_ROLES, trackRow } from './trackrow.js';

let rows = [];
let dragging = false;
/** Row and control that get the focus when the list has been drawn again. */
let focusNext = null;

function show(newRows) {
    rows = newRows;
    if (!dragging)
        draw();
}

function draw() {
    const held = focusNext ?? heldFocus();
    focusNext = null;
    $('queue').replaceChildren(...rows.map(queueRow));
    $('queueCount').textContent = rows.length || '';
    $('queueEmpty').hidden = rows.length > 0;
    $('clear').hidden = !rows.length;
    markCurrent();
    if (held)
        focusControl(held);
}

/** Drawing the list again must not throw the keyboard back to the top of the page. */
function heldFocus() {
    const item = document.activeElement?.closest('#queue li');
    return item && { index: [...$('queue').children].indexOf(item), control: document.activeElement.dataset.control };
}

function focusControl({ index, control }) {
    const item = $('queue').children[Math.min(index, rows.length - 1)];
    const wanted = item?.querySelector(`[data-control=${control}]:not(:disabled)`);
    (wanted ?? item?.querySelector('.open') ?? $('queueHeading')).focus();
}

function queueRow(row, index) {
    const grip = element('span', { className: 'grip', 'aria-hidden': 'true' }, icon('grip'));
    const up = control('up', iconButton(`Move ${row.title} up`, 'up', () => move(index, index - 1, 'up'), 'step'));
    const down = control('down', iconButton(`Move ${row.title} down`, 'down', () => move(index, index + 1, 'down'), 'step'));
    up.disabled = index === 0;
    down.disabled = index === rows.length - 1;
    const remove = control('remove', iconButton(`Remove ${row.title} from the queue`, 'remove', () => drop(index)));
    const item = trackRow(row, 'Play', () => attempt(device.activate('player:player/play', { index })),
        [element('span', { className: 'steps' }, up, down), remove]);
    control('open', item.querySelector('.open'));
    item.prepend(grip);
    grip.onpointerdown = event => startDrag(event, item, index);
    return item;
}

function control(name, button) {
    button.dataset.control = name;
    return button;
}

function move(from, to, controlName) {
    focusNext = { index: to, control: controlName };
    return attempt(device.activate('player:queue/move', { index: from, toIndex: to }),
        `${rows[from].title} is now number ${to + 1}`);
}

function drop(index) {
    focusNext = { index, control: 'remove' };
    return attempt(device.activate('player:queue/remove', { index }), `Removed ${rows[index].title}`);
}

/** The item follows the pointer, the others make room; the device is asked once, at the end. */
function startDrag(start, item, index) {
    if (start.button !== 0)
        return;
    start.preventDefault();
    const grip = start.currentTarget;
    const items = [...$('queue').children];
    const height = item.offsetHeight;
    let target = index;
    dragging = true;
    grip.setPointerCapture(start.pointerId);
    item.classList.add('dragged');

    const startY = start.clientY + scrollY;
    grip.onpointermove = event => {
        const moved = event.clientY + scrollY - startY;
        target = Math.max(0, Math.min(items.length - 1, index + Math.round(moved / height)));
        item.style.translate = `0 ${moved}px`;
        items.forEach((other, at) => {
            if (other === item)
                return;
            const room = at > index && at <= target ? -height : at < index && at >= target ? height : 0;
            other.style.translate = room ? `0 ${room}px` : '';
        });
    };
    const end = async commit => {
        grip.onpointermove = grip.onpointerup = grip.onpointercancel = null;
        if (commit && target !== index)
            await attempt(device.activate('player:queue/move', { index, toIndex: target }));
        dragging = false;
        draw();
    };
    grip.onpointerup = () => end(true);
    grip.onpointercancel = () => end(false);
}

function markCurrent() {
    const current = rows.findIndex(row => plain(row.value) && plain(row.value) === playback.track.path);
    [...$('queue').children].forEach((item, index) => {
        item.classList.toggle('current', index === current);
        item.querySelector('.open').ariaCurrent = index === current ? 'true' : null;
    });
}

export function startQueue() {
    device.watchList('player:queue', TRACK_ROLES, show);
    playback.addEventListener('change', markCurrent);
    $('clear').onclick = () => attempt(device.activate('player:queue/clear'), 'Queue cleared');
}
