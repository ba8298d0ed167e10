// SPDX-License-Identifier: MIT

/**
 * Client of a device's data model: read, list and write nodes, and follow them live.
 *
 *     import { Plix } from './plix.js';
 *     const device = new Plix();
 *     await device.set('player:player/volume', { i32_: 30 });
 *     const stop = device.watch('player:player/volume', volume => console.log(volume));
 *
 * What the functions take and give is explained in plix.d.ts, which editors show.
 */

/** How long the device holds a poll that has nothing to tell, in seconds. */
const POLL_SECONDS = 20;
/** A poll or a stream without any answer for this long means that the device or the network is gone. */
const POLL_LIMIT_MS = (POLL_SECONDS + 10) * 1000;
/** A stream that has not begun by then never comes through. */
const STREAM_BEGINS_MS = 8_000;
/** Other requests are answered at once by a device that is there. */
const REQUEST_LIMIT_MS = 15_000;
const FIRST_RETRY_MS = 250;
/** A device starts in a few seconds; waiting longer would only make people wait for nothing. */
const LAST_RETRY_MS = 4_000;
/** An empty answer that comes faster than this did not wait: polling again at once would spin. */
const SHORTEST_EMPTY_POLL_MS = 200;
/** Rows of one request; a longer list is fetched in pieces. */
const ROWS_PER_REQUEST = 200;
/** A list that changes while it is fetched is fetched again, at most this many times. */
const LIST_ATTEMPTS = 5;

/** The device follows no longer path. */
const LONGEST_PATH = 1024;
/** Paths without a worker, and what the device takes them for. */
const LEGACY_PREFIXES = [['/player', 'player:player'], ['/ui', 'ui:']];

const TYPED_MEMBERS = ['string_', 'bool_', 'i32_', 'i64_', 'double_'];

/** `{ i32_: 30 }` gives 30; anything but a typed record comes back as it is. */
export function plain(value) {
    if (value === null || typeof value !== 'object' || Array.isArray(value))
        return value;
    const members = Object.keys(value);
    return members.length === 1 && TYPED_MEMBERS.includes(members[0]) ? value[members[0]] : value;
}

/** Marks an integer that no number can hold; drawn, so that no text has it by chance. */
const MARK = `integer-${Math.random()}-`;
const MARKED = new RegExp(`"${MARK}(-?\\d+)"`, 'g');

