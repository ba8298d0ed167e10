// SPDX-License-Identifier: MIT

/** Questions to the person. */

import { text } from './texts.js';
import { element, loadStyles } from './ui.js';

/**
 * Asks for some texts, or only for a yes.
 * @param {object} question
 * @param {string} question.title
 * @param {string} [question.says]
 * @param {string} question.yes what the button says
 * @param {Array<object>} [question.fields] properties of `input`, and its `label` and `hint`
 * @returns {Promise<?object>} the values by name; null for no
 */
export async function ask({ title, says, yes, fields = [] }) {
    await loadStyles('forms.css');
    const inputs = fields.map(({ label, hint, ...properties }) => {
        const input = element('input', { id: `field-${properties.name}`, autocomplete: 'off', ...properties });
        const note = hint ? [element('p', { className: 'hint', id: `hint-${input.id}`, textContent: hint })] : [];
        if (hint)
            input.setAttribute('aria-describedby', `hint-${input.id}`);
        return element('div', { className: 'field' },
            element('label', { htmlFor: input.id, textContent: label }), input, ...note);
    });
    const form = element('form', { method: 'dialog' },
        element('h2', { id: 'question', dir: 'auto', textContent: title }),
        ...(says ? [element('p', { textContent: says })] : []), ...inputs,
        element('div', { className: 'actions' },
            element('button', { className: 'action', value: 'yes', textContent: yes }),
            element('button', { className: 'action second', value: 'no', formNoValidate: true, textContent: text('Cancel') })));
    const dialog = element('dialog', { className: 'card', 'aria-labelledby': 'question' }, form);
    document.body.append(dialog);
    dialog.showModal();
    return new Promise(resolve => {
        dialog.onclose = () => {
            dialog.remove();
            const values = fields.map(({ name }) => [name, form.elements[name].value.trim()]);
            resolve(dialog.returnValue === 'yes' ? Object.fromEntries(values) : null);
        };
    });
}
