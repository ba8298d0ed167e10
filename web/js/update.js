/** Firmware upload: choose or drop, two progress bars, the hash at the end, cancel. */

import { $, bytesText, device, startPage } from './ui.js';
import { showOutcome, tell } from './firmware.js';

/** The updater may still be writing when the last byte has been sent. */
const CONFIRM_MS = 20_000;
/** Larger images are sent with their length only: hashing takes all of the bytes at once. */
const LARGEST_LOCAL_HASH = 256 * 1024 ** 2;

let image = null;
/** The upload under way; null when there is none. */
let upload = null;
let update = {};

function choose(file) {
    image = file ?? null;
    $('chosen').textContent = image ? bytesText(image.size) : '';
    tell('');
    $('hashField').hidden = true;
    if (image && !image.size) {
        image = null;
        tell('This file is empty.', true);
    }
}

function showMeter(name, bytes, total) {
    $(name).value = total ? bytes / total : 0;
    $(`${name}Text`).textContent = `${bytesText(bytes)} of ${bytesText(total)}`;
}

function setBusy(busy) {
    $('send').disabled = $('image').disabled = busy;
    $('cancel').hidden = !busy;
    if (busy)
        $('cancel').focus();
}

/** Sends the form as the browser would; resolves when the device has answered. */
function post(current) {
    const form = new FormData();
    const { file, request, sha256 } = current;
    form.append('image', file, file.name);
    return new Promise((resolve, reject) => {
        request.upload.onprogress = event => {
            showMeter('sent', Math.max(0, event.loaded - event.total + file.size), file.size);
        };
        request.onload = () => request.status < 400 ? resolve()
            : reject(new Error(`The device refused the image (status ${request.status}).`));
        request.onerror = () => reject(new Error('The connection to the device broke off. The image was not sent completely.'));
        request.onabort = () => reject(new Error('Cancelled. The device keeps its present firmware.'));
        // The updater keeps no other image than this.
        request.open('POST', `${$('update').getAttribute('action')}&length=${file.size}${sha256 && '&sha256='}${sha256}`);
        request.send(form);
    });
}

/** Resolves when the updater has finished with this upload, or says nothing for too long. */
function confirmed(current) {
    return new Promise(resolve => {
        const done = () => ['received', 'failed'].includes(update.state) && current.reported;
        const timer = setTimeout(finish, CONFIRM_MS);
        function finish() {
            clearTimeout(timer);
            current.reportChanged = () => {};
            resolve();
        }
        current.reportChanged = () => done() && finish();
        current.reportChanged();
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
    if (!image || upload)
        return;
    const current = { file: image, request: new XMLHttpRequest(), reported: false, reportChanged() {} };
    upload = current;
    tell('Reading …');
    $('hashField').hidden = true;
    $('sending').hidden = $('receiving').hidden = false;
    showMeter('sent', 0, image.size);
    showMeter('received', 0, image.size);
    try {
        current.sha256 = await localHash(current.file);
        setBusy(true);
        tell('Sending …');
        await post(current);
        showMeter('sent', current.file.size, current.file.size);
        tell('Sent. Waiting for the updater …');
        await confirmed(current);
        conclude(current);
    } catch (error) {
        tell(error.message, true);
    } finally {
        upload = null;
        setBusy(false);
    }
}

function conclude(current) {
    if (!current.reported)
        throw new Error('The device took the file, but its updater did not receive it. Is the updater running?');
    const { file, sha256 } = current;
    if (update.state === 'received' && (update.bytes !== file.size || (sha256 && sha256 !== update.sha256)))
        throw new Error('The updater has another image than the one you sent. Send it again.');
    showOutcome(update, sha256 ? 'It is the file you chose, byte for byte.' : '');
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
        if (upload || !event.dataTransfer.files.length)
            return;
        $('image').files = event.dataTransfer.files;
        choose(event.dataTransfer.files[0]);
    };
}

function followUpdater() {
    device.subscribe('firmware:update', {
        event: ({ value }) => reported(value),
        // After a lost connection only the state tells what happened.
        ready: async () => {
            const now = await device.get('firmware:update').catch(() => null);
            if (now && upload?.reported)
                reported(now);
        },
    });
}

function reported(value) {
    if (!value)
        return;
    update = value;
    if (!upload)
        return;
    upload.reported = true;
    showMeter('received', update.bytes ?? 0, upload.file.size);
    upload.reportChanged();
}

startPage();
startDrop();
followUpdater();
$('image').onchange = () => choose($('image').files[0]);
$('update').onsubmit = send;
$('cancel').onclick = () => upload?.request.abort();
addEventListener('beforeunload', event => upload && event.preventDefault());
choose($('image').files[0]);
