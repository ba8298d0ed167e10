// SPDX-License-Identifier: MIT

/** What the pages share: the device, small DOM helpers, messages to the person. */

import { Plix, plain } from '../plix.js';
import { known, language, number, text, translatePage } from './texts.js';

export const device = new Plix();

/** The worst that a moment without connection may last before it is shown. */
const CONNECTING_GRACE_MS = 400;
/** An answer that takes longer than this is shown as pending on the control that asked. */
const PENDING_MS = 300;
/** A device that has not answered for this long may be gone. */
const SILENT_MS = 4000;
const TOAST_MS = 4000;
const UNDO_MS = 10_000;
const MOST_TOASTS = 3;
/** The echo of one's own change takes this long at most; a control follows the device again after it. */
const SETTLE_MS = 300;

export const $ = id => document.getElementById(id);

/**
 * Makes an element. Properties go to the element's own (`textContent`, `className`, `onclick`),
 * names with a hyphen become attributes. Text is never parsed as markup.
 */
export function element(tag, properties = {}, ...children) {
    const made = document.createElement(tag);
    for (const [name, value] of Object.entries(properties)) {
        if (name.includes('-'))
            made.setAttribute(name, value);
        else
            made[name] = value;
    }
    made.append(...children);
    return made;
}

/** The covers of a library, unlike drawings; and in which sizes there are. */
const SCALED = /^media:\/covers\/.*(?<!\.svg)$/;
const COVER_SIZES = [64, 128, 256, 512];
/** A browser opens six connections to a host: scaling covers must not hold up what the person asks for. */
const COVERS_AT_A_TIME = 3;

const SVG = 'http://www.w3.org/2000/svg';
export function icon(name) {
    const svg = document.createElementNS(SVG, 'svg');
    svg.setAttribute('class', 'icon');
    svg.setAttribute('aria-hidden', 'true');
    setIcon(svg, name);
    return svg;
}

/**
 * Shows another icon in an `svg`. Where the page has the drawings itself, as a copy: a reference to another
 * file is half of the work for a row of a list.
 */
export function setIcon(svg, name) {
    if (svg.dataset.icon === name)
        return;
    svg.dataset.icon = name;
    const symbol = $(`icon-${name}`);
    if (symbol) {
        svg.setAttribute('viewBox', symbol.getAttribute('viewBox'));
        svg.replaceChildren(...symbol.cloneNode(true).childNodes);
        return;
    }
    const use = document.createElementNS(SVG, 'use');
    use.setAttribute('href', `icons.svg#${name}`);
    svg.replaceChildren(use);
}

/** A button that shows an icon only; the label is for screen readers and as a tooltip. */
export function iconButton(label, iconName, onclick, className = 'round small') {
    return element('button',
        { type: 'button', className, title: label, 'aria-label': label, onclick }, icon(iconName));
}

/** The address of a node's stream: "media:/a b.wav" gives "/api/stream/media:/a%20b.wav". */
export function streamUrl(path) {
    return '/api/stream/' + path.split('/').map(encodeURIComponent).join('/').replaceAll('%3A', ':');
}

/**
 * The address of a picture: one of the library in the least size that is sharp enough, one of another
 * host by way of the device.
 * @param {string} [path] of a node, or a URL
 * @param {number} width on the screen, in CSS pixels
 */
export function coverUrl(path, width) {
    if (!path)
        return '';
    if (/^https?:/.test(path))
        return `/proxy/${btoa(String.fromCharCode(...new TextEncoder().encode(path)))}`;
    const size = COVER_SIZES.find(pixels => pixels >= width * devicePixelRatio) ?? COVER_SIZES.at(-1);
    return streamUrl(path) + (SCALED.test(path) ? `?size=${size}` : '');
}

/** Sets an image that may be missing: without it the element shows its plain background. */
export function showCover(image, path, width) {
    const url = coverUrl(path, width);
    if (image.dataset.url === url)
        return;
    image.dataset.url = url;
    image.stopLoading?.();
    if (!url) {
        image.hidden = true;
        image.removeAttribute('src');
        return;
    }
    waiting.push({ image, url });
    loadCovers();
}

/** Covers that are to be loaded, and how many are on their way. */
let waiting = [];
let loading = 0;

/** The ones that are seen now first; those of rows that have been scrolled away are not loaded. */
function loadCovers() {
    waiting = waiting.filter(({ image, url }) => image.dataset.url === url);
    while (loading < COVERS_AT_A_TIME && waiting.length) {
        const { image, url } = waiting.shift();
        // A row is put into the document after it has been made.
        loading++;
        queueMicrotask(() => loadCover(image, url));
    }
}

function loadCover(image, url) {
    const end = isShown => {
        image.onload = image.onerror = image.stopLoading = null;
        image.hidden = !isShown;
        loading--;
        loadCovers();
    };
    if (!image.isConnected)
        return end(false);
    image.onload = () => end(true);
    image.onerror = () => end(false);
    image.stopLoading = () => end(false);
    image.src = url;
}

const styles = new Map();

/** Loads a style sheet that the first screen does not need. */
export function loadStyles(name) {
    if (!styles.has(name)) {
        const link = element('link', { rel: 'stylesheet', href: name });
        // Without it things are ugly, but there.
        styles.set(name, new Promise(resolve => { link.onload = link.onerror = resolve; }));
        document.head.append(link);
    }
    return styles.get(name);
}

/** When the browser has shown what there is; at once while nobody looks. */
export function nextTurn() {
    return new Promise(resolve => {
        if (document.hidden)
            setTimeout(resolve);
        else
            requestAnimationFrame(() => setTimeout(resolve));
    });
}

