// SPDX-License-Identifier: MIT

/** What the updater says, in plain words. */

import { decimal, number, text } from './texts.js';
import { $ } from './ui.js';

function sentence({ state, bytes = 0 }) {
    const size = bytesText(bytes);
    switch (state) {
    case 'idle':
        return text('No image has been sent since the device started.');
    case 'receiving':
        return text('The updater is receiving an image, {size} so far.', { size });
    case 'received':
        return text('The updater has the whole image, {size}.', { size });
    case 'failed':
        return text('The updater did not get the whole image: it stopped after {size}.', { size });
    default:
        return state ? text('The updater says: {state}.', { state }) : text('The device has no updater.');
    }
}

/**
 * Shows the state of `firmware:update`, and nothing that it does not say.
 * @param {{state?: string, bytes?: number, sha256?: string}} update
 */
export function bytesText(bytes) {
    if (bytes < 1024)
        return text('{count} bytes', { count: number(bytes) });
    const unit = bytes < 1024 ** 2 ? 'KiB' : 'MiB';
    return `${decimal(bytes / (unit === 'KiB' ? 1024 : 1024 ** 2))} ${unit}`;
}

export function showUpdater(update) {
    $('updater').textContent = sentence(update);
    $('updater').classList.toggle('error', update.state === 'failed');
    $('hashField').hidden = update.state !== 'received' || !update.sha256;
    $('hash').textContent = update.sha256 ?? '';
}

/** The updater cannot be asked. */
export function showNoUpdater(error) {
    $('updater').textContent = text('The state of the updater cannot be read: {reason}', { reason: error.message });
    $('updater').classList.add('error');
}
