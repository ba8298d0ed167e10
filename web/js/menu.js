// SPDX-License-Identifier: MIT

/** A menu at a button. */

import { element, icon } from './ui.js';

/** Between the menu and its button or the edge of the screen. */
const GAP_PX = 6;

let menu = null;

function close(returnFocus) {
    const { button, list } = menu;
    menu = null;
    button.setAttribute('aria-expanded', 'false');
    list.remove();
    if (returnFocus && button.isConnected)
        button.focus();
}

function place(list, button) {
    const { left, right, top, bottom } = button.getBoundingClientRect();
    const { width, height } = list.getBoundingClientRect();
    const wanted = document.dir === 'rtl' ? left : right - width;
    const below = bottom + GAP_PX + height < innerHeight;
    list.style.left = `${Math.max(GAP_PX, Math.min(innerWidth - width - GAP_PX, wanted))}px`;
    list.style.top = `${Math.max(GAP_PX, below ? bottom + GAP_PX : top - GAP_PX - height)}px`;
}

function pressed(event) {
    const items = [...menu.list.children];
    const at = items.indexOf(document.activeElement);
    const to = {
        ArrowDown: (at + 1) % items.length,
        ArrowUp: (at - 1 + items.length) % items.length,
        Home: 0,
        End: items.length - 1,
    }[event.key];
    if (to !== undefined) {
        event.preventDefault();
        items[to].focus();
    } else if (event.key === 'Escape' || event.key === 'Tab') {
        event.preventDefault();
        close(true);
    }
    // None of the page's shortcuts meanwhile.
    event.stopPropagation();
}

/**
 * @param {HTMLElement} button gets the focus back
 * @param {Array<{label: string, icon: string, run: () => void}>} entries
 */
export function openMenu(button, entries) {
    const isOpen = menu?.button === button;
    if (menu)
        close(false);
    if (isOpen)
        return;
    const list = element('div', { className: 'menu', role: 'menu', onkeydown: pressed, 'aria-label': button.title },
        ...entries.map(({ label, icon: name, run }) => element('button', { type: 'button', role: 'menuitem', tabIndex: -1,
            onclick: () => {
                close(true);
                run();
            } }, icon(name), element('span', { textContent: label }))));
    menu = { button, list };
    button.setAttribute('aria-expanded', 'true');
    (button.closest('main') ?? document.body).append(list);
    place(list, button);
    list.firstElementChild.focus();
}

document.addEventListener('pointerdown', ({ target }) => {
    if (menu && !menu.list.contains(target) && !menu.button.contains(target))
        close(false);
});
for (const type of ['scroll', 'resize', 'hashchange'])
    addEventListener(type, () => menu && close(type === 'scroll'), { passive: true });
