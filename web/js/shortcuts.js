// SPDX-License-Identifier: MIT

/** Keys for what is done often, and the sheet that lists them. */

import { $, act, device } from './ui.js';
import { playback } from './playback.js';

const SEEK_MS = 10_000;
const VOLUME_STEP = 5;
/** People who speak to their browser, or rest a hand on the keyboard, can switch the keys off. */
const SWITCH = 'shortcuts';

const KEYS = {
    ' ': () => $('play').click(),
    ArrowLeft: () => seek(-SEEK_MS),
    ArrowRight: () => seek(SEEK_MS),
    'Shift+ArrowUp': () => setVolume(VOLUME_STEP),
    'Shift+ArrowDown': () => setVolume(-VOLUME_STEP),
    m: () => $('mute').click(),
    '/': toLibrary,
    '?': showSheet,
};

function seek(by) {
    if ($('seek').disabled)
        return;
    const position = Math.round(Math.max(0, Math.min(playback.duration, playback.position + by)));
    act($('seek'), () => device.activate('player:player/seek', position));
}

function setVolume(by) {
    const volume = Math.max(0, Math.min(100, playback.volume + by));
    act($('volume'), () => device.set('player:player/volume', { i32_: volume }));
}

function toLibrary() {
    document.querySelector('.switch [data-panel=library]').click();
    ($('jump').hidden ? $('library').querySelector('.open') ?? $('libraryHeading') : $('jump')).focus();
}

function showSheet() {
    $('useKeys').checked = areOn();
    $('keys').showModal();
}

function areOn() {
    return localStorage.getItem(SWITCH) !== 'off';
}

/** What has the focus may need the key itself. */
function isTaken({ key, target }) {
    if (target.closest('input, select, textarea, dialog'))
        return true;
    return key === ' ' && Boolean(target.closest('button, a'));
}

export function startShortcuts() {
    $('showKeys').onclick = showSheet;
    $('useKeys').onchange = () => localStorage.setItem(SWITCH, $('useKeys').checked ? 'on' : 'off');
    document.addEventListener('keydown', event => {
        const { key, shiftKey, ctrlKey, altKey, metaKey } = event;
        const run = KEYS[shiftKey && key.startsWith('Arrow') ? `Shift+${key}` : key];
        if (!run || ctrlKey || altKey || metaKey || isTaken(event) || !areOn())
            return;
        event.preventDefault();
        run();
    });
}
