// SPDX-License-Identifier: MIT

// Debian's Chromium and Firefox, the former without its own requests to the outside.

import { chromium, firefox } from 'playwright-core';

export const phone = { viewport: { width: 390, height: 844 }, hasTouch: true };
export const desktop = { viewport: { width: 1360, height: 860 } };

export function launch() {
    return chromium.launch({
        executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
        args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
            '--disable-background-networking', '--disable-component-update', '--disable-sync'],
    });
}

/** Over WebDriver BiDi, because Debian's Firefox has no other interface that the driver knows. */
export function launchFirefox() {
    return firefox.launch({
        channel: 'moz-firefox', executablePath: process.env.FIREFOX ?? '/usr/bin/firefox-esr',
    });
}

/**
 * A browser profile of its own (tabs of one share locks and channels, those of two do not).
 * `faults` collects what no page may do: script errors and requests to anywhere else.
 */
export async function profile(browser, device, options = {}) {
    const context = await browser.newContext({
        baseURL: device.url, ignoreHTTPSErrors: true, ...desktop, ...options,
    });
    context.setDefaultTimeout(15_000);
    context.faults = [];
    context.on('weberror', ({ error }) => context.faults.push(String(error())));
    context.on('request', request => {
        if (!request.url().startsWith(device.url) && !/^(data|blob):/.test(request.url()))
            context.faults.push(`request to ${request.url()}`);
    });
    return context;
}

export async function open(context, path = '/index.html') {
    const page = await context.newPage();
    await page.goto(path);
    return page;
}

/** A page that has its live connection to the device. */
export async function openOnline(context, path) {
    const page = await open(context, path);
    await page.waitForFunction(async () => (await import('/js/ui.js')).device.connection === 'online');
    return page;
}
