// http/: Formats of HTTP without sockets: hosts, origins, ranges, conditions, multipart bodies.
#pragma once

#include <QByteArray>

// Whether a client may address the device by this Host header: by an IP literal, a "localhost"
// name, a name that ends in ".local", or a name of a single label. A page on the internet that
// makes its own name point to the device is refused by it.
bool isHostAccepted(const QByteArray& host);