/** Reads JSON. Integers beyond 2^53, which a number would round, become a `BigInt`. */
export function fromJson(text) {
    if (!/\d{16}/.test(text))
        return JSON.parse(text);
    const marked = text.replace(/"[^"\\]*(?:\\.[^"\\]*)*"|-?\d[\d.eE+-]*/g, token =>
        /^-?\d{16,}$/.test(token) && !Number.isSafeInteger(Number(token)) ? `"${MARK}${token}"` : token);
    return JSON.parse(marked, (_, value) =>
        typeof value === 'string' && value.startsWith(MARK) ? BigInt(value.slice(MARK.length)) : value);
}

/** Writes JSON, in which a `BigInt` is an integer. */
export function toJson(value) {
    return JSON.stringify(value, (_, member) =>
        typeof member === 'bigint' ? `${MARK}${member}` : member)?.replace(MARKED, '$1');
}

/** The path as the device names it in events; what no text can hold becomes U+FFFD, as in URLs. */
function current(path) {
    const text = String(path ?? '').replace(/\p{Surrogate}/gu, '\ufffd');
    const [legacy, prefix] = LEGACY_PREFIXES.find(([start]) => text.startsWith(start)) ?? ['', ''];
    return prefix + text.slice(legacy.length);
}

/** Calls a listener. Its faults are its own: they are reported as if nobody had called. */
function call(listener, ...values) {
    try {
        listener(...values);
    } catch (error) {
        (globalThis.reportError ?? console.error)(error);
    }
}

function checkedBase(base) {
    if (!base)
        return '';
    try {
        const { protocol, origin, pathname } =
            new URL(base, base.startsWith('/') ? globalThis.location?.href : undefined);
        if (protocol !== 'http:' && protocol !== 'https:')
            throw new TypeError(`"${protocol}" is not supported`);
        return origin + pathname.replace(/\/+$/, '');
    } catch (cause) {
        throw new PlixError(`No address of a device: "${base}"`, 'invalidBase', 0, { cause });
    }
}

/** A failed request. `message` is the device's own text. */
export class PlixError extends Error {
    constructor(message, name, status = 0, options = undefined) {
        super(message, options);
        this.name = name;
        this.status = status;
    }
}

export class Plix extends EventTarget {
    #base;
    #feed;

    constructor(base = '') {
        super();
        this.#base = checkedBase(base);
        this.#feed = new EventFeed(
            (path, options) => this.#fetch(path, options),
            path => new EventSource(this.#base + path),
            `plix-events:${this.#base}`,
            () => this.dispatchEvent(new Event('connection')));
    }

    get connection() {
        return this.#feed.status;
    }

    async get(path, roles = 'value') {
        const names = [roles].flat();
        const answer = await this.#json('/api/getData?' + new URLSearchParams({
            path, roles: names.join(','), type: 'structure',
        }));
        return roles === '@all' || Array.isArray(roles) ? answer : plain(answer[roles]);
    }

    rows(path, { from = 0, to = ROWS_PER_REQUEST - 1, roles = ['title', 'value'], version = -1 } = {}) {
        return this.#json('/api/getRows?' + new URLSearchParams({
            path, roles: roles.join(','), from, to, version, type: 'structure',
        }));
    }

    async list(path, roles) {
        for (let attempt = 1; ; attempt++) {
            try {
                return await this.#pieces(path, roles);
            } catch (error) {
                if (error.name !== 'versionMismatch' || attempt === LIST_ATTEMPTS)
                    throw error;
            }
        }
    }

    async #pieces(path, roles) {
        const rows = [];
        let version = -1;
        for (;;) {
            const piece = await this.rows(path,
                { from: rows.length, to: rows.length + ROWS_PER_REQUEST - 1, roles, version });
            rows.push(...piece.rows);
            version = piece.version;
            if (!piece.rows.length || rows.length >= piece.count)
                return rows;
        }
    }

    set(path, value, role = 'value') {
        return this.#json('/api/setData', {
            method: 'POST',
            headers: { 'Content-Type': 'application/json' },
            body: toJson({ path, role, value }),
        });
    }

    activate(path, argument = true) {
        return this.set(path, argument, 'activate');
    }

    watch(path, listener, failed = () => {}) {
        let changes = 0;
        let stopped = false;
        const unsubscribe = this.subscribe(path, {
            ready: async () => {
                const before = changes;
                const answer = await this.get(path).then(
                    value => [listener, value], error => [failed, error]);
                // An event that overtook this answer is the newer one.
                if (!stopped && (changes === before || answer[0] === failed))
                    call(...answer);
            },
            event: event => {
                if (!('value' in event))
                    return;
                changes++;
                listener(plain(event.value));
            },
            failed,
        });
        return () => {
            stopped = true;
            unsubscribe();
        };
    }

    watchList(path, roles, listener, failed = () => {}) {
        let reading = false;
        let again = false;
        let stopped = false;
        const read = async () => {
            again = reading;
            if (reading)
                return;
            reading = true;
            let answer;
            do {
                again = false;
                answer = await this.list(path, roles).then(
                    rows => [listener, rows], error => [failed, error]);
            } while (again && !stopped);
            reading = false;
            if (!stopped)
                call(...answer);
        };
        const unsubscribe = this.subscribe(path, {
            ready: read,
            event: event => (event.rowsEvents || event.rowsReset) && read(),
            failed,
        });
        return () => {
            stopped = true;
            unsubscribe();
        };
    }

    subscribe(path, { event, ready = () => {}, failed = () => {} }) {
        return this.#feed.follow(path, { event, ready, failed });
    }

    async #json(path, options = {}) {
        const { ok, status, text } = await this.#fetch(path, options);
        let answer;
        try {
            answer = fromJson(text);
        } catch (cause) {
            throw new PlixError(text.trim() || `HTTP status ${status}`, 'http', status, { cause });
        }
        if (ok)
            return answer;
        throw new PlixError(answer?.error?.message ?? text, answer?.error?.name ?? 'http', status);
    }

    async #fetch(path, { signal, limit = REQUEST_LIMIT_MS, ...options } = {}) {
        const abort = new AbortController();
        const stop = () => abort.abort();
        const timer = setTimeout(stop, limit);
        signal?.addEventListener('abort', stop);
        if (signal?.aborted)
            stop();
        try {
            const response = await fetch(this.#base + path,
                { ...options, cache: 'no-store', signal: abort.signal });
            return { ok: response.ok, status: response.status, text: await response.text() };
        } catch (cause) {
            throw new PlixError('The device does not answer.', 'offline', 0, { cause });
        } finally {
            clearTimeout(timer);
            signal?.removeEventListener('abort', stop);
        }
    }
}

