// SPDX-License-Identifier: MIT

/** The sheet that lists the keys. */

import { text } from './texts.js';
import { element, loadStyles } from './ui.js';

/** Read by player.js. */
const SWITCH = 'shortcuts';
const KEYS = [
    [['␣'], text('Play or pause')],
    [['←', '→'], text('Ten seconds back or on')],
    [['⇧', '↑', '↓'], text('Louder or softer')],
    [['m'], text('Mute')],
    [['s'], text('Shuffle')],
    [['r'], text('Repeat: the queue, this track, off')],
    [['/'], text('Search the library')],
    [['?'], text('This list')],
];

export async function showSheet() {
    await loadStyles('forms.css');
    const rows = KEYS.map(([keys, does]) => element('tr', {},
        element('th', { scope: 'row' }, ...keys.flatMap(key => [element('kbd', { textContent: key }), ' '])),
        element('td', { textContent: does })));
    const on = element('input', { type: 'checkbox', id: 'useKeys', checked: localStorage.getItem(SWITCH) !== 'off',
        onchange: () => localStorage.setItem(SWITCH, on.checked ? 'on' : 'off') });
    const dialog = element('dialog', { className: 'card', id: 'keys', 'aria-labelledby': 'keysHeading' },
        element('form', { method: 'dialog' },
            element('h2', { id: 'keysHeading', textContent: text('Keyboard shortcuts') }),
            element('table', {}, element('tbody', {}, ...rows)),
            element('p', {}, on, ' ', element('label', { htmlFor: 'useKeys', textContent: text('Use these keys') })),
            element('div', { className: 'actions' }, element('button', { className: 'action', textContent: text('Close') }))));
    document.body.append(dialog);
    dialog.onclose = () => dialog.remove();
    dialog.showModal();
}
