// SPDX-License-Identifier: MIT

/** A row of the queue or the library. */

import { plain } from '../plix.js';
import { text } from './texts.js';
import { element, icon, showCover } from './ui.js';

export const TRACK_ROLES = ['title', 'description', 'icon', 'value'];

/**
 * @param {object} row values of TRACK_ROLES
 * @param {() => void} onclick plays it
 * @param {Element[]} controls further buttons
 */
export function trackRow(row, onclick, controls) {
    if (!plain(row.value))
        return element('li', { tabIndex: -1, className: 'withheld', textContent: text('Not shown here') });
    const image = element('img', { alt: '', loading: 'lazy' });
    const art = element('span', { className: 'art' }, icon('note'), image);
    showCover(image, row.icon);
    // All that is seen, because people who speak to the device say what they see.
    const label = text('Play {name}', { name: [row.title, row.description].filter(Boolean).join(', ') });
    const open = element('button', { type: 'button', className: 'open', 'aria-label': label, onclick },
        art,
        element('span', { className: 'names' },
            element('span', { className: 'name', dir: 'auto', textContent: row.title ?? '' }), ' ',
            element('span', { className: 'by', dir: 'auto', textContent: row.description ?? '' })));
    open.dataset.control = 'open';
    open.title = [row.title, row.description].filter(Boolean).join('\n');
    return element('li', { tabIndex: -1 }, open, ...controls);
}
