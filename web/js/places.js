// SPDX-License-Identifier: MIT

/**
 * The places of the library. Each has an address ("#/albums/ID"), so that back leads back, to the row
 * that was left. What shows a place is loaded when the first one of its kind is opened.
 */

import { later } from './texts.js';
import { $, act, element, loadStyles } from './ui.js';
import { home, showTracks } from './library.js';

/**
 * Each puts a view into `host` and gives {stop, ready}, and `list` where there is a main one, and
 * `update` where another place of the kind needs no other view.
 */
const PLACES = {
    tracks: showTracks,
    ...Object.fromEntries(['albums', 'artists', 'genres', 'recent', 'folders']
        .map(name => [name, lazy(() => later('browse.js'))])),
    radio: lazy(() => later('radio.js')),
    playlists: lazy(() => later('playlists.js')),
    search: lazy(() => later('search.js')),
};
/** A pause in typing that is long enough to ask. */
const TYPING_MS = 150;
/** Of the history whose places are remembered. */
const MOST_ENTRIES = 50;
/** The entry of the page before any place was opened. */
const FIRST = 'first';

let view = null;
let shownName;
/** Counts what was opened: an answer for an earlier place is dropped. */
let opening = 0;
/** Where the person was at each entry of the history, by its key: {y, focus}. */
const left = new Map(JSON.parse(sessionStorage.getItem('left') ?? '[]'));
let entry = FIRST;
let isStarted = false;

function lazy(load) {
    return async (host, place) => {
        const [module] = await Promise.all([load(), loadStyles('library.css')]);
        return module.show(host, place);
    };
}

/** {name, id} of the address; null when it is none of the library's. */
function address() {
    const [, name, id] = /^#\/(\w+)(?:\/(.+))?$/.exec(location.hash) ?? [];
    if (!Object.hasOwn(PLACES, name ?? ''))
        return null;
    try {
        return { name, id: id && decodeURIComponent(id) };
    } catch {
        return { name, id };
    }
}

async function openPlace() {
    const turn = ++opening;
    const asked = address();
    const place = asked ?? { name: await home() };
    if (turn !== opening)
        return;
    $('places').hidden = Boolean(place.id) && place.name !== 'search';
    if (asked)
        document.querySelector('.switch [data-panel=library]').click();
    for (const link of $('places').children)
        link.ariaCurrent = link.hash === `#/${place.name}` ? (place.id ? 'true' : 'page') : null;
    if (place.name !== 'search')
        $('find').value = '';
    else if (document.activeElement !== $('find'))
        $('find').value = place.id ?? '';
    if (view?.update && shownName === place.name)
        return view.update(place);
    shownName = place.name;
    const host = element('div', { id: 'place' });
    const before = $('place');
    // The page keeps its length until the new place has one.
    host.style.minHeight = `${before.offsetHeight}px`;
    const hadFocus = before.contains(document.activeElement);
    view?.stop();
    view = null;
    $('jump').hidden = true;
    $('libraryCount').textContent = '';
    before.replaceWith(host);
    const shown = await PLACES[place.name](host, place).catch(error => act(null, () => { throw error; }));
    if (turn !== opening) {
        shown?.stop?.();
        return;
    }
    view = shown;
    await shown?.ready;
    if (turn === opening)
        arrive(host, Boolean(asked), hadFocus);
}

/** Back where the person was; a place that is new begins at its top. */
function arrive(host, isAsked, hadFocus) {
    const { y, focus } = left.get(entry) ?? {};
    host.style.minHeight = '';
    if (y !== undefined)
        scrollTo({ top: y });
    else if (isAsked && isFarOff($('libraryPanel')))
        $('libraryPanel').scrollIntoView();
    const row = focus && view?.list?.item(focus);
    if (hadFocus)
        (row?.querySelector('.open') ?? host.querySelector('[data-first]') ?? $('libraryHeading')).focus({ preventScroll: true });
}

function isFarOff(panel) {
    const { top } = panel.getBoundingClientRect();
    return top < 0 || top > innerHeight / 2;
}

/** Links make entries of the history without a name. */
function nameEntry() {
    entry = history.state?.entry ?? (address() ? Date.now() : FIRST);
    history.replaceState({ entry }, '');
}

function moved() {
    leaving();
    nameEntry();
    openPlace();
}

/** Before anything of the new place is shown: what has the focus is still of the old one. */
function leaving() {
    const focus = document.activeElement?.closest('#library li')?.dataset.key;
    left.set(entry, { ...left.get(entry), focus });
}

function startHistory() {
    history.scrollRestoration = 'manual';
    nameEntry();
    addEventListener('hashchange', moved);
    addEventListener('scroll', () => left.set(entry, { ...left.get(entry), y: scrollY }), { passive: true });
    addEventListener('pagehide', () => sessionStorage.setItem('left', JSON.stringify([...left].slice(-MOST_ENTRIES))));
}

/** While one types, the search is one entry of the history; emptied, the place before is there again. */
function startSearch() {
    let timer;
    let before = '';
    const search = () => {
        const words = $('find').value.trim();
        const isSearch = location.hash.startsWith('#/search/');
        const hash = words ? `#/search/${encodeURIComponent(words)}` : before || '#/';
        if (hash === location.hash || (!words && !isSearch))
            return;
        if (isSearch)
            history.replaceState(history.state, '', hash);
        else {
            before = location.hash;
            leaving();
            history.pushState({ entry: Date.now() }, '', hash);
            nameEntry();
        }
        openPlace();
    };
    $('find').oninput = () => {
        clearTimeout(timer);
        timer = setTimeout(search, TYPING_MS);
    };
    return search;
}

/** @param {{view: ?object, y: number}} former what is shown now, and where the screen is in it */
export function start({ view: first, y }) {
    if (isStarted)
        return;
    isStarted = true;
    view = first;
    if (first) {
        left.set(FIRST, { y });
        leaving();
    }
    startHistory();
    const search = startSearch();
    if ($('find').value.trim())
        search();
    else
        openPlace();
}

