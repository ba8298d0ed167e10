// SPDX-License-Identifier: MIT

// The types of plix.js, where the functions are explained.

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
    /** "nodeNotFound", ..., "offline", "http", "invalidPath", "invalidBase" */
    name: string;
    /** Of HTTP; 0 when there was no answer. */
    status: number;
    /** What led to it. */
    cause?: unknown;
}

/**
 * One device. The type parameters are what the caller knows of a node; nothing checks them.
 *
 * It is an EventTarget: "connection" is dispatched when `connection` changes.
 */
export class Plix extends EventTarget {
    /** @throws PlixError "invalidBase" */
    constructor(base?: string);

    readonly connection: Connection;

    /** Several roles, as an object. */
    get(path: string, roles: '@all' | readonly string[]): Promise<Roles>;
    /** One role, as its plain value. */
    get<T = Json>(path: string, role?: string): Promise<T>;

    rows(path: string, options?: RowsOptions): Promise<Rows>;
    list(path: string, roles?: readonly string[]): Promise<Roles[]>;
    set<T = Json>(path: string, value: Json, role?: string): Promise<T>;
    activate<T = Json>(path: string, argument?: Json): Promise<T>;

    /** @returns stops following */
    watch<T = Json>(path: string, listener: (value: T) => void,
        failed?: (error: PlixError) => void): () => void;
    /** @returns stops following */
    watchList(path: string, roles: readonly string[], listener: (rows: Roles[]) => void,
        failed?: (error: PlixError) => void): () => void;
    /** @returns unsubscribes */
    subscribe(path: string, listener: Listener): () => void;
}
