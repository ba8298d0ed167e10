/** The settings page works without any of this; it only puts the language's entry in its place. */

import { $, startPage } from './ui.js';

function selectLanguage() {
    const [stored, ...known] = $('language').options;
    const same = known.find(option => option.value === stored.value);
    if (!same)
        return;
    same.selected = true;
    stored.remove();
}

startPage();
selectLanguage();
