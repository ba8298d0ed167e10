// SPDX-License-Identifier: MIT

/** "Listen here": the current track in this browser, in step with the device, with the keys of its system. */

import { text } from './texts.js';
import { $, act, coverUrl, device, streamUrl, toast } from './ui.js';
import { playback } from './playback.js';

const COVER_PX = 512;
const SEEK_S = 10;
const { mediaSession } = navigator;

const audio = new Audio();
let listening = false;
let shown;

function sameTrack() {
    return audio.dataset.path === playback.track.path;
}

async function follow() {
    const { path } = playback.track;
    showSession();
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
    showPosition();
}

/** What the system shows on its lock screen. The album is in none of the player's nodes but the track's. */
async function showSession() {
    if (!mediaSession)
        return;
    mediaSession.playbackState = !listening ? 'none' : playback.playing ? 'playing' : 'paused';
    const { track } = playback;
    const name = listening ? JSON.stringify(track) : '';
    if (name === shown)
        return;
    shown = name;
    if (!name) {
        mediaSession.metadata = null;
        return;
    }
    const { title = '', artist = '', path, cover } = track;
    const { album } = await device.get(path ?? '', ['album']).catch(() => ({}));
    if (name !== shown)
        return;
    const artwork = cover ? [{ src: new URL(coverUrl(cover, COVER_PX), location).href }] : [];
    mediaSession.metadata = new MediaMetadata({ title: title || path, artist, album: album ?? '', artwork });
}

function showPosition() {
    if (!listening || !mediaSession?.setPositionState)
        return;
    const duration = playback.duration / 1000;
    mediaSession.setPositionState(duration
        ? { duration, position: Math.min(duration, playback.position / 1000), playbackRate: 1 } : {});
}

function startSession() {
    const activate = (action, value) => act($('listen'), () => device.activate(`player:player/${action}`, value));
    const seek = seconds => playback.duration
        && activate('seek', Math.round(Math.max(0, Math.min(playback.duration, seconds * 1000))));
    const now = () => playback.position / 1000;
    const handlers = {
        play: () => activate('play'),
        pause: () => activate('pause'),
        nexttrack: () => activate('next'),
        previoustrack: () => activate('previous'),
        seekto: ({ seekTime }) => seek(seekTime),
        seekbackward: ({ seekOffset }) => seek(now() - (seekOffset ?? SEEK_S)),
        seekforward: ({ seekOffset }) => seek(now() + (seekOffset ?? SEEK_S)),
    };
    for (const [action, handler] of Object.entries(handlers)) {
        try {
            mediaSession.setActionHandler(action, handler);
        } catch {
            // One that this browser does not know.
        }
    }
}

function setListening(on) {
    listening = on;
    $('listen').setAttribute('aria-pressed', on);
    follow();
    showPosition();
}

function failed() {
    if (!listening)
        return;
    setListening(false);
    audio.removeAttribute('data-path');
    toast(text('This browser cannot play the track.'), { isError: true });
}

function showVolume() {
    audio.volume = playback.volume / 100;
    audio.muted = playback.muted;
}

export function toggle() {
    setListening(!listening);
    if (listening && !playback.track.path)
        toast(text('You will hear the next track here.'));
}

audio.addEventListener('loadedmetadata', jump);
audio.addEventListener('error', failed);
playback.addEventListener('change', follow);
playback.addEventListener('change', showVolume);
for (const event of ['change', 'position'])
    playback.addEventListener(event, showPosition);
playback.addEventListener('jump', jump);
showVolume();
if (mediaSession)
    startSession();
