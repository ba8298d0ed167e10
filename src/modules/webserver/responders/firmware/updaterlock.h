// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QString>

#include <memory>

// The upload that holds the lock, for the answers to other clients.
struct UpdaterUse {
    QString client;
    // The announced length of the image; negative when not announced.
    qint64 length = -1;
    qint64 bytes = 0;
    QElapsedTimer since;
};

// The right to write into the updater's FIFO. Two writers at once would interleave their images.
using UpdaterLock = std::shared_ptr<UpdaterUse>;

// Null while somebody else holds the lock. The lock is released with its last copy.
UpdaterLock lockUpdater(const QString& client = QString(), qint64 length = -1);

// A line of text about the upload that holds the lock: client, duration and progress. Empty while
// the lock is free.
QString updaterUseText();
