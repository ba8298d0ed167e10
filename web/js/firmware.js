/** What the updater says, in plain words. */

import { $, bytesText } from './ui.js';

/**
 * Shows the state of `firmware:update` that an upload ended in.
 * @param {{state: string, bytes: number, sha256: string}} update
 * @param {string} note what else is known about it
 */
export function showOutcome({ state, bytes, sha256 }, note = '') {
    if (state === 'received')
        tell(`The updater has the whole image, ${bytesText(bytes)}. ${note}`.trim());
    else if (state === 'failed')
        tell(`The updater did not get the whole image: it stopped after ${bytesText(bytes)}. Send it again.`, true);
    else if (state === 'receiving')
        tell(`The updater is still receiving, ${bytesText(bytes)} so far.`);
    else
        tell('The updater has received nothing. Is it running?', true);
    $('hashField').hidden = state !== 'received' || !sha256;
    $('hash').textContent = sha256 ?? '';
}

export function tell(text, isError = false) {
    $('outcome').textContent = text;
    $('outcome').classList.toggle('error', isError);
}
