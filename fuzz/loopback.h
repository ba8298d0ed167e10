#pragma once

#include <QByteArray>

// Makes the event loop ready; called before anything that needs it.
void startEventLoop();

struct LoopbackAnswer {
    QByteArray bytes;
    // Whether the server has ended the connection; by a reset, bytes may be missing.
    bool ended = false;
    bool wasReset = false;
};

// Sends the bytes over a connection of their own to a server of this process, finishes sending, and
// runs the event loop until the server has ended the connection too, or has left it alone for a
// while. Then the client leaves.
LoopbackAnswer exchange(int port, const QByteArray& bytes);

// The lowest free file descriptor: it grows when some are not given back.
int lowestDescriptor();
