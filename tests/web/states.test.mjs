// SPDX-License-Identifier: MIT

// Every visual state can be read and operated, as far as a machine can tell, and fits its screen.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import axe from 'axe-core';
import { open, phone, profile } from './browser.mjs';
import { browser, device, nodes } from './fixture.mjs';
import { enter, stateNodes, states } from './states.mjs';

Object.assign(nodes, stateNodes);

/** The same page with its scripts left out, where the check itself can run scripts. */
async function withScripts(page) {
    const markup = (await page.content()).replace(/<script[^]*?<\/script>/g, '').replace(/<(\/?)noscript>/g, '<$1div>');
    const context = await profile(browser, device, phone);
    await context.route('**/copy.html', route => route.fulfill({ contentType: 'text/html', body: markup }));
    return open(context, '/copy.html');
}

async function findings(page, options) {
    const { violations } = await page.evaluate(given => axe.run(given), options);
    return violations.flatMap(({ id, nodes: found }) => found.map(({ html }) => `${id}: ${html}`));
}

for (const state of states) {
    test(state.name, async () => {
        let page = await enter(state, browser, device);
        if (state.options?.javaScriptEnabled === false)
            page = await withScripts(page);
        await page.evaluate(axe.source);
        assert.deepEqual(await findings(page, {}), []);
        assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'wider than the screen');
        await page.emulateMedia({ colorScheme: 'dark' });
        assert.deepEqual(await findings(page, { runOnly: ['color-contrast'] }), [], 'dark');
    });
}
