// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

// What the clients of all servers of a worker may take of the device, and for how long. The
// defaults suit a device with 128 MB of memory.
struct ConnectionLimits {
    // A connection that waits for its next request takes some 2 KiB here and as much in the kernel.
    qint64 connections = 4096;
    // Less than all, so that one address cannot lock others out.
    qint64 connectionsPerAddress = 1024;
    // TLS handshakes under way. Each takes some 50 KiB.
    qint64 handshakes = 64;
    // The largest body that is kept in memory for a handler. Forms and JSON are a few kilobytes;
    // uploads are streamed and have no limit.
    qint64 bodyBytes = qint64(1) << 20;
    // What all clients together may have in memory: unfinished heads, kept bodies, answers that
    // wait to be sent, and the state of TLS connections.
    qint64 heldBytes = qint64(16) << 20;

    // For a request's head, from its first byte or, on an unused connection, from the beginning.
    qint64 headMs = 30000;
    // For the handshake of TLS and the first request's head.
    qint64 handshakeMs = 10000;
    // For each further kibibyte of a body that somebody waits for.
    qint64 bodyMs = 30000;
    // For the next request on a connection.
    qint64 idleMs = 30000;
    // For an answer that is complete here to go on, while its client has room for more. Only a
    // fault of the server takes so long; therefore no setting.
    qint64 answerMs = 10000;
};
