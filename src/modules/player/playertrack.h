#pragma once

#include <QStringList>
#include <QVariant>

// One entry of the queue, as the worker that owns its path describes it.
struct PlayerTrack {
    QString path;
    QString title;
    QString artist;
    QString cover;         // a path; empty without one
    qint64 durationMs = 0; // 0: unknown or endless

    // The roles that describe a track, in the order that fromValues() takes their values in:
    // value (its path), title, description (the artist), icon (the cover's path) and maximum (the
    // duration in milliseconds).
    static QStringList roles();
    static PlayerTrack fromValues(const QVariantList& values);

    // The row of the queue.
    QVariantHash row() const;
    // The value of the node that shows what is being played.
    QVariantHash record() const;
};
