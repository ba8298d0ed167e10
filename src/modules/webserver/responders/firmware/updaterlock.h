#pragma once

#include <QElapsedTimer>
#include <QString>

#include <memory>

// One upload's use of the firmware updater, as others are told of it.
struct UpdaterUse {
    QString client;
    // Of the image, as the client has announced it; negative when it has not.
    qint64 length = -1;
    qint64 bytes = 0;
    QElapsedTimer since;
};

// The right to write into the updater's FIFO. Two writers at once would interleave their images.
using UpdaterLock = std::shared_ptr<UpdaterUse>;

// Null while somebody else holds it. Free again when the last copy is gone.
UpdaterLock lockUpdater(const QString& client = QString(), qint64 length = -1);

// Who holds it, since when, and how far that upload is: a line for people, empty while it is free.
QString updaterUseText();
