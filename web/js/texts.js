// SPDX-License-Identifier: MIT

/**
 * The language of the pages: that of the device's user interface, when there is a catalogue for it.
 *
 * A catalogue, lang/LANGUAGE.json, has the texts by their English wording, in which the pages and
 * scripts are written; "@dir" is the direction of the script, "@group" stands between groups of three
 * digits. A further language is a file and its entry here. The page of the player begins with the texts of
 * its first screen, which first.fcgi has.
 * Template pages get their texts from the same files, through nodes of the device.
 */

export const LANGUAGES = ['en', 'de'];
/** A device that takes longer to say its language is talked to in English. */
const LANGUAGE_MS = 3000;
/** What people see or hear of an element beside its text. */
const ATTRIBUTES = ['aria-label', 'title', 'placeholder', 'label'];

/** The language to use for a setting such as "de" or "de-AT". */
export function known(setting) {
    const [wanted] = String(setting).split('-');
    return LANGUAGES.includes(wanted) ? wanted : LANGUAGES[0];
}

async function read(url) {
    const response = await fetch(url, { signal: AbortSignal.timeout(LANGUAGE_MS) });
    return response.json();
}

async function deviceLanguage() {
    const path = 'settings:/ui/language';
    const [setting] = await read(`/api/getData?${new URLSearchParams({ path, roles: 'value' })}`).catch(() => []);
    return known(setting?.string_);
}

/** The texts of the player's first screen, from the device in its language: a third of the catalogue. */
const { first } = document.documentElement.dataset;
let catalogue = first ? await read(first).catch(() => ({})) : {};
export const language = first ? known(catalogue['@lang']) : await deviceLanguage();
let isWhole = language === LANGUAGES[0];
if (!first)
    await readCatalogue();

async function readCatalogue() {
    if (isWhole)
        return;
    catalogue = await read(`lang/${language}.json`).catch(() => catalogue);
    isWhole = true;
}

/**
 * Loads a module of this folder that the first screen does not need, and the texts for it.
 * @param {string} name
 */
export async function later(name) {
    await readCatalogue();
    return import(`./${name}`);
}

/**
 * @param {string} english
 * @param {object} [values] of the names in braces
 */
export function text(english, values = {}) {
    return (catalogue[english] ?? english).replace(/\{(\w+)\}/g, (_, name) => values[name]);
}

/** A whole number. Not by `Intl`, whose first formatter takes as long as all else that a phone shows at first. */
export function number(value) {
    return String(value).replace(/\B(?=(\d{3})+$)/g, catalogue['@group'] ?? ',');
}

/** Made when it is first used. */
function formatter(make) {
    let made;
    return value => (made ??= make()).format(value);
}

export const decimal = formatter(() =>
    new Intl.NumberFormat(language, { minimumFractionDigits: 1, maximumFractionDigits: 1 }));
export const time = formatter(() => new Intl.DateTimeFormat(language, { timeStyle: 'medium' }));

/** Puts the page into the language. What comes from the device, marked dir="auto", stays. */
export function translatePage() {
    if (language === LANGUAGES[0])
        return;
    document.documentElement.lang = language;
    document.documentElement.dir = catalogue['@dir'] ?? 'ltr';
    document.title = text(document.title);
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT,
        node => node.parentElement.closest('[dir=auto], script') ? NodeFilter.FILTER_REJECT : NodeFilter.FILTER_ACCEPT);
    while (walker.nextNode()) {
        const { data } = walker.currentNode;
        walker.currentNode.data = data.replace(data.trim(), text(data.trim()));
    }
    for (const name of ATTRIBUTES) {
        for (const element of document.querySelectorAll(`[${name}]`))
            element.setAttribute(name, text(element.getAttribute(name)));
    }
    for (const field of document.querySelectorAll('input[name=done], input[name=failed]'))
        field.value = text(field.value);
}
