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
    // Not to be shown on the network, and so not to be copied into what is.
    bool isInternal = false;

    // The roles that describe a track, in the order that fromValues() takes their values in:
    // value (its path), title, description (the artist), icon (the cover's path), maximum (the
    // duration in milliseconds) and internal.
    static QStringList roles();
    static PlayerTrack fromValues(const QVariantList& values);

    // The row of the queue.
    QVariantHash row() const;
    // The value of the node that shows what is being played; of an internal track, without what
    // describes it.
    QVariantHash record() const;
};
