// SPDX-License-Identifier: MIT

// Every text of the pages and scripts is in the catalogue of every language, and nothing else is.

import assert from 'node:assert/strict';
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { test } from 'node:test';
import { openOnline } from './browser.mjs';
import { until, webRoot } from './device.mjs';
import { device, newProfile } from './fixture.mjs';

const read = name => readFileSync(join(webRoot, name), 'utf8');
const named = (folder, ending) => readdirSync(join(webRoot, folder))
    .filter(name => ending.test(name)).map(name => join(folder, name));
// Names of the data model, of languages in themselves, of a digest.
const NO_TEXT = /^(\w+:\S+|value|activate|title|SHA-256|Plix|[\p{L}]+ \([a-z]{2}\))$/u;
const isText = words => /\p{L}{2}/u.test(words) && !NO_TEXT.test(words.trim());
const CALL = /\btext\((?:[^()']|'(?:[^'\\]|\\.)*'|\((?:[^()]|\([^()]*\))*\))*\)/g;
const LITERAL = /'((?:[^'\\]|\\.)*)'/g;

function ofPage(name) {
    const markup = read(name).replace(/<\?plix[^]*?\?>|<!--[^]*?-->/g, '')
        .replace(/<(\w+)[^>]*dir="auto"[^>]*>[^<]*<\/\1>/g, '');
    return [...markup.matchAll(/>([^<]+)</g),
        ...markup.matchAll(/(?:aria-label|title|placeholder|"(?:done|failed)" value)="([^"]*)"/g)]
        .map(([, words]) => words);
}

/** Has no words of its own, because nobody would translate them. */
function ofTemplate(name) {
    assert.deepEqual(ofPage(name).filter(isText), [], name);
    return [...read(name).matchAll(/SoupServer:texts\/([^@"]+)"/g)].map(([, words]) => words);
}

function ofScript(name) {
    const script = read(name).replace(/\/\*[^]*?\*\/|^\s*\/\/.*$/gm, '');
    const rest = script.replace(CALL, '');
    // What looks like a sentence, outside of the calls.
    const forgotten = [...rest.matchAll(/['`](\p{Lu}[^'`$]* [^'`]*)['`]/gu)].map(([, words]) => words);
    assert.deepEqual(forgotten.filter(words => !words.startsWith('Content-Type')), [], name);
    return [...script.matchAll(CALL)].flatMap(([call]) => [...call.matchAll(LITERAL)].map(([, words]) => words));
}

test('catalogues have all texts, and these only', () => {
    const found = [...named('.', /\.html$/).flatMap(ofPage), ...named('.', /\.fcgi$/).flatMap(ofTemplate),
        ...named('js', /\.js$/).flatMap(ofScript)]
        .map(words => words.trim().replaceAll('&amp;', '&')).filter(isText);
    const texts = [...new Set(found)].sort();
    for (const file of named('lang', /\.json$/)) {
        const catalogue = JSON.parse(read(file));
        assert.deepEqual(Object.keys(catalogue).filter(key => !key.startsWith('@')).sort(), texts, file);
        for (const [english, words] of Object.entries(catalogue)) {
            assert.deepEqual((words.match(/\{\w+\}/g) ?? []).sort(), (english.match(/\{\w+\}/g) ?? []).sort(),
                `${file}: ${english}`);
        }
    }
});

test('the first screen of the player has its texts, and these only', async () => {
    const modules = [...read('index.html').matchAll(/"js\/(\w+\.js)"/g),
        ...read('js/player.js').matchAll(/import\('\.\/(\w+\.js)'\)/g)].map(([, name]) => join('js', name));
    const texts = [...ofPage('index.html'), ...modules.flatMap(ofScript)].map(words => words.trim()).filter(isText);
    for (const language of ['de', 'en']) {
        await device.set('settings:/ui/language', language);
        const context = await newProfile();
        const first = await (await context.request.get('/first.fcgi')).json();
        const catalogue = JSON.parse(read(`lang/${language}.json`));
        assert.deepEqual(first, { '@licence': first['@licence'], '@lang': language, '@dir': catalogue['@dir'],
            '@group': catalogue['@group'],
            ...Object.fromEntries(texts.map(words => [words, catalogue[words]])) });
    }
});

test('pages are in the language of the device, and follow it', async () => {
    const page = await openOnline(await newProfile(), '/index.html');
    await page.getByRole('button', { name: 'Play', exact: true }).waitFor();
    await device.set('settings:/ui/language', 'de');
    await page.getByRole('button', { name: 'Wiedergabe', exact: true }).waitFor();
    assert.equal(await page.locator('html').getAttribute('lang'), 'de');
    for (const [path, heading] of [['/settings.fcgi', 'Einstellungen'], ['/data.html', 'Datenmodell']]) {
        await page.goto(path);
        await page.getByRole('heading', { name: heading, exact: true }).waitFor();
    }
    await page.goto('/update.html');
    await page.setInputFiles('#image', { name: 'image', mimeType: 'text/plain', buffer: Buffer.alloc(1536) });
    await page.getByText('1,5 KiB').waitFor();
    // One without a catalogue.
    await device.set('settings:/ui/language', 'ja');
    await page.getByRole('heading', { name: 'Update', exact: true }).waitFor();
    await device.set('settings:/ui/language', 'en');
    await until(async () => await page.locator('html').getAttribute('lang') === 'en', 'English');
});
