// SPDX-License-Identifier: MIT

/** Jumps in a list that is sorted by title, to a letter or to the end. */

import { text } from './texts.js';
import { $, act } from './ui.js';

const LETTERS = [...'ABCDEFGHIJKLMNOPQRSTUVWXYZ'];
const END = 'end';

$('jump').append(...LETTERS.map(letter => new Option(letter)), new Option(text('The end'), END));

/** The device has the titles in order, whatever their case. */
async function jump(list) {
    const letter = $('jump').value;
    $('jump').value = '';
    list.scrollTo(letter === END ? list.count - 1
        : await list.search(({ title }) => title.toUpperCase() >= letter));
}

/** Offers it for a list, until the next one. */
export function offerJump(list) {
    $('jump').hidden = false;
    $('jump').onchange = () => act($('jump'), () => jump(list));
}
