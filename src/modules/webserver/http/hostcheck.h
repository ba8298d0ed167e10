// SPDX-License-Identifier: MIT

// http/: Formats of HTTP without sockets: hosts, origins, ranges, conditions, multipart bodies.
#pragma once

#include <QByteArray>

// Whether this value of the Host header is accepted: an IP literal, a "localhost" name, a name that
// ends in ".local", or a name of a single label. This prevents DNS rebinding: a page on the
// internet whose name was made to resolve to the device's address sends that name.
bool isHostAccepted(const QByteArray& host);
