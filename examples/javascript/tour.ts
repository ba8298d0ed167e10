// SPDX-License-Identifier: MIT

// All that the client can do, with types. It changes the volume and the queue, and puts both back.

import { Plix, PlixError, fromJson, plain, toJson } from 'plix';
import type { Connection, Json, NodeEvent, Roles, Rows } from 'plix';

const VOLUME = 'player:player/volume';
const QUEUE = 'player:queue';

/** The first value for which `start` calls back. */
function first<T>(start: (found: (value: T) => void, failed: (error: PlixError) => void) => () => void) {
    return new Promise<T>((resolve, reject) => {
        const stop = start(value => {
            queueMicrotask(() => stop());
            resolve(value);
        }, reject);
    });
}

/** What it has seen, line by line. */
export async function tour(device: Plix): Promise<string> {
    const seen: string[] = [];
    const note = (...words: unknown[]) => void seen.push(words.join(' '));
    const connections = new Set<Connection>();
    device.addEventListener('connection', () => connections.add(device.connection));

    const before = await device.get<number>(VOLUME);
    const { title, maximum }: Roles = await device.get(VOLUME, ['title', 'maximum']);
    const all: Roles = await device.get(VOLUME, '@all');
    note(title, maximum, plain(all.value) === before);

    await device.set(VOLUME, { i32_: 20 });
    note('written', toJson(await device.set(VOLUME, 21)));
    note('followed', await first<number>((found, failed) => device.watch(VOLUME, found, failed)));
    await device.set(VOLUME, before);

    const page: Rows = await device.rows('media:/', { from: 0, to: 0, roles: ['value'] });
    const tracks = await device.list('media:/', ['title', 'value']);
    note('listed', page.rows.length, page.count === tracks.length);
    const rows = await first<Roles[]>((found, failed) => device.watchList(QUEUE, ['title'], found, failed));
    note('queue', rows.length > 1);

    const told = first<NodeEvent>((found, failed) => device.subscribe(QUEUE, {
        event: found,
        failed,
        ready: () => void device.activate(`${QUEUE}/move`, { index: 0, toIndex: 1 }).catch(failed),
    }));
    note('event', (await told).rowsEvents?.map(({ type }) => type).join());
    await device.activate(`${QUEUE}/move`, { index: 1, toIndex: 0 });

    const big: Json = fromJson('9007199254740993');
    note('exact', typeof big, toJson(big));
    try {
        await device.set(VOLUME, 1000);
    } catch (error) {
        if (!(error instanceof PlixError))
            throw error;
        note('refused', error.name, error.status);
    }
    note('online', connections.has('online'));
    return seen.join('\n');
}
