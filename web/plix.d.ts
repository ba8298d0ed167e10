// SPDX-License-Identifier: MIT

// The types of plix.js, and what its functions do.
//
// A path names a worker and a node of it ("player:player/volume"). A node has a value under each of
// its roles ("value", "title", ...); its `value` is usually a typed record such as `{ i32_: 30 }`.

/** What the device's JSON can say. Integers beyond 2^53 are of the type `bigint`. */
export type Json = null | boolean | number | bigint | string | Json[] | { [member: string]: Json };

/** Values by role. */
export type Roles = Record<string, Json>;

export interface RowsOptions {
    /** First row, 0 by default. */
    from?: number;
    /** Last row, included; beyond the end is allowed. */
    to?: number;
    roles?: readonly string[];
    /** Refuse ("versionMismatch") when the list is another version by now; -1 takes any. */
    version?: number;
}

export interface Rows {
    rows: Roles[];
    /** Of the whole list. */
    count: number;
    version: number;
}

export interface RowEvent {
    /** 1 inserted, 2 removed, 3 changed, 4 moved */
    type: 1 | 2 | 3 | 4;
    index: number;
    /** Of a moved row. */
    toIndex?: number;
}

export interface NodeEvent {
    path: string;
    value?: Json;
    rowsEvents?: RowEvent[];
    /** The rows are to be read again. */
    rowsReset?: boolean;
}

export interface Listener {
    event(event: NodeEvent): void;
    /** From here on no event is missed; what was read before is to be read again. */
    ready?(): void;
    /** The path cannot be followed: it is empty or longer than 1,024 characters. */
    failed?(error: PlixError): void;
}

export type Connection = 'idle' | 'connecting' | 'online';

/** The plain value of a typed record (`{ i32_: 30 }` gives 30); anything else comes back as it is. */
export function plain(value: Json): Json;

/** @throws SyntaxError */
export function fromJson(text: string): Json;

export function toJson(value: Json): string;

/** A failed request. `message` is the device's own text. */
export class PlixError extends Error {
    constructor(message: string, name: string, status?: number, options?: { cause?: unknown });
    /**
     * The data model's error name ("nodeNotFound", ...), "offline" when the device did not answer,
     * "http" for an answer that is none of the data model's, "invalidPath" for a path that cannot be
     * followed, "invalidBase".
     */
    name: string;
    /** Of HTTP; 0 when there was no answer. */
    status: number;
    /** What led to it. */
    cause?: unknown;
}

/**
 * One device. The type parameters are what the caller knows of a node; nothing checks them. Functions
 * that ask the device reject with a PlixError.
 *
 * It is an EventTarget: "connection" is dispatched when `connection` changes.
 */
export class Plix extends EventTarget {
    /**
     * @param base where the device is ("https://192.168.1.5:8443"); empty for the device that this page
     *     came from. Others must have its origin in `allowedOrigins`.
     * @throws PlixError "invalidBase"
     */
    constructor(base?: string);

    /**
     * State of the live connection: "idle" (nothing is followed, or every tab is hidden), "connecting"
     * (not there yet, or lost and being tried again) or "online".
     */
    readonly connection: Connection;

    /**
     * Reads several roles of a node, or "@all".
     * @returns an object of role to value as stored
     */
    get(path: string, roles: '@all' | readonly string[]): Promise<Roles>;
    /** Reads one role of a node ("value" by default). @returns its plain value */
    get<T = Json>(path: string, role?: string): Promise<T>;

    /** Reads rows of a list. @returns rows as objects of role to value */
    rows(path: string, options?: RowsOptions): Promise<Rows>;

    /** Reads a whole list, in pieces that belong to one version of it. */
    list(path: string, roles?: readonly string[]): Promise<Roles[]>;

    /**
     * Writes one role of a node ("value" by default).
     * @param value anything that JSON can say; a `BigInt` is an integer
     * @returns what the node answers, usually the value now stored
     */
    set<T = Json>(path: string, value: Json, role?: string): Promise<T>;

    /**
     * Triggers an action node.
     * @param argument what the action takes; true, the default, for "just do it"
     */
    activate<T = Json>(path: string, argument?: Json): Promise<T>;

    /**
     * Follows a node's value: the listener gets the plain value now, after every change, and again
     * after the connection was lost. What it throws is reported like any uncaught error.
     * @param failed the node cannot be read or not be followed
     * @returns stops following; nobody is called any more
     */
    watch<T = Json>(path: string, listener: (value: T) => void,
        failed?: (error: PlixError) => void): () => void;

    /**
     * Follows a list: the listener gets all rows now, after every change, and again after the
     * connection was lost.
     * @param failed as with `watch`
     * @returns stops following; nobody is called any more
     */
    watchList(path: string, roles: readonly string[], listener: (rows: Roles[]) => void,
        failed?: (error: PlixError) => void): () => void;

    /**
     * Subscribes to the raw events of a path.
     *
     * `ready` is called each time from which on no event is missed: first when the subscription
     * stands, then after each gap (connection lost, device restarted, page hidden). What was read
     * before is to be read again then. A tab never polls while it is hidden; all tabs of a browser
     * share one poll.
     * @returns unsubscribes
     */
    subscribe(path: string, listener: Listener): () => void;
}
