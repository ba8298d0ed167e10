// SPDX-License-Identifier: MIT

/**
 * A list of the device, of any length. Only the rows near the screen are in the document and in
 * memory; they are fetched in pages. Each element belongs to one row, named by its key, and stays
 * with it wherever the row goes, so that focus, a drag and the screen's position survive changes.
 *
 * Row events say that the list has changed, not to which version; so the shown rows are read again
 * then, in one request, and only what differs is drawn.
 *
 * What the person does is shown at once: the changes that the device has not confirmed lie over its
 * list until it has, and are taken off when it refuses them.
 */

import { device } from './ui.js';

/** Rows kept above and below the screen: what a flick of the finger passes while a page is fetched. */
const MARGIN_ROWS = 12;
const PAGE_ROWS = 60;

/** Where the row at `index` stands after the change; -1 when it is gone. */
function forward({ from, to }, index) {
    if (index === from)
        return to;
    const left = index > from ? index - 1 : index;
    return to >= 0 && left >= to ? left + 1 : left;
}

/** Which row stands at `index` after the change. */
function backward({ from, to }, index) {
    if (index === to)
        return from;
    const left = to >= 0 && index > to ? index - 1 : index;
    return left >= from ? left + 1 : left;
}

export class LiveList {
    /** Length of the list as it is shown; null until the device has answered. */
    count = null;

    #list;
    #options;
    /** The device's rows of one version by index, as far as they are known. */
    #rows = new Map();
    #total = 0;
    #version = -1;
    /** Key to index in #rows. */
    #indices = new Map();
    /** Key to the element that shows the row. */
    #items = new Map();
    /** Unconfirmed changes: {key, after} moves a row, {key, gone: true} removes one. */
    #changes = [];
    /** The same as positions, for the list that is shown now: {from, to}, to is -1 for none. */
    #steps = [];
    #preview = null;
    #sending = Promise.resolve();
    #reading = false;
    #stale = false;
    #frame = 0;
    #rowHeight = 0;
    /** The list's upper edge on the screen, and whether it is there at all. */
    #top = 0;
    #isShown = false;