/**
 * One event stream for all tabs of a browser; a long-poll where there are no streams.
 *
 * Browsers open six connections to a host, so a poll per tab would starve the seventh. The visible
 * tabs compete for a lock; who holds it follows one event queue for the wishes of all tabs and hands
 * the events on over a broadcast channel. A tab that is hidden gives the lock back, so nobody polls
 * when nobody looks. Where the browser has no locks (plain HTTP) every visible tab polls for itself.
 *
 * Each leader starts with a new queue, and every new queue makes all tabs read again: so nothing
 * depends on what a former leader, a frozen tab or a restarted device may have lost. Queues that
 * nobody polls expire on the device.
 */
class EventFeed {
    status = 'idle';

    #fetch;
    #open;
    #name;
    #statusChanged;
    #hasStreams = Boolean(globalThis.EventSource);
    #tab = Math.random().toString(36).slice(2);
    #channel = null;
    /** path to the listeners of this tab */
    #listeners = new Map();
    /** id of another tab to the paths that it wants */
    #others = new Map();
    /** set while this tab is visible and follows something */
    #presence = null;
    /** set while this tab is the leader: the signal that ends it */
    #leadership = null;
    #competing = Promise.resolve();
    #queueId = null;
    #subscribed = new Set();
    #modifying = Promise.resolve();
    /** paths that wait for their `ready`; null while no announcement is under way */
    #fresh = null;
    #wakeUp = () => {};

    constructor(fetch, open, name, statusChanged) {
        this.#fetch = fetch;
        this.#open = open;
        this.#name = name;
        this.#statusChanged = statusChanged;
    }

    follow(given, { event, ready, failed }) {
        const path = current(given);
        if (!path || path.length > LONGEST_PATH)
            return this.#refuse(failed);
        // In the words of who follows it.
        const listener = { ready, event: told => event({ ...told, path: given }) };
        this.#start();
        if (!this.#listeners.has(path))
            this.#listeners.set(path, new Set());
        this.#listeners.get(path).add(listener);
        this.#updatePresence();
        this.#announce([path]);
        return () => {
            const listeners = this.#listeners.get(path);
            if (!listeners?.delete(listener))
                return;
            if (!listeners.size)
                this.#listeners.delete(path);
            this.#updatePresence();
            this.#announce();
        };
    }

    #refuse(failed) {
        let stopped = false;
        queueMicrotask(() => stopped || call(failed,
            new PlixError('The path is empty or too long.', 'invalidPath')));
        return () => { stopped = true; };
    }

