/**
 * The settings, each a form of its own, which work without any of this. With it they are saved
 * without leaving the page, and follow what other browsers save.
 */

import { $, act, device, startPage } from './ui.js';

function selectLanguage() {
    const [stored, ...known] = $('language').options;
    const same = known.find(option => option.value === stored.value);
    if (!same)
        return;
    same.selected = true;
    stored.remove();
}

function startSetting(form) {
    const { value: field, done, failed } = form.elements;
    const { path, type } = form.dataset;
    const [outcome, button] = [form.querySelector('.outcome'), form.querySelector('button')];
    const tell = (text, isError) => {
        outcome.textContent = text;
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
        const value = type === 'i32_' ? field.valueAsNumber : field.value;
        isEdited = false;
        const isSaved = await act(button, () => device.set(path, { [type]: value }));
        tell(isSaved ? done.value : failed.value, !isSaved);
    };
}

startPage();
selectLanguage();
document.querySelectorAll('form[data-path]').forEach(startSetting);
