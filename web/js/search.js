// SPDX-License-Identifier: MIT

/** What is found while one types. */

import { text } from './texts.js';
import { element } from './ui.js';
import { showGroups } from './groups.js';

/** The device takes no more of it. */
const MOST_CHARACTERS = 200;

export function show(host, place) {
    const says = element('p', { className: 'empty', role: 'status' });
    host.append(says);
    let [shown, next] = [null, null];

    /** What was found before stays until there is something else; answers that come too late are dropped. */
    const update = ({ id = '' }) => {
        const words = id.slice(0, MOST_CHARACTERS);
        next?.stop();
        const groups = element('div', { hidden: true });
        host.append(groups);
        const mine = showGroups(groups, `media:/search/${words}`, count => {
            says.textContent = count ? '' : text('Nothing was found for “{words}”.', { words });
            groups.hidden = !count;
            if (shown === mine || next !== mine)
                return;
            shown?.stop();
            [shown, next] = [mine, null];
        });
        const { stop } = mine;
        mine.stop = () => {
            stop();
            groups.remove();
        };
        next = mine;
        return mine.ready;
    };
    return {
        ready: update(place),
        update,
        stop: () => [shown, next].forEach(groups => groups?.stop()),
    };
}