    #start() {
        if (this.#channel)
            return;
        this.#channel = globalThis.navigator?.locks ? new BroadcastChannel(this.#name)
                                                    : { postMessage() {} };
        this.#channel.onmessage = ({ data }) => this.#received(data);
        const page = globalThis.document;
        page?.addEventListener('visibilitychange', () => this.#updatePresence());
        globalThis.addEventListener?.('pagehide', () => this.#leave());
        globalThis.addEventListener?.('pageshow', () => this.#updatePresence());
        globalThis.addEventListener?.('online', () => this.#wakeUp());
    }

    #updatePresence() {
        const present = this.#listeners.size > 0 && globalThis.document?.visibilityState !== 'hidden';
        if (present === (this.#presence !== null))
            return;
        // In node, the channel would keep an idle process alive.
        this.#channel[present ? 'ref' : 'unref']?.();
        if (!present) {
            this.#presence.abort();
            this.#presence = null;
            return;
        }
        this.#presence = new AbortController();
        const { signal } = this.#presence;
        this.#competing = this.#competing.then(() => this.#compete(signal));
        // What a leader told while this tab slept may be lost: read everything again.
        this.#announce([...this.#listeners.keys()]);
    }

    #leave() {
        this.#channel.postMessage({ type: 'bye', tab: this.#tab });
        this.#presence?.abort();
        this.#presence = null;
    }

    async #compete(signal) {
        if (signal.aborted)
            return;
        this.#setStatus('connecting');
        if (!globalThis.navigator?.locks) {
            await this.#lead(signal);
            return;
        }
        await navigator.locks.request(this.#name, { signal }, () => this.#lead(signal))
            .catch(error => {
                if (error.name !== 'AbortError')
                    throw error;
            });
    }

    async #lead(signal) {
        this.#leadership = signal;
        this.#queueId = null;
        this.#channel.postMessage({ type: 'leader' });
        this.#tellStatus('connecting');
        let retry = FIRST_RETRY_MS;
        while (!signal.aborted) {
            try {
                await this.#syncQueue(signal);
                this.#tellStatus('online');
                retry = FIRST_RETRY_MS;
                await (this.#hasStreams ? this.#stream(signal) : this.#poll(signal));
            } catch (error) {
                if (signal.aborted)
                    break;
                this.#queueId = null;
                // A queue that expired says nothing against the device.
                if (error.name !== 'unknownQueue')
                    this.#tellStatus('connecting');
                await this.#pause(retry * (0.75 + Math.random() / 2), signal);
                retry = Math.min(retry * 2, LAST_RETRY_MS);
            }
        }
        this.#leadership = null;
        this.#tellStatus('idle');
    }

    /** Makes the queue's subscriptions those that the tabs want, one request at a time. */
    #syncQueue(signal) {
        const run = this.#modifying.catch(() => {}).then(() => this.#modifyQueue(signal));
        this.#modifying = run;
        return run;
    }

    async #modifyQueue(signal) {
        if (!this.#queueId)
            this.#subscribed.clear();
        const wanted = new Set([...this.#listeners.keys(), ...[...this.#others.values()].flat()]);
        const added = [...wanted].filter(path => !this.#subscribed.has(path));
        const removed = [...this.#subscribed].filter(path => !wanted.has(path));
        if (this.#queueId && !added.length && !removed.length)
            return;
        const answer = await this.#request('/api/event/modifyQueue', {
            ...(this.#queueId && { queueId: this.#queueId }),
            subscribe: added.map(path => ({ path })),
            unsubscribe: removed.map(path => ({ path })),
        }, { signal });
        // An id that the device did not know was answered with a new queue, without the old paths.
        const lost = this.#queueId && answer !== this.#queueId;
        this.#queueId = answer;
        this.#subscribed = lost ? new Set(added) : wanted;
        this.#tell({ type: 'ready', paths: added });
        // What was wanted meanwhile, or has been lost.
        await this.#modifyQueue(signal);
    }

    /** Until it breaks. */
    #stream(signal) {
        return new Promise((resolve, reject) => {
            const source = this.#open('/api/event/pollQueue?' +
                new URLSearchParams({ queueId: this.#queueId, timeout: POLL_SECONDS }));
            let timer;
            const limit = (call, ms) => {
                clearTimeout(timer);
                timer = setTimeout(call, ms);
            };
            const end = settle => {
                source.close();
                clearTimeout(timer);
                settle(new PlixError('', 'offline'));
            };
            const fail = () => end(reject);
            const heard = () => limit(fail, POLL_LIMIT_MS);
            limit(() => {
                this.#hasStreams = false;
                end(resolve);
            }, STREAM_BEGINS_MS);
            source.onerror = fail;
            source.onmessage = ({ data }) => {
                heard();
                this.#tell({ type: 'events', events: fromJson(data) });
            };
            source.addEventListener('heartbeat', heard);
            source.addEventListener('queue', () => {
                heard();
                // With another one events were lost.
                source.addEventListener('queue', fail);
            }, { once: true });
            signal.addEventListener('abort', () => end(resolve));
            if (signal.aborted)
                end(resolve);
        });
    }

    async #poll(signal) {
        const started = performance.now();
        const events = await this.#request('/api/event/pollQueue',
            { queueId: this.#queueId, timeout: POLL_SECONDS }, { signal, limit: POLL_LIMIT_MS });
        if (events.length)
            this.#tell({ type: 'events', events });
        else if (performance.now() - started < SHORTEST_EMPTY_POLL_MS)
            await this.#pause(SHORTEST_EMPTY_POLL_MS, signal);
    }

    async #request(path, body, options) {
        const { ok, status, text } = await this.#fetch(path, {
            ...options,
            method: 'POST',
            headers: { 'Content-Type': 'application/json' },
            body: JSON.stringify(body),
        });
        if (ok)
            return fromJson(text);
        throw new PlixError(text.trim(),
            text.startsWith('Unknown queue id!') ? 'unknownQueue' : 'http', status);
    }

    #pause(milliseconds, signal) {
        return new Promise(resolve => {
            const done = () => {
                clearTimeout(timer);
                signal.removeEventListener('abort', done);
                resolve();
            };
            const timer = setTimeout(done, milliseconds);
            signal.addEventListener('abort', done);
            this.#wakeUp = done;
        });
    }

    /**
     * Tells the leader what this tab wants, and for which paths it awaits a `ready`; the calls of
     * one turn make one message.
     */
    #announce(fresh = []) {
        if (this.#fresh) {
            this.#fresh.push(...fresh);
            return;
        }
        this.#fresh = [...fresh];
        queueMicrotask(() => {
            const want = {
                type: 'want', tab: this.#tab, paths: [...this.#listeners.keys()], fresh: this.#fresh,
            };
            this.#fresh = null;
            this.#channel.postMessage(want);
            if (this.#leadership)
                this.#serve(want);
        });
    }

    /** As the leader: answers for what is followed already, and follows what is not. */
    #serve({ tab, fresh }) {
        this.#tellStatus(this.status);
        if (!this.#queueId)
            return;
        const paths = fresh.filter(path => this.#subscribed.has(path));
        if (paths.length)
            this.#tell({ type: 'ready', tab, paths });
        this.#syncQueue(this.#leadership).catch(() => {});
    }

    #tell(message) {
        this.#channel.postMessage(message);
        this.#received(message);
    }

    #tellStatus(status) {
        this.#channel.postMessage({ type: 'status', status });
        this.#setStatus(status);
    }

    #setStatus(status) {
        if (this.status === status)
            return;
        this.status = status;
        this.#statusChanged();
    }

    #received(message) {
        switch (message.type) {
        case 'want':
            this.#others.set(message.tab, message.paths);
            if (this.#leadership)
                this.#serve(message);
            break;
        case 'bye':
            this.#others.delete(message.tab);
            break;
        case 'leader':
            this.#announce();
            break;
        case 'status':
            this.#setStatus(message.status);
            break;
        case 'ready':
            if (message.tab && message.tab !== this.#tab)
                break;
            for (const path of message.paths)
                this.#each(path, listener => listener.ready());
            break;
        case 'events':
            for (const event of message.events)
                this.#each(event.path, listener => listener.event(event));
            break;
        }
    }

    #each(path, tell) {
        for (const listener of [...this.#listeners.get(path) ?? []]) {
            // One that is called before may have stopped it.
            if (this.#listeners.get(path)?.has(listener))
                call(tell, listener);
        }
    }
}
