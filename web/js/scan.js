// SPDX-License-Identifier: MIT

/** How far the device is with reading its music, and what hinders it. */

import { number, text } from './texts.js';
import { $, act, device, element, iconButton } from './ui.js';

/** How many unreadable files the person has taken note of. */
const SEEN = 'seenFailures';

$('scanNow').onclick = () => act($('scanNow'), () => device.activate('media:scan/start'));

/** Lists follow by themselves; this says why they grow, or why they do not. */
export function showScan({ state, found = 0, read = 0, failed = 0 }) {
    const counts = { found: number(found), read: number(read), failed: number(failed) };
    const [says, action, label] = {
        scanning: [text('Reading your music: {read} of {found}', counts), 'cancel', text('Stop')],
        cancelled: [text('Not all of your music has been read: {read} of {found}', counts), 'start', text('Go on')],
        away: [text('The folder with your music is not there. This is what was in it.'), 'start', text('Try again')],
        broken: [text('The library does not work. The log of the device says why.'), 'start', text('Try again')],
        idle: failed && localStorage.getItem(SEEN) !== String(failed)
            ? [text('Files that could not be read: {failed}', counts)] : [],
    }[state] ?? [];
    $('scanNow').hidden = state === 'off' || state === 'scanning';
    const failures = failed && state === 'scanning' ? [' · ', text('Not readable: {failed}', counts)] : [];
    $('scan').hidden = !says;
    if (!says)
        return;
    const away = () => {
        localStorage.setItem(SEEN, failed);
        $('scan').hidden = true;
        $('libraryHeading').focus();
    };
    const button = action
        ? element('button', { type: 'button', className: 'quiet', textContent: label,
            onclick: () => act(button, () => device.activate(`media:scan/${action}`)) })
        : iconButton(text('Put this message away'), 'remove', away);
    const hadFocus = $('scan').contains(document.activeElement);
    $('scan').replaceChildren(element('p', {}, says, ...failures), button);
    if (hadFocus)
        button.focus();
}
