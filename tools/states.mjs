#!/usr/bin/env node
// SPDX-License-Identifier: MIT

// Makes screenshots of the pages' visual states, and one page to look through them:
// tools/states.mjs FOLDER. ./test has installed what this needs and built the device.

import { mkdirSync, writeFileSync } from 'node:fs';
import { launch } from '../tests/web/browser.mjs';
import { Device } from '../tests/web/device.mjs';
import { enter, stateNodes, states } from '../tests/web/states.mjs';

const folder = process.argv[2];
if (!folder) {
    console.error('usage: tools/states.mjs FOLDER');
    process.exit(2);
}
mkdirSync(folder, { recursive: true });
const device = await Device.start(stateNodes);
const browser = await launch();
const shots = [];
try {
    for (const state of states) {
        for (const colorScheme of ['light', 'dark']) {
            const page = await enter(state, browser, device, { colorScheme });
            const file = `${state.name.replaceAll(/\W+/g, '-')}-${colorScheme}.png`;
            await page.screenshot({ path: `${folder}/${file}`, animations: 'disabled' });
            shots.push(`<figure><img src="${file}" alt=""><figcaption>${state.name}, ${colorScheme}</figcaption></figure>`);
            await page.context().close();
        }
    }
} finally {
    await browser.close();
    await device.end();
}
writeFileSync(`${folder}/index.html`, `<!doctype html><meta charset="utf-8"><title>Visual states</title>
<style>body { display: flex; flex-wrap: wrap; } img { height: 24rem; border: 1px solid; }</style>
${shots.join('\n')}\n`);
console.log(`${folder}/index.html`);
