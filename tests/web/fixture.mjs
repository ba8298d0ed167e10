// SPDX-License-Identifier: MIT

// What tests in a browser share: a device, a browser, and pages without faults.

import assert from 'node:assert/strict';
import { after, afterEach, before } from 'node:test';
import { launch, profile } from './browser.mjs';
import { Device } from './device.mjs';

export let device, browser;
/** Of the device; a test file may add its own before its first test runs. */
export const nodes = {};
/** Further members of the device file. */
export const file = {};
/** How the browser is started. */
export const use = { launch };

before(async () => {
    device = await Device.start(nodes, {}, file);
    browser = await use.launch();
});
after(async () => {
    await browser?.close();
    await device?.end();
});
afterEach(async () => {
    const contexts = browser.contexts();
    await Promise.all(contexts.map(context => context.close()));
    assert.deepEqual(contexts.flatMap(({ faults }) => faults), []);
});

/** A browser profile that ends with the test. */
export const newProfile = options => profile(browser, device, options);
