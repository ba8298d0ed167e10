// SPDX-License-Identifier: MIT

// An HTTP client that sends what it is told to, reads when it is told to, and leaves when it likes.

import { once } from 'node:events';
import { connect } from 'node:net';
import { connect as connectTls } from 'node:tls';

/** The server has closed the connection, or did not let it come about. */
export class Disconnected extends Error {}

export const sleep = ms => new Promise(resolve => setTimeout(resolve, ms));

/** The promise's outcome, or a failure when that takes longer. */
export function within(ms, promise, what) {
    let timer;
    const late = new Promise((_, reject) => {
        timer = setTimeout(() => reject(new Error(`${what}: nothing for ${ms} ms`)), ms);
    });
    return Promise.race([promise, late]).finally(() => clearTimeout(timer));
}

export class Client {
    #socket;
    #bytes = Buffer.alloc(0);
    #patience;
    #wake = () => {};
    ended = false;

    /** `patience`: how many milliseconds may pass without anything from the server. */
    static async open({ port, tls = false, patience }) {
        const client = new Client();
        client.#patience = patience;
        const options = { port, host: '127.0.0.1', rejectUnauthorized: false };
        const socket = client.#socket = tls ? connectTls(options) : connect(options);
        socket.on('error', () => {});
        // Not once(), which gives up at an error, such as a reset, that comes before.
        const closed = new Promise(resolve => socket.on('close', resolve));
        socket.on('close', () => { client.ended = true; });
        await within(patience, Promise.race([once(socket, tls ? 'secureConnect' : 'connect'), closed]), 'connecting')
            .catch(error => { throw socket.errored ? new Disconnected(error.message) : error; });
        if (client.ended)
            throw new Disconnected('while connecting');
        for (const event of ['readable', 'end', 'close'])
            socket.on(event, () => client.#wake());
        return client;
    }

    certificate() {
        return this.#socket.getPeerCertificate();
    }

    send(bytes) {
        this.#socket.write(bytes);
    }

    request(target, { method = 'GET', headers = '', body = '' } = {}) {
        const length = body.length ? `Content-Length: ${body.length}\r\n` : '';
        this.send(`${method} ${target} HTTP/1.1\r\nHost: localhost\r\n${headers}${length}\r\n`);
        if (body.length)
            this.send(body);
    }

    /** What has come since, at least a byte. As long as nobody asks, the server is held back. */
    async part() {
        if (this.#bytes.length) {
            const bytes = this.#bytes;
            this.#bytes = Buffer.alloc(0);
            return bytes;
        }
        for (;;) {
            const bytes = this.#socket.read();
            if (bytes)
                return bytes;
            if (this.ended || this.#socket.readableEnded)
                throw new Disconnected('in the middle of something');
            await within(this.#patience, new Promise(resolve => { this.#wake = resolve; }), 'waiting');
        }
    }

    async #take(length) {
        const parts = [];
        for (let missing = length; missing > 0;) {
            const part = await this.part();
            parts.push(part.subarray(0, missing));
            this.#bytes = part.subarray(parts.at(-1).length);
            missing -= parts.at(-1).length;
        }
        return Buffer.concat(parts);
    }

    async #takeTo(mark) {
        let bytes = await this.part();
        while (bytes.indexOf(mark) < 0)
            bytes = Buffer.concat([bytes, await this.part()]);
        const end = bytes.indexOf(mark) + mark.length;
        this.#bytes = bytes.subarray(end);
        return bytes.toString('latin1', 0, end);
    }

    /** The status and the headers, all in lower case. */
    async head() {
        const [line, ...headers] = (await this.#takeTo('\r\n\r\n')).trimEnd().toLowerCase().split('\r\n');
        return { status: Number(line.split(' ')[1]), headers: Object.fromEntries(headers.map(h => h.split(': '))) };
    }

    async reply() {
        const { status, headers } = await this.head();
        if (headers['transfer-encoding'] !== 'chunked')
            return { status, headers, body: await this.#take(Number(headers['content-length'])) };
        const chunks = [];
        do
            chunks.push(await this.chunk());
        while (chunks.at(-1).length);
        return { status, headers, body: Buffer.concat(chunks) };
    }

    /** Empty at the end. */
    async chunk() {
        const length = parseInt(await this.#takeTo('\r\n'), 16);
        return (await this.#take(length + 2)).subarray(0, length);
    }

    async ask(target, options) {
        this.request(target, options);
        return this.reply();
    }

    async closed() {
        await within(this.#patience, this.ended || once(this.#socket.resume(), 'close'), 'waiting for the end');
    }

    /** Closes or resets the connection. */
    leave() {
        Math.random() < 0.5 || this.#socket.encrypted ? this.#socket.destroy() : this.#socket.resetAndDestroy();
    }
}
