#pragma once

#include <QString>

// What the web server tells of an image in a file beside the FIFO, whose name is that of the FIFO
// with the suffix ".expected": {"complete": bool, "length": bytes, "sha256": hexadecimal}; the
// last two only if the client has announced them. Read at the image's end of file, before the
// reading end of the FIFO is closed: then the server may remove or replace it.
//
// Why an image of that size and digest must not be kept; null when it is as announced. Without the
// file nobody vouches for it.
QString objectionTo(const QString& fifo, qint64 size, const QString& sha256);

// After it was read, since the server leaves it to a late reader; and what a crash has left.
void removeNotice(const QString& fifo);
