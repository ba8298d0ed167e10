// SPDX-License-Identifier: MIT

/** The data model explorer. Nodes are not listed anywhere, so it starts from well-known ones. */

import { fromJson, plain, toJson } from '../plix.js';
import { number, text, time } from './texts.js';
import { $, device, element, startPage, toast } from './ui.js';

const ROOTS = [
    'player:player/state', 'player:player/track', 'player:player/position', 'player:player/duration',
    'player:player/volume', 'player:player/mute', 'player:queue', 'media:/', 'settings:/device/name',
    'settings:/ui/language', 'settings:/player/volume', 'network:info', 'network:hostname', 'firmware:update',
    'firmware:version', 'firmware:pending', 'device:restart',
];
const ROW_ROLES = ['title', 'description', 'value'];
const ROWS_PER_PAGE = 50;
const LOG_LENGTH = 200;
const PATH = /^[A-Za-z]\w*:\S*$/;

/** path to the function that stops watching it */
const watched = new Map();
let path = '';
let firstRow = 0;

function quoted(text) {
    return `'${text.replaceAll("'", "'\\''")}'`;
}

function readCommand() {
    const query = new URLSearchParams({ path, roles: '@all' });
    return `curl -k ${quoted(`${location.origin}/api/getData?${query}`)}`;
}

function writeCommand() {
    let value = $('value').value.trim();
    try {
        value = toJson(fromJson(value));
    } catch { /* shown as it is typed until it is JSON */ }
    const body = `{"path":${JSON.stringify(path)},"role":${JSON.stringify($('role').value)},"value":${value}}`;
    return `curl -k -H 'Content-Type: application/json' -d ${quoted(body)} ${quoted(`${location.origin}/api/setData`)}`;
}

/** A value as text, or as a link when it is the path of another node. */
function valueCell(value) {
    const cell = element('td', { className: 'mono', dir: 'auto' });
    const inner = plain(value);
    if (typeof inner === 'string' && PATH.test(inner))
        cell.append(element('button', { type: 'button', textContent: inner, onclick: () => open(inner) }));
    else
        cell.textContent = value === null ? '' : toJson(value);
    return cell;
}

function showRoles(values) {
    const present = Object.entries(values).filter(([, value]) => value !== null);
    $('roles').tBodies[0].replaceChildren(...present.map(([role, value]) =>
        element('tr', {}, element('th', { scope: 'row', textContent: role }), valueCell(value))));
}

async function readRoles() {
    const opened = path;
    try {
        const values = await device.get(opened, '@all');
        if (opened !== path)
            return;
        showRoles(values);
        $('nodeError').textContent = '';
        return values;
    } catch (error) {
        if (opened !== path)
            return;
        $('roles').tBodies[0].replaceChildren();
        $('nodeError').textContent = `${error.name}: ${error.message}`;
    }
}

async function readRows() {
    const opened = path;
    const answer = await device.rows(opened,
        { from: firstRow, to: firstRow + ROWS_PER_PAGE - 1, roles: ROW_ROLES }).catch(() => null);
    if (opened !== path)
        return;
    $('rowsPart').hidden = !answer?.count;
    if (!answer)
        return;
    $('rowsHeading').textContent = text('{count} rows, version {version}', { count: number(answer.count), version: answer.version });
    $('rowsBack').disabled = firstRow === 0;
    $('rowsOn').disabled = firstRow + ROWS_PER_PAGE >= answer.count;
    $('rows').tBodies[0].replaceChildren(...answer.rows.map((row, index) => element('tr', {},
        element('th', { scope: 'row', textContent: firstRow + index }),
        element('td', { dir: 'auto', textContent: row.title ?? '' }),
        element('td', { dir: 'auto', textContent: row.description ?? '' }),
        valueCell(row.value))));
}

function showCommands() {
    $('readCurl').textContent = readCommand();
    $('writeCurl').textContent = writeCommand();
}

/** The hash keeps the path, so that "back" and bookmarks work. */
function open(newPath) {
    location.hash = encodeURIComponent(newPath);
}

/** A hash that somebody has mistyped is shown as it is. */
function pathOf(hash) {
    try {
        return decodeURIComponent(hash);
    } catch {
        return hash;
    }
}

async function opened() {
    path = pathOf(location.hash.slice(1));
    firstRow = 0;
    $('node').hidden = $('write').hidden = !path;
    if (!path)
        return;
    $('path').value = $('nodePath').textContent = path;
    $('writeOutcome').textContent = '';
    $('value').value = '';
    showWatched();
    showCommands();
    const [values] = await Promise.all([readRoles(), readRows()]);
    if (values && !$('value').value)
        $('value').value = toJson(values.value ?? null);
    showCommands();
    $('nodePath').focus();
}

async function write(event) {
    event.preventDefault();
    const outcome = $('writeOutcome');
    outcome.classList.add('error');
    let value;
    try {
        value = fromJson($('value').value);
    } catch (error) {
        outcome.textContent = text('This is not JSON: {reason}', { reason: error.message });
        return;
    }
    try {
        const answer = await device.set(path, value, $('role').value);
        outcome.classList.remove('error');
        outcome.textContent = text('Written. Answer: {answer}', { answer: toJson(answer) });
    } catch (error) {
        outcome.textContent = `${error.name}: ${error.message}`;
    }
    readRoles();
    readRows();
}

function logEvent(event) {
    const { path: changed, ...change } = event;
    $('noEvents').hidden = true;
    $('log').prepend(element('li', {},
        element('time', { textContent: time(new Date()) }),
        `${changed} ${toJson(change)}`));
    if ($('log').children.length > LOG_LENGTH)
        $('log').lastElementChild.remove();
    if (changed !== path)
        return;
    if ('value' in event)
        readRoles();
    if (event.rowsEvents || event.rowsReset)
        readRows();
}

function showWatched() {
    $('follow').setAttribute('aria-pressed', watched.has(path));
    $('follow').textContent = text(watched.has(path) ? 'Watching events' : 'Watch events');
    $('watched').replaceChildren(...[...watched.keys()].map(name => element('button', {
        type: 'button', className: 'chip', textContent: `${name} ×`, 'aria-label': text('Stop watching {path}', { path: name }),
        onclick: () => toggleWatch(name),
    })));
}

function toggleWatch(name) {
    if (watched.has(name)) {
        watched.get(name)();
        watched.delete(name);
    } else {
        watched.set(name, device.subscribe(name, { event: logEvent }));
    }
    showWatched();
}

async function copy(id) {
    try {
        await navigator.clipboard.writeText($(id).textContent);
        toast(text('Copied'));
    } catch {
        getSelection().selectAllChildren($(id));
        toast(text('Selected: copy it with the keyboard'));
    }
}

function turnPage(rows) {
    firstRow = Math.max(0, firstRow + rows);
    readRows();
}

startPage();
$('roots').append(...ROOTS.map(root =>
    element('button', { type: 'button', className: 'chip', textContent: root, onclick: () => open(root) })));
$('open').onsubmit = event => {
    event.preventDefault();
    open($('path').value.trim());
};
$('write').onsubmit = write;
$('value').oninput = $('role').onchange = showCommands;
$('follow').onclick = () => toggleWatch(path);
$('rowsBack').onclick = () => turnPage(-ROWS_PER_PAGE);
$('rowsOn').onclick = () => turnPage(ROWS_PER_PAGE);
$('copyRead').onclick = () => copy('readCurl');
$('copyWrite').onclick = () => copy('writeCurl');
$('clearLog').onclick = () => {
    $('log').replaceChildren();
    $('noEvents').hidden = false;
};
addEventListener('hashchange', opened);
opened();
