// SPDX-License-Identifier: MIT

/** The player page. */

import { later, text } from './texts.js';
import { $, act, nextTurn, startPage } from './ui.js';
import { playback } from './playback.js';
import { startQueue } from './queue.js';

/** Keys for what is done often. */
const NAMES = new Set([' ', 'ArrowLeft', 'ArrowRight', 'Shift+ArrowUp', 'Shift+ArrowDown', 'm', 's', 'r', '/', '?']);
/** People who speak to their browser, or rest a hand on the keyboard, can switch the keys off. */
const SWITCH = 'shortcuts';

/** What has the focus may need the key itself. */
function isTaken({ key, target }) {
    if (target.closest('input, select, textarea, dialog'))
        return true;
    return key === ' ' && Boolean(target.closest('button, a'));
}

function run(name) {
    return act(null, async () => (await later('keys.js')).KEYS[name]());
}

function startShortcuts() {
    $('showKeys').onclick = () => run('?');
    document.addEventListener('keydown', event => {
        const { key, shiftKey, ctrlKey, altKey, metaKey } = event;
        const name = shiftKey && key.startsWith('Arrow') ? `Shift+${key}` : key;
        if (!NAMES.has(name) || ctrlKey || altKey || metaKey || isTaken(event) || localStorage.getItem(SWITCH) === 'off')
            return;
        event.preventDefault();
        run(name);
    });
}

function startSwitch() {
    const buttons = document.querySelectorAll('.switch button');
    for (const button of buttons) {
        button.disabled = false;
        button.onclick = () => {
            document.querySelector('.player').dataset.panel = button.dataset.panel;
            for (const other of buttons)
                other.setAttribute('aria-pressed', other === button);
        };
    }
}

startPage();
// For those who hear it; it cannot be seen.
$('title').textContent = text('Connecting …');
startSwitch();
startShortcuts();
// Each in a turn of its own, so that a slow phone shows the first rows early and answers to taps.
const firstRows = startQueue();
playback.start();
await firstRows;
// They arrive while the rows are being shown.
const [nowPlaying, library] = [import('./nowplaying.js'), import('./library.js')];
await nextTurn();
(await nowPlaying).startNowPlaying();
await nextTurn();
(await library).startLibrary();
