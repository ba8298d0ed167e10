// SPDX-License-Identifier: MIT

/** What the device plays, followed live; the parts of the player page look at this one copy. */

import { device } from './ui.js';

/** How far the shown position may be from the reported one before it counts as a jump. */
const JUMP_MS = 1500;

class Playback extends EventTarget {
    state = 'stopped';
    track = {};
    volume = 0;
    muted = false;
    shuffled = false;
    repeat = 'off';
    /** Why something cannot be played, in plain words; empty when all is well. */
    fault = '';
    /** The device has told all of it. */
    isKnown = false;
    /** What has been told so far. */
    #events = new Set();
    #untold = new Set(['state', 'track', 'volume', 'muted', 'progress']);
    /** The newest report: {position, time, running}. */
    #progress = { position: 0, time: 0, running: false };
    /**
     * How far this browser's clock is ahead of the device's: the least that was seen, because what
     * comes later has been on its way for longer.
     */
    #ahead = 0;
    /** Where the position stands while there is no connection; null with one. */
    #standing = null;

    /** Follows the device from now on. */
    start() {
        device.addEventListener('connection', () => {
            const isOnline = device.connection === 'online';
            this.#standing = isOnline ? null : this.position;
        });
        device.watch('player:player/state', state => this.#update('state', state));
        device.watch('player:player/track', track => this.#update('track', track ?? {}));
        device.watch('player:player/volume', volume => this.#update('volume', volume ?? 0));
        device.watch('player:player/mute', muted => this.#update('muted', Boolean(muted)));
        this.#followProgress();
        this.#followRest();
    }

    get playing() {
        return this.state === 'playing';
    }

    /** In milliseconds; 0 when unknown. */
    get duration() {
        return this.track.duration ?? 0;
    }

    /** Of a stream without an end the duration is not known. */
    get isLive() {
        return Boolean(this.track.path) && !this.duration;
    }

    /**
     * The position now, in milliseconds. Between two reports it runs with the clock; without
     * connection it stands, for nobody knows whether the device still plays.
     */
    get position() {
        if (this.#standing !== null)
            return this.#standing;
        const { position, time, running } = this.#progress;
        const since = running ? Math.max(0, Date.now() - this.#ahead - time) : 0;
        return Math.min(position + since, this.duration || Infinity);
    }

    #followProgress() {
        let events = 0;
        device.subscribe('player:player/progress', {
            event: ({ value }) => {
                events++;
                this.#reported(value);
            },
            // The device may have another clock than before the connection was lost.
            ready: async () => {
                const before = events;
                const value = await device.get('player:player/progress').catch(() => null);
                if (value && events === before)
                    this.#reported(value, true);
            },
        });
    }

    #update(member, value) {
        this[member] = value;
        this.#told(member);
    }

    #told(what) {
        this.#untold.delete(what);
        this.isKnown = !this.#untold.size;
        this.#tell('change');
    }

    #tell(event) {
        this.#events.add(event);
        this.dispatchEvent(new Event(event));
    }

    /** For who begins to listen when something is known already. */
    tellAgain() {
        for (const event of this.#events)
            this.dispatchEvent(new Event(event));
    }

    /** What the rest does not wait for. */
    #followRest() {
        const follow = (name, member, event, otherwise) => device.watch(`player:player/${name}`, value => {
            this[member] = value ?? otherwise;
            this.#tell(event);
        });
        follow('shuffle', 'shuffled', 'modes', false);
        follow('repeat', 'repeat', 'modes', 'off');
        follow('error', 'fault', 'fault', '');
    }

    #reported(progress, isFirst = false) {
        if (!progress)
            return;
        const shown = this.position;
        const ahead = Date.now() - progress.time;
        this.#ahead = isFirst ? ahead : Math.min(this.#ahead, ahead);
        this.#progress = progress;
        const hasJumped = Math.abs(this.position - shown) > JUMP_MS;
        this.dispatchEvent(new Event(hasJumped ? 'jump' : 'position'));
        if (!this.isKnown)
            this.#told('progress');
    }
}

export const playback = new Playback();
