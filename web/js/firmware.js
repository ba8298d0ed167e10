/** What the updater says, in plain words. */

import { $, bytesText } from './ui.js';

function sentence({ state, bytes = 0 }) {
    switch (state) {
    case 'idle':
        return 'No image has been sent since the device started.';
    case 'receiving':
        return `The updater is receiving an image, ${bytesText(bytes)} so far.`;
    case 'received':
        return `The updater has the whole image, ${bytesText(bytes)}.`;
    case 'failed':
        return `The updater did not get the whole image: it stopped after ${bytesText(bytes)}.`;
    default:
        return state ? `The updater says: ${state}.` : 'The device has no updater.';
    }
}

/**
 * Shows the state of `firmware:update`, and nothing that it does not say.
 * @param {{state?: string, bytes?: number, sha256?: string}} update
 */
export function showUpdater(update) {
    $('updater').textContent = sentence(update);
    $('updater').classList.toggle('error', update.state === 'failed');
    $('hashField').hidden = update.state !== 'received' || !update.sha256;
    $('hash').textContent = update.sha256 ?? '';
}

/** The updater cannot be asked. */
export function showNoUpdater(error) {
    $('updater').textContent = `The updater's state cannot be read: ${error.message}`;
    $('updater').classList.add('error');
}
