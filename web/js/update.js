// SPDX-License-Identifier: MIT

/**
 * Firmware update in steps: choose or drop an image, check it, send it with two progress bars, restart
 * the device. What the device runs and has received is shown as the device says it.
 */

import { text } from './texts.js';
import { $, device, startPage } from './ui.js';
import { bytesText, showNoUpdater, showUpdater } from './firmware.js';
import { canRestart, restart } from './restart.js';

/** The updater may still be writing when the last byte has been sent. */
const CONFIRM_MS = 20_000;
/** Larger images are sent with their length only: hashing takes all of the bytes at once. */
const LARGEST_LOCAL_HASH = 256 * 1024 ** 2;
const BUSY = text('Another image is being sent to this device. Send yours when the updater has finished with it.');

/** choose, check, send or restart */
let step = 'choose';
/** The file that is being checked: {file, sha256}; the digest is empty when it is not known. */
let image = null;
/** The last upload of this page: {file, request, sha256, sending, reported, judged}. */
let upload = null;
/** The state of `firmware:update`. */
let update = {};
/** Versions, empty when the device does not tell. */
let running = '';
let pending = '';
let isRestartable = false;
let isRestarting = false;

function tell(message, isError = false) {
    $('outcome').textContent = message;
    $('outcome').classList.toggle('error', isError);
}

function goTo(next) {
    step = next;
    for (const part of document.querySelectorAll('[data-in]'))
        part.hidden = !part.dataset.in.split(' ').includes(step);
    for (const item of document.querySelectorAll('[data-step]')) {
        if (item.dataset.step === step)
            item.setAttribute('aria-current', 'step');
        else
            item.removeAttribute('aria-current');
    }
    $('restart').hidden ||= !isRestartable;
}

function toChoice() {
    image = upload = null;
    $('update').reset();
    tell('');
    goTo('choose');
}

async function choose(file) {
    if (!file)
        return;
    toChoice();
    if (!file.size) {
        tell(text('This file is empty.'), true);
        return;
    }
    const chosen = image = { file, sha256: '' };
    $('fileName').textContent = file.name;
    $('fileSize').textContent = bytesText(file.size);
    $('fileHash').textContent = text('Reading …');
    $('send').disabled = true;
    goTo('check');
    const sha256 = await localHash(file).catch(error => error);
    if (chosen !== image)
        return;
    if (sha256 instanceof Error) {
        toChoice();
        tell(text('The file cannot be read: {reason}', { reason: sha256.message }), true);
        return;
    }
    image.sha256 = sha256;
    $('fileHash').textContent = sha256 || text('Too large to be computed here');
    $('send').disabled = false;
    tell(text('Send this image to the device?'));
    $('send').focus();
}

async function localHash(file) {
    if (!globalThis.crypto?.subtle || file.size > LARGEST_LOCAL_HASH)
        return '';
    const digest = await crypto.subtle.digest('SHA-256', await file.arrayBuffer());
    return [...new Uint8Array(digest)].map(byte => byte.toString(16).padStart(2, '0')).join('');
}

function showMeter(name, bytes, total) {
    $(name).value = total ? bytes / total : 0;
    $(`${name}Text`).textContent = text('{part} of {whole}', { part: bytesText(bytes), whole: bytesText(total) });
}

/** Sends the form as the browser would; resolves when the device has answered. */
function post({ file, request, sha256 }) {
    const form = new FormData();
    form.append('image', file, file.name);
    return new Promise((resolve, reject) => {
        request.upload.onprogress = event => {
            showMeter('sent', Math.max(0, event.loaded - event.total + file.size), file.size);
        };
        request.onload = () => request.status < 400 ? resolve() : reject(new Error(
            request.status === 503 ? BUSY : text('The device refused the image (status {status}).', request)));
        request.onerror = () => reject(new Error(text('The connection to the device broke off. The image was not sent completely.')));
        request.onabort = () => reject(new Error(text('You stopped sending.')));
        // The updater keeps no other image than this.
        request.open('POST', `${$('update').getAttribute('action')}&length=${file.size}${sha256 && '&sha256='}${sha256}`);
        request.send(form);
    });
}

