// SPDX-License-Identifier: MIT

/** Cover, title, position, transport and volume. */

import { later, text } from './texts.js';
import { $, act, clock, device, setIcon, sharedRange, showCover } from './ui.js';
import { playback } from './playback.js';

const TICK_MS = 250;
/** Where the cover is shown, and how wide at most. */
const COVERS = [['cover', 512], ['glow', 64], ['miniCover', 44]];
/** What repeating goes to with each press. */
const REPEAT = {
    off: { next: 'all', icon: 'repeat', label: text('Repeat: off') },
    all: { next: 'one', icon: 'repeat', label: text('Repeat: the queue') },
    one: { next: 'off', icon: 'repeatone', label: text('Repeat: this track') },
};

let shownTrack;

function showTrack() {
    const track = JSON.stringify(playback.track);
    if (track === shownTrack)
        return;
    shownTrack = track;
    const { title, artist, path, cover } = playback.track;
    const name = title || path || '';
    $('title').textContent = name || text('Nothing playing');
    $('artist').textContent = name ? artist ?? '' : text('Choose something from the library');
    $('miniTitle').textContent = name || text('Nothing playing');
    setWhole(false);
    document.title = name ? `${name} – ${text('Now playing')}` : text('Now playing');
    $('cover').alt = name && text('Cover of {title}', { title: name });
    for (const [id, width] of COVERS)
        showCover($(id), cover, width);
}

/** A long title takes two lines, until the person wants all of it. */
function setWhole(isWhole) {
    $('track').classList.toggle('whole', isWhole);
    $('whole').setAttribute('aria-expanded', isWhole);
    // When the layout is computed anyway.
    requestAnimationFrame(offerWhole);
}

function offerWhole() {
    const isCut = [$('title'), $('artist')].some(part => part.scrollHeight > part.clientHeight + 1);
    $('whole').hidden = !isCut && !$('track').classList.contains('whole');
}

function showState() {
    for (const id of ['play', 'miniPlay']) {
        setIcon($(id).firstElementChild, playback.playing ? 'pause' : 'play');
        $(id).setAttribute('aria-label', text(playback.playing ? 'Pause' : 'Play'));
    }
    document.body.classList.toggle('playing', playback.playing);
    // The device does not know where in an endless stream it could go to, nor in one that it stopped.
    $('seek').disabled = !playback.duration || playback.state === 'stopped';
    $('seek').max = playback.duration;
    $('total').textContent = playback.isLive ? text('live') : clock(playback.duration);
}

function startPosition() {
    const refresh = sharedRange($('seek'), {
        read: () => playback.position,
        write: position => act($('seek'), () => device.activate('player:player/seek', position)),
        show: position => {
            if (!playback.isKnown)
                return;
            const elapsed = clock(position);
            $('seek').setAttribute('aria-valuetext', playback.isLive ? elapsed
                : text('{part} of {whole}', { part: elapsed, whole: clock(playback.duration) }));
            $('elapsed').textContent = elapsed;
        },
    });
    for (const type of ['change', 'position', 'jump'])
        playback.addEventListener(type, refresh);
    setInterval(() => playback.playing && !document.hidden && refresh(), TICK_MS);
    refresh();
}

function startTransport() {
    const activate = (button, action) => act(button, () => device.activate(`player:player/${action}`));
    for (const id of ['play', 'miniPlay'])
        $(id).onclick = () => activate($(id), playback.playing ? 'pause' : 'play');
    for (const action of ['previous', 'next'])
        $(action).onclick = () => activate($(action), action);
}

function startVolume() {
    const refresh = sharedRange($('volume'), {
        read: () => playback.volume,
        write: value => act($('volume'), () => device.set('player:player/volume', { i32_: value })),
        show: value => { $('volumeText').textContent = value; },
        eager: true,
    });
    playback.addEventListener('change', () => playback.isKnown && refresh());
}

function startMute() {
    const mute = $('mute');
    playback.addEventListener('change', () => {
        const { muted } = playback;
        mute.setAttribute('aria-pressed', muted);
        setIcon(mute.firstElementChild, muted ? 'muted' : 'volume');
        document.body.classList.toggle('muted', muted);
    });
    mute.onclick = () => act(mute, () => device.set('player:player/mute', { bool_: !playback.muted }));
}

/** Told aloud as well, because the keys s and r do it without the buttons. */
function startModes() {
    const { repeat, shuffle } = { repeat: $('repeat'), shuffle: $('shuffle') };
    playback.addEventListener('modes', () => {
        const { icon, label } = REPEAT[playback.repeat] ?? REPEAT.off;
        setIcon(repeat.firstElementChild, icon);
        repeat.ariaLabel = repeat.title = label;
        repeat.classList.toggle('on', playback.repeat !== 'off');
        shuffle.ariaPressed = playback.shuffled;
        for (const button of [repeat, shuffle])
            button.disabled = false;
    });
    repeat.onclick = () => {
        const { next } = REPEAT[playback.repeat] ?? REPEAT.off;
        act(repeat, () => device.set('player:player/repeat', { string_: next }), REPEAT[next].label);
    };
    shuffle.onclick = () => act(shuffle, () => device.set('player:player/shuffle', { bool_: !playback.shuffled }),
        text(playback.shuffled ? 'In the order of the queue' : 'In random order'));
}

/** Why something could not be played, until the person or the player is past it. */
function startFault() {
    playback.addEventListener('fault', () => {
        $('faultText').textContent = playback.fault;
        $('fault').hidden = !playback.fault;
    });
    $('faultAway').onclick = () => {
        $('fault').hidden = true;
        $('play').focus({ preventScroll: true });
    };
}

/** "Listen here" is for some people only: it is loaded for them. */
function startListening() {
    $('listen').onclick = async () => (await later('listen.js')).toggle();
}

/** The small player appears when the large controls have been scrolled away. */
function startMini() {
    new IntersectionObserver(([entry]) => {
        $('mini').hidden = entry.isIntersecting;
    }).observe($('transport'));
    $('miniTitle').onclick = event => {
        event.preventDefault();
        scrollTo({ top: 0 });
        $('play').focus({ preventScroll: true });
    };
}

/** Until now there was nothing that the controls could act on. */
function endLoading() {
    $('main').classList.remove('loading');
    $('main').removeAttribute('aria-busy');
    for (const control of document.querySelectorAll('.known'))
        control.disabled = false;
}

export function startNowPlaying() {
    $('whole').onclick = () => setWhole(!$('track').classList.contains('whole'));
    new ResizeObserver(offerWhole).observe($('title'));
    startTransport();
    playback.addEventListener('change', () => {
        if (!playback.isKnown)
            return;
        if ($('main').classList.contains('loading'))
            endLoading();
        showTrack();
        showState();
    });
    startPosition();
    startVolume();
    startMute();
    startModes();
    startFault();
    startListening();
    startMini();
    playback.tellAgain();
}