    /**
     * @param {HTMLElement} list
     * @param {object} options
     * @param {string} options.path
     * @param {string[]} options.roles
     * @param {(row: object, index: number) => string} options.key
     * @param {(row: object) => HTMLElement} options.make
     * @param {(item: HTMLElement, row: object, index: number) => void} [options.placed] after each
     *     change of the row's place
     * @param {() => void} options.changed the count has changed
     * @param {(error: Error) => void} options.failed the list cannot be read
     */
    constructor(list, options) {
        this.#list = list;
        this.#options = { placed: () => {}, ...options };
        this.#measure();
        new ResizeObserver(() => this.#measure()).observe(list.parentElement);
        addEventListener('scroll', () => this.#scrolled(), { capture: true, passive: true });
        addEventListener('resize', () => this.#measure());
        device.subscribe(options.path, {
            ready: () => this.#read(true),
            event: event => (event.rowsEvents || event.rowsReset) && this.#read(true),
            failed: options.failed,
        });
    }

    get rowHeight() {
        return this.#rowHeight;
    }

    /** The row that is shown at the position; undefined when it is not known. */
    rowAt(index) {
        const at = this.#steps.reduceRight((place, step) => backward(step, place), index);
        return this.#rows.get(at);
    }

    keyAt(index) {
        const at = this.#steps.reduceRight((place, step) => backward(step, place), index);
        const row = this.#rows.get(at);
        return row && this.#options.key(row, at);
    }

    /** Where the row is shown; -1 when it is not known. */
    indexOf(key) {
        const index = this.#indices.get(key) ?? -1;
        return this.#steps.reduce((place, step) => place < 0 ? place : forward(step, place), index);
    }

    item(key) {
        return this.#items.get(key);
    }

    /** The rows that are in the document: [element, key]. */
    get items() {
        return [...this.#items].map(([key, item]) => [item, key]);
    }

    /**
     * Shows a change at once and has the device carry it out, after those before it.
     * @param {{key: string, after: string}|{key: string, gone: true}} change `after` is the key of
     *     the row before the new place, empty for the beginning
     * @param {() => Promise<boolean>} send gives whether the device did it
     */
    change(change, send) {
        this.#changes.push(change);
        this.#arrange();
        this.#sending = this.#sending.then(async () => {
            if (await send())
                await this.#read(true);
            this.#changes.splice(this.#changes.indexOf(change), 1);
            this.#arrange();
        });
        return this.#sending;
    }

    /** Shows a move that the person has not decided on yet; null shows none. */
    preview(change) {
        this.#preview = change;
        this.#arrange();
    }

    /** Scrolls to a position and shows what is there. */
    scrollTo(index) {
        const top = this.#list.getBoundingClientRect().top + index * this.#rowHeight;
        scrollBy(0, top - innerHeight / 4);
    }

    /**
     * The first position whose row fulfils the condition, in a list that is sorted by it: a few
     * single rows are asked for, whatever the length.
     */
    async search(condition) {
        let [low, high] = [0, this.#total];
        while (low < high) {
            const middle = (low + high) >> 1;
            const { rows: [row] } = await device.rows(this.#options.path,
                { from: middle, to: middle, roles: this.#options.roles });
            if (row && !condition(row))
                low = middle + 1;
            else
                high = middle;
        }
        return low;
    }

    #measure() {
        // As the style sheet has it, also while the list is hidden or empty.
        this.#rowHeight = parseFloat(getComputedStyle(this.#list).gridAutoRows);
        this.#arrange();
    }

    /** Reads the shown rows: all of them when they may have changed, else those that are missing. */
    async #read(isStale = false) {
        this.#stale ||= isStale;
        if (this.#reading)
            return this.#reading;
        this.#reading = this.#readOn();
        await this.#reading;
        this.#reading = null;
    }

    async #readOn() {
        for (;;) {
            const isFresh = this.#stale;
            const range = isFresh ? this.#wanted() : this.#missing();
            if (!range)
                return;
            this.#stale = false;
            try {
                this.#take(await device.rows(this.#options.path,
                    { ...range, roles: this.#options.roles, version: isFresh ? -1 : this.#version }), range);
            } catch (error) {
                if (error.name !== 'versionMismatch') {
                    // Read again when the connection is back, or when it changes.
                    this.#options.failed(error);
                    return;
                }
                this.#stale = true;
            }
        }
    }

    #take({ rows, count, version }, { from, to }) {
        this.#locate();
        const anchor = this.#anchor();
        if (version !== this.#version) {
            this.#rows.clear();
            this.#indices.clear();
        }
        if (this.#version < 0) {
            this.#list.classList.remove('loading');
            this.#list.removeAttribute('aria-busy');
        }
        this.#version = version;
        this.#total = count;
        for (let index = from; index <= Math.min(to, count - 1); index++) {
            const row = rows[index - from] ?? {};
            this.#rows.set(index, row);
            this.#indices.set(this.#options.key(row, index), index);
        }
        this.#show();
        this.#keep(anchor);
    }

    /** The row at the upper edge of the screen, when the list has been scrolled. */
    #anchor() {
        const top = -this.#top;
        const index = Math.ceil(top / this.#rowHeight);
        return top > 0 && this.count ? { key: this.keyAt(index), index } : null;
    }

    /** Rows that came or went above the screen must not push away what is read on it. */
    #keep(anchor) {
        const index = anchor ? this.indexOf(anchor.key) : -1;
        if (index < 0 || index === anchor.index)
            return;
        scrollBy(0, (index - anchor.index) * this.#rowHeight);
        this.#locate();
    }

    /** Reads where the list is. Before anything is changed, so that the browser computes its layout once. */
    #locate() {
        this.#top = this.#list.getBoundingClientRect().top;
        this.#isShown = Boolean(this.#list.offsetParent);
    }

    /** First and last position near the screen. */
    #range() {
        if (!this.#rowHeight || !this.#isShown)
            return { from: 0, to: -1 };
        const top = this.#top;
        const end = (this.count ?? PAGE_ROWS) - 1;
        return {
            from: Math.max(0, Math.floor(-top / this.#rowHeight) - MARGIN_ROWS),
            to: Math.min(end, Math.ceil((innerHeight - top) / this.#rowHeight) + MARGIN_ROWS),
        };
    }

    /** The device's rows that may be shown near the screen. */
    #wanted() {
        const { from, to } = this.#range();
        // Unconfirmed changes shift rows by as much.
        const shift = this.#steps.length;
        return { from: Math.max(0, from - shift), to: Math.max(to + shift, from) };
    }

    #missing() {
        const { from, to } = this.#wanted();
        let first = from;
        while (first <= to && this.#rows.has(first))
            first++;
        if (first > to || first >= this.#total)
            return null;
        const page = Math.floor(first / PAGE_ROWS) * PAGE_ROWS;
        return { from: page, to: page + PAGE_ROWS - 1 };
    }

    #arrange() {
        this.#locate();
        this.#show();
    }

    /** Finds out what the unconfirmed changes mean for the list as it is now, and shows it. */
    #show() {
        if (this.#version < 0)
            return;
        this.#steps = [];
        for (const change of [...this.#changes, this.#preview].filter(Boolean)) {
            const from = this.indexOf(change.key);
            const before = change.after ? this.indexOf(change.after) : -1;
            if (from < 0 || (change.after && before < 0))
                continue;
            const to = change.gone ? -1 : before < from ? before + 1 : before;
            if (to !== from)
                this.#steps.push({ from, to });
        }
        const count = this.#total - this.#steps.filter(({ to }) => to < 0).length;
        if (count !== this.count) {
            this.count = count;
            this.#options.changed();
        }
        this.#list.style.height = `${count * this.#rowHeight}px`;
        this.#render();
    }

    /** Shows what is near the screen now, in the next frame. */
    draw() {
        this.#frame ||= requestAnimationFrame(() => {
            this.#frame = 0;
            if (this.#version >= 0)
                this.#render();
        });
    }

    /** All lists find out where they are before the first of them changes anything. */
    #scrolled() {
        if (!this.#isShown)
            return;
        this.#locate();
        this.draw();
    }

    #render() {
        const { from, to } = this.#range();
        const positions = this.#positions(from, to);
        this.#removeOthers(new Set(positions.map(([, key]) => key)));
        const focused = document.activeElement;
        const { children } = this.#list;
        positions.forEach(([index, key], place) => {
            const item = this.#shown(key, index);
            if (children[place] !== item)
                this.#list.insertBefore(item, children[place] ?? null);
        });
        // An element that is put elsewhere loses it.
        if (focused !== document.activeElement && focused.isConnected)
            focused.focus({ preventScroll: true });
        if (this.#missing())
            this.#read();
    }

    /** Positions and keys of the rows to be shown, in order; the one with the focus among them. */
    #positions(from, to) {
        const positions = [];
        for (let index = from; index <= to; index++) {
            const key = this.keyAt(index);
            if (key !== undefined)
                positions.push([index, key]);
        }
        const held = document.activeElement?.closest('li')?.dataset.key ?? this.#preview?.key;
        const index = this.#items.has(held) ? this.indexOf(held) : -1;
        if (index >= 0 && (index < from || index > to))
            positions[index < from ? 'unshift' : 'push']([index, held]);
        return positions;
    }

    #shown(key, index) {
        const row = this.rowAt(index);
        let item = this.#items.get(key);
        if (!item || (item.row !== row && JSON.stringify(item.row) !== JSON.stringify(row))) {
            const made = this.#options.make(row);
            made.dataset.key = key;
            this.#exchange(item, made);
            this.#items.set(key, made);
            item = made;
        }
        item.row = row;
        this.#place(item, row, index);
        return item;
    }

    /** Scrolling leaves most of the rows where they are. */
    #place(item, row, index) {
        const place = `${index} of ${this.count}, ${this.#rowHeight}`;
        if (item.classList.contains('dragged') || item.place === place)
            return;
        item.place = place;
        item.style.transform = `translateY(${index * this.#rowHeight}px)`;
        item.setAttribute('aria-setsize', this.count);
        item.setAttribute('aria-posinset', index + 1);
        this.#options.placed(item, row, index);
    }

    /** The new element of a row that was changed keeps the focus. */
    #exchange(old, made) {
        const control = old?.contains(document.activeElement) && document.activeElement.dataset.control;
        old?.replaceWith(made);
        if (control)
            made.querySelector(`[data-control=${control}]`)?.focus();
    }

    #removeOthers(keys) {
        const items = [...this.#list.children];
        const stays = item => keys.has(item.dataset.key);
        items.forEach((item, place) => {
            if (stays(item))
                return;
            const hadFocus = item.contains(document.activeElement);
            item.remove();
            this.#items.delete(item.dataset.key);
            // To the next row, not to its button: pressing on must not remove that one as well.
            if (hadFocus)
                (items.slice(place).find(stays) ?? items.slice(0, place).findLast(stays)
                    ?? this.#list).focus({ preventScroll: true });
        });
    }
}