export function showCount(target, count) {
    target.textContent = count ? number(count) : '';
}

/** Milliseconds as "3:07" or "1:02:07". */
export function clock(milliseconds) {
    const seconds = Math.max(0, Math.floor(milliseconds / 1000));
    const parts = [Math.floor(seconds / 60) % 60, seconds % 60];
    if (seconds >= 3600)
        parts.unshift(Math.floor(seconds / 3600));
    return parts.map((part, index) => index ? String(part).padStart(2, '0') : part).join(':');
}

/**
 * Shows a short message and has screen readers say it.
 * @param {string} message
 * @param {object} [options]
 * @param {boolean} [options.isError]
 * @param {() => void} [options.undo] takes back what the message tells, for ten seconds
 */
export function toast(message, { isError = false, undo } = {}) {
    const shown = element('p', { className: isError ? 'toast error' : 'toast' }, message);
    if (undo)
        shown.append(element('button', {
            type: 'button', className: 'quiet', textContent: text('Undo'), onclick: () => {
                shown.remove();
                undo();
            },
        }));
    $('toasts').append(shown);
    if ($('toasts').children.length > MOST_TOASTS)
        $('toasts').firstElementChild.remove();
    setTimeout(() => shown.remove(), undo ? UNDO_MS : TOAST_MS);
}

/**
 * Carries out what the person asked for. While the device has not answered, the control says so; at
 * the end it is done, or said to have failed.
 * @param {?Element} control
 * @param {() => Promise} request
 * @param {string} [done] what to say after a success
 * @param {() => void} [undo] takes it back
 * @returns {Promise<boolean>} whether it was done
 */
export async function act(control, request, done = '', undo = undefined) {
    const wait = {};
    const timers = [
        setTimeout(() => control?.setAttribute('aria-busy', 'true'), PENDING_MS),
        setTimeout(() => {
            unanswered.add(wait);
            showConnection();
        }, SILENT_MS),
    ];
    try {
        await request();
        if (done)
            toast(done, { undo });
        return true;
    } catch (error) {
        const reason = error.name === 'offline' ? text('The device does not answer. Try again in a moment.')
            : text('That did not work: {reason}', { reason: error.message });
        toast(reason, { isError: true });
        return false;
    } finally {
        timers.forEach(clearTimeout);
        control?.removeAttribute('aria-busy');
        unanswered.delete(wait);
        showConnection();
    }
}

/**
 * Writes what a control says while it is being moved: one request at a time, and the newest value
 * when it is done, so that a fast hand does not queue up requests.
 */
function latestWriter(write) {
    let busy = false;
    let next;
    return async value => {
        next = { value };
        if (busy)
            return;
        busy = true;
        while (next) {
            const { value: newest } = next;
            next = undefined;
            await write(newest);
        }
        busy = false;
    };
}

/**
 * A range control that the person moves and the device moves too. What comes from the device while
 * the person is at it would pull the thumb from under the finger, so it waits.
 * @param {HTMLInputElement} range
 * @param {object} binding
 * @param {() => number} binding.read what the device says now
 * @param {(value: number) => Promise} binding.write
 * @param {(value: number) => void} binding.show the value's text and the like
 * @param {boolean} [binding.eager] write while moving, not only when the thumb is let go
 * @returns {() => void} to be called when the device says something else
 */
export function sharedRange(range, { read, write, show, eager = false }) {
    const send = latestWriter(write);
    let held = false;
    let timer;
    const render = () => {
        fillRange(range);
        show(range.valueAsNumber);
    };
    const refresh = () => {
        if (held)
            return;
        range.value = read();
        render();
    };
    const release = () => {
        held = false;
        refresh();
    };
    const commit = async () => {
        await send(range.valueAsNumber);
        clearTimeout(timer);
        timer = setTimeout(release, SETTLE_MS);
    };
    range.oninput = () => {
        held = true;
        clearTimeout(timer);
        render();
        if (eager)
            commit();
    };
    range.onchange = commit;
    return refresh;
}

/** Fills a range control's track up to its thumb. */
function fillRange(range) {
    const share = (range.value - range.min) / (range.max - range.min || 1);
    range.style.setProperty('--fill', `${share * 100}%`);
}

/** Actions that the device has not answered for a long time. */
const unanswered = new Set();
let connectionTimer;

function showConnection() {
    clearTimeout(connectionTimer);
    const isLost = device.connection === 'connecting' || unanswered.size > 0;
    connectionTimer = setTimeout(() => {
        document.body.classList.toggle('connecting', isLost);
        $('connection').textContent = isLost ? text('Connecting …') : '';
    }, isLost ? CONNECTING_GRACE_MS : 0);
}

function followLanguage() {
    const path = 'settings:/ui/language';
    const follow = setting => known(setting) !== language && location.reload();
    let isRead = true;
    device.subscribe(path, {
        event: ({ value }) => follow(plain(value)),
        // The first time the page has just read it.
        ready: () => {
            if (!isRead)
                device.get(path).then(follow, () => {});
            isRead = false;
        },
    });
}

/** Starts what every page has: its language, the connection notice and the device's name. */
export function startPage() {
    translatePage();
    document.body.append(element('div', { id: 'toasts', 'role': 'status', 'aria-live': 'polite' }));
    device.addEventListener('connection', showConnection);
    showConnection();
    followLanguage();
    device.watch('settings:/device/name', name => {
        $('deviceName').textContent = name || 'Plix';
    });
}
