// SPDX-License-Identifier: MIT

/**
 * A list of the device, of any length. Only the rows near the screen are in the document and in
 * memory; they are fetched in pages. Each element belongs to one row, named by its key, and stays
 * with it wherever the row goes, so that focus, a drag and the screen's position survive changes.
 *
 * Row events say that the list has changed, not to which version; so the shown rows are read again
 * then, in one request, and only what differs is drawn.
 *
 * A list is a column of rows or, when the style sheet gives it cells (grid-auto-columns: at least as wide),
 * a wall of as many columns as fit, whose cells are squares with a text of grid-auto-rows below.
 *
 * Changes that the device has not confirmed lie over its list.
 */

import { device } from './ui.js';

/** Kept above and below the screen: what a flick of the finger passes while a page is fetched. */
const MARGIN_PX = 720;
const PAGE_ROWS = 60;
/** What is read before anything else is known of the list; index.html asks for the queue's as well. */
const FIRST_ROWS = 30;
/** What is not on the screen yet is shown in steps, so that no frame takes long. */
const STEP_PX = 180;

/** Lists that are narrower than so many heights of a row show less in each. */
const NARROW = [['narrow', 5.4], ['tiny', 4]];

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
    /** The row that stays in the document wherever it is, beside the one with the focus. */
    held;

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
    #changes = [];
    /** The same as positions, for the list that is shown now: {from, to}, to is -1 for none. */
    #steps = [];
    #reading = false;
    #stale = false;
    #frame = 0;
    #rowHeight = 0;
    #columns = 1;
    /** The part of the device's list that this one shows; the end is not included. */
    #span = { start: 0, end: Infinity };
    #end = new AbortController();
    /** How much of MARGIN_PX is shown by now. */
    #margin = 0;
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
     * @param {() => void} [options.changed] the count has changed
     * @param {{start: number, end: number}} [options.span] shows only this part, without the end
     * @param {(error: Error) => void} options.failed the list cannot be read
     */
    constructor(list, options) {
        this.#list = list;
        this.#options = { placed: () => {}, changed: () => {}, ...options };
        Object.assign(this.#span, options.span);
        const { signal } = this.#end;
        const observer = new ResizeObserver(() => this.#measure());
        observer.observe(list.parentElement);
        addEventListener('scroll', () => this.#scrolled(), { capture: true, passive: true, signal });
        addEventListener('resize', () => this.#measure(), { signal });
        const unsubscribe = device.subscribe(options.path, {
            ready: () => this.#check(),
            event: event => (event.rowsEvents || event.rowsReset) && this.#read(true),
            failed: options.failed,
        });
        // Not only when the list is followed: people wait for it.
        this.#read(true);
        signal.addEventListener('abort', () => {
            observer.disconnect();
            unsubscribe();
        });
    }

    /** Follows the device no longer; to be called before the element is removed. */
    stop() {
        this.#end.abort();
    }

    /** Shows another part of the device's list. */
    set span(span) {
        const { start, end } = this.#span;
        if (span.start === start && span.end === end)
            return;
        this.#span = span;
        this.#version = -1;
        this.#read(true);
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
     * What is shown over the device's list: {key, after} moves a row behind another one, or to the
     * beginning; {key, gone: true} removes one.
     */
    set changes(changes) {
        this.#changes = changes;
        this.#arrange();
    }

    /** Reads what is shown again. */
    reload() {
        return this.#read(true);
    }

    /** Scrolls to a position and shows what is there. */
    scrollTo(index) {
        const top = this.#list.getBoundingClientRect().top + this.#line(index) * this.#rowHeight;
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
            const { rows: [row] } = await this.#fetch({ from: middle, to: middle });
            if (row && !condition(row))
                low = middle + 1;
            else
                high = middle;
        }
        return low;
    }

    #measure() {
        // As the style sheet has it, also while the list is hidden or empty.
        const { gridAutoRows, gridAutoColumns } = getComputedStyle(this.#list);
        this.#rowHeight = parseFloat(gridAutoRows);
        const width = this.#list.clientWidth;
        for (const [name, rows] of NARROW)
            this.#list.classList.toggle(name, width < rows * this.#rowHeight);
        const cell = parseFloat(gridAutoColumns);
        if (cell) {
            this.#columns = Math.max(1, Math.floor(width / cell));
            this.#rowHeight += width / this.#columns;
            this.#list.style.setProperty('--columns', this.#columns);
        }
        this.#arrange();
    }

    #line(index) {
        return Math.floor(index / this.#columns);
    }

    #fetch({ from, to, version = -1 }) {
        const { start } = this.#span;
        return device.rows(this.#options.path,
            { from: start + from, to: start + to, roles: this.#options.roles, version });
    }

    /** From now on nothing is missed; reads the list again if it has changed before. */
    async #check() {
        await this.#reading;
        const { version } = this.#version < 0 ? {} : await this.#fetch({ from: 1, to: 0 }).catch(() => ({}));
        if (version !== this.#version)
            this.#read(true);
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
            const range = this.#version < 0 ? { from: 0, to: FIRST_ROWS - 1 }
                : isFresh ? this.#wanted() : this.#missing();
            if (!range)
                return;
            this.#stale = false;
            try {
                const span = this.#span;
                const answer = await this.#fetch({ ...range, version: isFresh ? -1 : this.#version });
                if (this.#end.signal.aborted)
                    return;
                if (span === this.#span)
                    this.#take(answer, range);
            } catch (error) {
                if (this.#end.signal.aborted)
                    return;
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
        if (this.#rowHeight)
            this.#locate();
        else
            this.#measure();
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
        this.#total = Math.max(0, Math.min(count, this.#span.end) - this.#span.start);
        for (let index = from; index <= Math.min(to, this.#total - 1); index++) {
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
        const index = Math.ceil(top / this.#rowHeight) * this.#columns;
        return top > 0 && this.count ? { key: this.keyAt(index), index } : null;
    }

    /** Rows that came or went above the screen must not push away what is read on it. */
    #keep(anchor) {
        const index = anchor ? this.indexOf(anchor.key) : -1;
        if (index < 0 || index === anchor.index)
            return;
        scrollBy(0, (this.#line(index) - this.#line(anchor.index)) * this.#rowHeight);
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
        const end = (this.count ?? PAGE_ROWS) - 1;
        const line = y => Math.floor((y - this.#top) / this.#rowHeight) * this.#columns;
        return {
            from: Math.max(0, line(-this.#margin)),
            to: Math.min(end, line(innerHeight + this.#margin) + this.#columns),
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
        for (const change of this.#changes) {
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
        this.#list.style.height = `${Math.ceil(count / this.#columns) * this.#rowHeight}px`;
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
        let positions = this.#positions();
        // The screen first, where all of it is new.
        if (this.#margin === MARGIN_PX && positions.length && !positions.some(([, key]) => this.#items.has(key))) {
            this.#margin = 0;
            positions = this.#positions();
        }
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
        if (this.#isShown && this.#margin < MARGIN_PX) {
            this.#margin += STEP_PX;
            // Not in the frame that shows these rows.
            requestAnimationFrame(() => this.draw());
        }
        if (this.#missing())
            this.#read();
    }

    /** Positions and keys of the rows to be shown, in order; the one with the focus among them. */
    #positions() {
        const { from, to } = this.#range();
        const positions = [];
        for (let index = from; index <= to; index++) {
            const key = this.keyAt(index);
            if (key !== undefined)
                positions.push([index, key]);
        }
        const held = document.activeElement?.closest('li')?.dataset.key ?? this.held;
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
        const place = `${index} of ${this.count}, ${this.#rowHeight}, ${this.#columns}`;
        if (item.classList.contains('dragged') || item.place === place)
            return;
        item.place = place;
        // The first column is where the language begins.
        const column = index % this.#columns * (document.dir === 'rtl' ? -100 : 100);
        item.style.transform = `translate(${column}%, ${this.#line(index) * this.#rowHeight}px)`;
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
