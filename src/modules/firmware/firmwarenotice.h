// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

// The web server describes an image in a file beside the FIFO, whose name is that of the FIFO with
// the suffix ".expected": {"complete": bool, "length": bytes, "sha256": hexadecimal}. The last two
// exist only if the client has announced them. The file must be read at the end of file of the
// image, before the reading end of the FIFO is closed: after that the server may remove or replace
// it.
//
// Returns why an image of that size and digest must be rejected; null when it is as announced.
// Without the file an image is rejected.
QString objectionTo(const QString& fifo, qint64 size, const QString& sha256);

// For a notice that has been read, because the server does not remove it when the reader is late;
// and for one that a crash has left.
void removeNotice(const QString& fifo);
