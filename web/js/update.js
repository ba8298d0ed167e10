/** Firmware upload: choose or drop, two progress bars, cancel, and what the updater made of it. */

import { text } from './texts.js';
import { $, bytesText, device, startPage } from './ui.js';
import { showNoUpdater, showUpdater } from './firmware.js';

/** The updater may still be writing when the last byte has been sent. */
const CONFIRM_MS = 20_000;
/** Larger images are sent with their length only: hashing takes all of the bytes at once. */
const LARGEST_LOCAL_HASH = 256 * 1024 ** 2;
const BUSY = text('Another image is being sent to this device. Send yours when the updater has finished with it.');

let image = null;
/** The last upload of this page: {file, request, sha256, sending, cancelled, reported, judged}. */
let upload = null;
/** The state of `firmware:update`. */
let update = {};

function tell(message, isError = false) {
    $('outcome').textContent = message;
    $('outcome').classList.toggle('error', isError);
}

function choose(file) {
    image = file ?? null;
    $('chosen').textContent = image ? bytesText(image.size) : '';
    tell('');
    if (image && !image.size) {
        image = null;
        tell(text('This file is empty.'), true);
    }
}

function showMeter(name, bytes, total) {
    $(name).value = total ? bytes / total : 0;
    $(`${name}Text`).textContent = text('{part} of {whole}', { part: bytesText(bytes), whole: bytesText(total) });
}

function setBusy(busy) {
    $('send').disabled = $('image').disabled = busy;
    $('cancel').hidden = !busy;
    if (busy)
        $('cancel').focus();
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

async function localHash(file) {
    if (!globalThis.crypto?.subtle || file.size > LARGEST_LOCAL_HASH)
        return '';
    const digest = await crypto.subtle.digest('SHA-256', await file.arrayBuffer());
    return [...new Uint8Array(digest)].map(byte => byte.toString(16).padStart(2, '0')).join('');
}

async function send(event) {
    event.preventDefault();
    if (!image || upload?.sending)
        return;
    if (update.state === 'receiving') {
        tell(BUSY, true);
        return;
    }
    const current = upload = { file: image, request: new XMLHttpRequest(), sending: true, reported: false };
    $('sending').hidden = $('receiving').hidden = false;
    showMeter('sent', 0, image.size);
    showMeter('received', 0, image.size);
    setBusy(true);
    try {
        tell(text('Reading …'));
        current.sha256 = await localHash(current.file);
        if (current.cancelled)
            throw new Error(text('You stopped before anything was sent.'));
        tell(text('Sending …'));
        await post(current);
        showMeter('sent', current.file.size, current.file.size);
        tell(text('Sent. Waiting for the updater …'));
        setTimeout(() => judge(current, true), CONFIRM_MS);
        current.sending = false;
        judge(current);
    } catch (error) {
        // What the updater says from here on is not about this file as a whole.
        upload = null;
        $('sending').hidden = $('receiving').hidden = true;
        tell(error.message, true);
    } finally {
        setBusy(false);
    }
}

function cancel() {
    upload.cancelled = true;
    upload.request.abort();
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
    if (!current.reported)
        tell(text('The device took the file, but its updater did not receive it. Is the updater running?'), true);
    else if (update.state !== 'received')
        tell(text(isOver ? 'Send it again.' : 'The updater has not said yet whether it has the image.'), true);
    else if (update.bytes !== file.size || (sha256 && sha256 !== update.sha256))
        tell(text('The updater has another image than the one you sent. Send it again.'), true);
    else
        tell(text(sha256 ? 'It is the file you chose, byte for byte.' : 'It has the size of the file you chose.'));
    $('send').focus();
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
        if (upload?.sending || !event.dataTransfer.files.length)
            return;
        $('image').files = event.dataTransfer.files;
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

startPage();
startDrop();
followUpdater();
$('image').onchange = () => choose($('image').files[0]);
$('update').onsubmit = send;
$('cancel').onclick = cancel;
addEventListener('beforeunload', event => upload?.sending && event.preventDefault());
choose($('image').files[0]);
