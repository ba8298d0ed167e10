// SPDX-License-Identifier: MIT

/** What the keys do. */

import { $, act, device } from './ui.js';
import { playback } from './playback.js';

const SEEK_MS = 10_000;
const VOLUME_STEP = 5;

export const KEYS = {
    ' ': () => $('play').click(),
    ArrowLeft: () => seek(-SEEK_MS),
    ArrowRight: () => seek(SEEK_MS),
    'Shift+ArrowUp': () => setVolume(VOLUME_STEP),
    'Shift+ArrowDown': () => setVolume(-VOLUME_STEP),
    m: () => $('mute').click(),
    s: () => $('shuffle').click(),
    r: () => $('repeat').click(),
    '/': toSearch,
    '?': async () => (await import('./keysheet.js')).showSheet(),
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

function toSearch() {
    document.querySelector('.switch [data-panel=library]').click();
    $('find').focus();
}
