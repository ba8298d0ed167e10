// SPDX-License-Identifier: MIT

// What has to be on the screen, in every size, with texts of any length.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { openOnline, phone } from './browser.mjs';
import { device, newProfile, nodes } from './fixture.mjs';

const PAGES = ['/index.html', '/player.fcgi', '/settings.fcgi', '/network.fcgi', '/update.html', '/update.fcgi',
    '/data.html#player:queue'];
const WORD = 'Rindfleischetikettierungsueberwachungsaufgabenuebertragungsgesetz'.repeat(2);
const SIZES = [[390, 844], [844, 390], [720, 450], [480, 320], [1024, 600], [1280, 800]];

nodes['player:queue'] = {
    rows: [WORD, `${'words '.repeat(40)}end`, 'أغنية '.repeat(30)].map(title => ({
        title, description: title, type: 'audio', value: { string_: 'media:/copper-sky.wav' },
    })),
};

/** Whether a click in the element's middle would hit it, without scrolling. */
const canBeHit = (page, selector) => page.locator(selector).evaluate(element => {
    const { x, y, width, height } = element.getBoundingClientRect();
    return element.contains(document.elementFromPoint(x + width / 2, y + height / 2));
});
const spills = page => page.evaluate(() => document.documentElement.scrollWidth - innerWidth);

for (const [width, height] of SIZES) {
    test(`the player fits ${width} x ${height}`, async () => {
        const context = await newProfile({ viewport: { width, height } });
        for (const index of nodes['player:queue'].rows.keys()) {
            await device.activate('player:player/play', { index });
            const page = await openOnline(context);
            await page.locator('#whole').waitFor();
            for (const control of ['#seek', '#previous', '#play', '#next', '#mute', '#volume'])
                assert.ok(await canBeHit(page, control), `${control}, row ${index}`);
            assert.equal(await spills(page), 0);
            await page.locator('#whole').click();
            assert.ok(await page.locator('#title').evaluate(({ scrollHeight, clientHeight }) =>
                scrollHeight <= clientHeight), 'all of the title');
        }
    });
}

test('text of twice the size stays within a phone', async () => {
    const context = await newProfile(phone);
    for (const path of PAGES) {
        const page = await openOnline(context, path);
        await page.evaluate(() => { document.documentElement.style.fontSize = '200%'; });
        assert.ok(await spills(page) <= 0, `${path}: ${await spills(page)} px`);
    }
});

test('forced colours leave sliders, the page and the row that plays to be seen', async () => {
    await device.activate('player:player/stop');
    const page = await openOnline(await newProfile({ forcedColors: 'active' }));
    await page.locator('#queue .current').waitFor();
    for (const [selector, change] of [
        ['#volume', element => { element.value = 90; }],
        ['.dock [aria-current]', element => element.removeAttribute('aria-current')],
        ['#queue .current', element => element.classList.remove('current')],
        ['#mute', element => element.setAttribute('aria-pressed', 'true')],
    ]) {
        const element = await page.locator(selector).elementHandle();
        const before = await element.screenshot();
        await element.evaluate(change);
        assert.ok(!before.equals(await element.screenshot()), selector);
    }
});
