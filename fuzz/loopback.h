// SPDX-License-Identifier: MIT
#pragma once

#include "rawclient.h"

// Makes the event loop ready; called before anything that needs it.
void startEventLoop();

// Sends the bytes over a connection of their own to a server of this process, finishes sending, and
// runs the event loop until the server has ended the connection too, or has left it alone for a
// while. Then the client leaves. Gives what has come.
QByteArray exchange(int port, const QByteArray& bytes);

// The same for one request, whose reply it reads.
HttpReply exchangeOne(int port, const QByteArray& request, bool toHead);

// The lowest free file descriptor: it grows when some are not given back.
int lowestDescriptor();
