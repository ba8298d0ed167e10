// SPDX-License-Identifier: MIT

/**
 * A list of the device that has artists, then albums, then tracks, as groups with headings: what is
 * found, and what there is of an artist.
 */

import { plain } from '../plix.js';
import { number, text } from './texts.js';
import { device, element } from './ui.js';
import { LiveList } from './livelist.js';
import { playback } from './playback.js';
import { containerRow, wallCell } from './containers.js';
import { TRACK_ROLES, libraryRow, markTrack } from './trackrow.js';

/** Most lists have their tracks within the first rows. */
const FIRST_ROWS = 100;
/** More artists or albums than these are shown when they are wanted. */
const FEW = { artists: 4, albums: 8 };
const ROLES = [...TRACK_ROLES, 'type', 'maximum'];
const KINDS = {
    artists: { title: text('Artists'), make: containerRow, before: [] },
    albums: { title: text('Albums'), make: wallCell, className: 'wall', before: ['artists'] },
    tracks: { title: text('Tracks'), make: row => libraryRow(row), before: ['artists', 'albums'] },
};

/** Where the kind begins: behind the rows of those before it. */
async function startOf(path, kinds, first) {
    const isBefore = row => kinds.some(kind => plain(row.value)?.startsWith(`media:/${kind}/`));
    const at = first.rows.findIndex(row => !isBefore(row));
    if (at >= 0 || first.rows.length === first.count)
        return at < 0 ? first.count : at;
    let [low, high] = [first.rows.length, first.count];
    while (low < high) {
        const middle = (low + high) >> 1;
        const { rows: [row] } = await device.rows(path, { from: middle, to: middle, roles: ['value'] });
        if (row && isBefore(row))
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

class Group {
    #path;
    #kind;
    #rows;
    #list = null;
    #isWhole = false;
    #span = { start: 0, end: 0 };

    constructor(path, kind) {
        const { title, className = '' } = KINDS[kind];
        this.#path = path;
        this.#kind = kind;
        this.count = element('span', { className: 'count' });
        this.more = element('button', { type: 'button', className: 'quiet', onclick: () => {
            this.#isWhole = true;
            this.show(this.#span);
            this.#rows.querySelector('.open')?.focus({ preventScroll: true });
        } });
        this.#rows = element('ul', { className: `rows ${className}`, tabIndex: -1 });
        this.element = element('section', { className: 'group', hidden: true, 'aria-label': title },
            element('header', {}, element('h3', { textContent: title }), this.count, this.more), this.#rows);
    }

    show(span) {
        this.#span = span;
        const count = span.end - span.start;
        const few = this.#isWhole ? Infinity : FEW[this.#kind] ?? Infinity;
        this.element.hidden = !count;
        this.count.textContent = number(count);
        this.more.hidden = count <= few;
        this.more.textContent = text('Show all');
        const shown = { start: span.start, end: Math.min(span.end, span.start + few) };
        if (this.#list)
            this.#list.span = shown;
        else if (count)
            this.#list = new LiveList(this.#rows, {
                path: this.#path, roles: ROLES, span: shown, make: KINDS[this.#kind].make, placed: markTrack,
                key: (row, index) => plain(row.value) ?? `#${index}`,
                failed: () => {},
            });
    }

    mark() {
        this.#list?.items.forEach(([item]) => markTrack(item, item.row));
    }

    stop() {
        this.#list?.stop();
    }
}

/** @param {(count: number) => void} [told] how many there are of all kinds, each time it is known */
export function showGroups(host, path, told = () => {}) {
    const groups = Object.keys(KINDS).map(kind => [kind, new Group(path, kind)]);
    host.append(...groups.map(([, { element: section }]) => section));
    let isStopped = false;
    let first;
    const ready = new Promise(resolve => { first = resolve; });
    const read = async () => {
        try {
            const rows = await device.rows(path, { from: 0, to: FIRST_ROWS - 1, roles: ['value'] });
            const starts = await Promise.all(groups.map(([kind]) => startOf(path, KINDS[kind].before, rows)));
            if (isStopped)
                return;
            groups.forEach(([, group], index) => group.show({ start: starts[index], end: starts[index + 1] ?? rows.count }));
            told(rows.count);
        } catch {
            // It is gone; or read again when the connection is back.
            told(0);
        }
        first();
    };
    const mark = () => groups.forEach(([, group]) => group.mark());
    playback.addEventListener('change', mark);
    const unsubscribe = device.subscribe(path, { ready: read, event: event => (event.rowsEvents || event.rowsReset) && read() });
    return {
        ready,
        stop: () => {
            isStopped = true;
            unsubscribe();
            playback.removeEventListener('change', mark);
            groups.forEach(([, group]) => group.stop());
        },
    };
}