async function send(event) {
    event.preventDefault();
    if (step !== 'check')
        return;
    if (update.state === 'receiving') {
        tell(BUSY, true);
        return;
    }
    const current = upload = { ...image, request: new XMLHttpRequest(), sending: true, reported: false };
    const { size } = current.file;
    showMeter('sent', 0, size);
    showMeter('received', 0, size);
    $('cancel').disabled = false;
    goTo('send');
    $('cancel').focus();
    tell(text('Sending …'));
    try {
        await post(current);
        showMeter('sent', size, size);
        $('cancel').disabled = true;
        tell(text('Sent. Waiting for the updater …'));
        setTimeout(() => judge(current, true), CONFIRM_MS);
        current.sending = false;
        judge(current);
    } catch (error) {
        // What the updater says from here on is not about this file as a whole.
        backToCheck(error.message);
    }
}

function backToCheck(message) {
    upload = null;
    goTo('check');
    tell(message, true);
    $('send').focus();
}

/** What the updater's state says of an upload that has been sent as a whole. */
function judge(current, isLast = false) {
    if (current !== upload || current.sending || current.judged)
        return;
    const isOver = current.reported && ['received', 'failed'].includes(update.state);
    if (!isOver && !isLast)
        return;
    current.judged = true;
    const { file, sha256 } = current;
    if (!current.reported) {
        backToCheck(text('The device took the file, but its updater did not receive it. Is the updater running?'));
    } else if (update.state !== 'received') {
        backToCheck(text(isOver ? 'Send it again.' : 'The updater has not said yet whether it has the image.'));
    } else if (update.bytes !== file.size || (sha256 && sha256 !== update.sha256)) {
        backToCheck(text('The updater has another image than the one you sent. Send it again.'));
    } else {
        image = null;
        goTo('restart');
        tell(text(sha256 ? 'It is the file you chose, byte for byte.' : 'It has the size of the file you chose.'));
        (isRestartable ? $('restart') : $('another')).focus();
    }
}

async function restartDevice() {
    isRestarting = true;
    $('restart').disabled = $('another').disabled = true;
    const wanted = pending;
    const before = running;
    const isDone = await restart($('restart'), tell);
    isRestarting = false;
    $('restart').disabled = $('another').disabled = false;
    if (!isDone)
        return;
    running = await device.get('firmware:version').catch(() => '');
    pending = '';
    toChoice();
    showVersions();
    const isOld = wanted && wanted !== running && before === running;
    tell(isOld ? text('The device still runs {version}.', { version: running })
        : text('The device has been restarted.'), isOld);
    $('image').focus();
}

function startDrop() {
    const drop = $('drop');
    // A file that misses the target would replace the page.
    addEventListener('dragover', event => event.preventDefault());
    addEventListener('drop', event => event.preventDefault());
    drop.ondragover = () => drop.classList.add('over');
    drop.ondragleave = () => drop.classList.remove('over');
    drop.ondrop = event => {
        drop.classList.remove('over');
        choose(event.dataTransfer.files[0]);
    };
}

function followUpdater() {
    let events = 0;
    device.subscribe('firmware:update', {
        event: ({ value }) => {
            events++;
            // The answer to this page's own upload, or to one that goes before it.
            if (upload)
                upload.reported = true;
            show(value);
        },
        // Also after a lost connection only the state tells what happened.
        ready: async () => {
            const before = events;
            try {
                const now = await device.get('firmware:update');
                if (events === before)
                    show(now);
            } catch (error) {
                showNoUpdater(error);
            }
        },
    });
    device.watch('firmware:version', version => {
        running = version;
        showVersions();
    });
    device.watch('firmware:pending', version => {
        const isNews = version !== pending;
        pending = version;
        showVersions();
        // Also what another browser has sent, or restarted.
        if (pending && step === 'choose')
            goTo('restart');
        else if (isNews && !pending && step === 'restart' && !isRestarting)
            toChoice();
    });
}

function show(value) {
    update = value ?? {};
    showUpdater(update);
    if (!upload)
        return;
    if (upload.reported)
        showMeter('received', update.bytes ?? 0, upload.file.size);
    judge(upload);
}

function showVersions() {
    if (isRestarting)
        return;
    $('running').textContent = !running ? ''
        : pending ? text('Now running {version}, after the next start {pending}.', { version: running, pending })
            : text('Now running {version}.', { version: running });
}

startPage();
startDrop();
canRestart().then(answer => {
    isRestartable = answer;
    goTo(step);
    followUpdater();
});
$('image').onchange = () => choose($('image').files[0]);
$('another').onclick = () => {
    toChoice();
    $('image').focus();
};
$('update').onsubmit = send;
$('restart').onclick = restartDevice;
$('cancel').onclick = () => upload.request.abort();
addEventListener('beforeunload', event => upload?.sending && event.preventDefault());
choose($('image').files[0]);
