/** What the device plays, followed live; the parts of the player page look at this one copy. */

import { device } from './ui.js';

/** How far the shown position may be from the reported one before it counts as a jump. */
const JUMP_MS = 1500;

class Playback extends EventTarget {
    state = 'stopped';
    track = {};
    duration = 0;
    #position = 0;
    #reportedAt = 0;
    #live = false;

    constructor() {
        super();
        device.addEventListener('connection', () => {
            this.#setPosition(this.position);
            this.#live = device.connection === 'online';
        });
        device.watch('player:player/state', state => this.#update(() => { this.state = state; }));
        device.watch('player:player/track', track => this.#update(() => { this.track = track ?? {}; }));
        device.watch('player:player/duration', duration => this.#update(() => { this.duration = duration ?? 0; }));
        device.watch('player:player/position', position => this.#reported(position ?? 0));
    }

    get playing() {
        return this.state === 'playing';
    }

    /**
     * The position now, in milliseconds. Between two reports it runs with the clock; without
     * connection it stands, for nobody knows whether the device still plays.
     */
    get position() {
        const since = this.playing && this.#live ? performance.now() - this.#reportedAt : 0;
        return Math.min(this.#position + since, this.duration || Infinity);
    }

    #update(change) {
        const position = this.position;
        change();
        this.#setPosition(position);
        this.dispatchEvent(new Event('change'));
    }

    #reported(position) {
        const jumped = Math.abs(position - this.position) > JUMP_MS;
        this.#setPosition(position);
        this.dispatchEvent(new Event(jumped ? 'jump' : 'position'));
    }

    #setPosition(position) {
        this.#position = position;
        this.#reportedAt = performance.now();
    }
}

export const playback = new Playback();
