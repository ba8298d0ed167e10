// SPDX-License-Identifier: MIT

/**
 * The settings, each a form of its own, which work without any of this. With it they are saved
 * without leaving the page, and follow what other browsers save.
 */

import { text } from './texts.js';
import { $, act, device, startPage } from './ui.js';
import { confirmRestart, restart } from './restart.js';

function selectLanguage() {
    const [stored, ...known] = $('language').options;
    const same = known.find(option => option.value === stored.value);
    if (!same)
        return;
    same.selected = true;
    stored.remove();
}

function startSetting(form) {
    const { value: field, type, done, failed } = form.elements;
    const { path } = form.dataset;
    const member = type.value.split(':')[1];
    const [outcome, button] = [form.querySelector('.outcome'), form.querySelector('button')];
    const tell = (message, isError) => {
        outcome.textContent = message;
        outcome.classList.toggle('error', isError);
    };
    let isEdited = false;
    field.addEventListener('input', () => {
        isEdited = true;
        tell('', false);
    });
    device.watch(path, value => {
        // Not under the person's hands.
        if (!isEdited)
            field.value = value;
    });
    form.onsubmit = async event => {
        event.preventDefault();
        const value = member === 'i32_' ? field.valueAsNumber : field.value;
        isEdited = false;
        const isSaved = await act(button, () => device.set(path, { [member]: value }));
        tell(isSaved ? done.value : failed.value, !isSaved);
    };
}

function startRestart(form) {
    const outcome = form.querySelector('.outcome');
    const tell = message => { outcome.textContent = message; };
    form.onsubmit = async event => {
        event.preventDefault();
        if (await confirmRestart() && await restart(form.querySelector('button'), tell))
            tell(text('The device has been restarted.'));
    };
}

startPage();
selectLanguage();
document.querySelectorAll('form[data-path]').forEach(startSetting);
startRestart($('restart'));
device.watch('firmware:version', version => { $('version').textContent = version; });
