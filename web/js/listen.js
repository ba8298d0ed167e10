// SPDX-License-Identifier: MIT

/** "Listen here": the current track in this browser, in step with the device. */

import { text } from './texts.js';
import { $, streamUrl, toast } from './ui.js';
import { playback } from './playback.js';

const audio = new Audio();
let listening = false;

function sameTrack() {
    return audio.dataset.path === playback.track.path;
}

async function follow() {
    const { path } = playback.track;
    if (!listening || !path) {
        audio.pause();
        return;
    }
    if (!sameTrack()) {
        audio.dataset.path = path;
        audio.src = streamUrl(path);
    }
    if (!playback.playing) {
        audio.pause();
        return;
    }
    if (audio.paused) {
        jump();
        // Interrupted by the next track or by a pause: the call that did it says how to go on.
        await audio.play().catch(error => error.name === 'AbortError' || failed());
    }
}

function jump() {
    if (listening && sameTrack() && audio.readyState > 0 && Number.isFinite(audio.duration))
        audio.currentTime = playback.position / 1000;
}

function setListening(on) {
    listening = on;
    $('listen').setAttribute('aria-pressed', on);
    follow();
}

function failed() {
    if (!listening)
        return;
    setListening(false);
    audio.removeAttribute('data-path');
    toast(text('This browser cannot play the track.'), { isError: true });
}

export function startListening() {
    $('listen').onclick = () => {
        setListening(!listening);
        if (listening && !playback.track.path)
            toast(text('You will hear the next track here.'));
    };
    audio.addEventListener('loadedmetadata', jump);
    audio.addEventListener('error', failed);
    playback.addEventListener('change', follow);
    playback.addEventListener('jump', jump);
    playback.addEventListener('change', () => {
        audio.volume = playback.volume / 100;
        audio.muted = playback.muted;
    });
}
