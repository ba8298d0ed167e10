// SPDX-License-Identifier: MIT

/** The network page: addresses as links, and what changes while one looks at it. */

import { $, device, element, startPage } from './ui.js';

/** Of the loopback, or without meaning on another machine. */
const NOT_FOR_OTHERS = /^(127\.|::1$|fe80:)/i;

function addressesOf({ wired, wireless, softAp } = {}) {
    return [wired, wireless, ...softAp?.accessPoints ?? []].flatMap(part => part?.addresses ?? [])
        .map(({ ip }) => ip).filter(ip => !NOT_FOR_OTHERS.test(ip));
}

function link(ip) {
    const port = location.port && `:${location.port}`;
    const host = ip.includes(':') ? `[${ip}]` : ip;
    return element('li', {}, element('a', { href: `https://${host}${port}/`, textContent: ip, dir: 'ltr' }));
}

startPage();
device.watch('network:info', info => {
    $('addresses').replaceChildren(element('ul', {}, ...addressesOf(info).map(link)));
}, () => {});
device.watch('SoupServer:certificate/sha256', fingerprint => {
    $('fingerprint').textContent = fingerprint;
}, () => {});
