// SPDX-License-Identifier: MIT

/** The restart of the device, where the platform lets its clients do it. */

import { text } from './texts.js';
import { act, device, element } from './ui.js';

const PATH = 'device:restart';
/** A device is back sooner, unless the browser does not accept its new certificate. */
const BACK_MS = 20_000;

export function canRestart() {
    return device.get(PATH, ['activate']).then(({ activate }) => Boolean(activate), () => false);
}

/** @returns {Promise<boolean>} whether the person wants it */
export function confirmRestart() {
    const dialog = element('dialog', { className: 'card', 'aria-labelledby': 'question' },
        element('form', { method: 'dialog' },
            element('h2', { id: 'question', textContent: text('Restart the device?') }),
            element('p', { textContent: text('Music stops. The device is back after some seconds.') }),
            element('div', { className: 'actions' },
                element('button', { className: 'action', value: 'yes', textContent: text('Restart') }),
                element('button', { className: 'action second', value: 'no', textContent: text('Cancel') }))));
    document.body.append(dialog);
    dialog.showModal();
    return new Promise(resolve => {
        dialog.onclose = () => {
            dialog.remove();
            resolve(dialog.returnValue === 'yes');
        };
    });
}

/**
 * Restarts the device and waits until it is back, as long as that takes.
 * @param {Element} control
 * @param {(message: string) => void} tell
 * @returns {Promise<boolean>} false when the device refuses it
 */
export async function restart(control, tell) {
    let before;
    const isAccepted = await act(control, async () => {
        before = await device.get(PATH);
        await device.activate(PATH);
    });
    if (!isAccepted)
        return false;
    tell(text('Restarting …'));
    const timer = setTimeout(() => tell(text('The device is not back yet. If your browser has warned of its certificate, load this page again: the device has a new one.')), BACK_MS);
    await new Promise(resolve => {
        const stop = device.watch(PATH, started => {
            if (started === before)
                return;
            stop();
            resolve();
        });
    });
    clearTimeout(timer);
    return true;
}
