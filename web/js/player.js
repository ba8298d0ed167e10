// SPDX-License-Identifier: MIT

/** The player page. */

import { text } from './texts.js';
import { $, startPage } from './ui.js';
import { startNowPlaying } from './nowplaying.js';
import { startListening } from './listen.js';
import { startLibrary } from './library.js';
import { startShortcuts } from './shortcuts.js';
import { startQueue } from './queue.js';

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
startNowPlaying();
startQueue();
startLibrary();
startListening();
startShortcuts();
