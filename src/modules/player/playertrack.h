// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>
#include <QVariant>

// One entry of the queue, with the roles of the node at its path.
struct PlayerTrack {
    QString id; // the row's own, which no other row of the queue ever has; empty outside of it
    QString path;
    QString title;
    QString artist;
    QString cover;         // a path; empty without one
    qint64 durationMs = 0; // 0: unknown or endless
    // Internal nodes must not be shown on the network, so their roles are not copied to public
    // nodes.
    bool isInternal = false;

    // The roles of a track, in the order of the values for fromValues():
    // value (its path), title, description (the artist), icon (the cover's path), maximum (the
    // duration in milliseconds) and internal.
    static QStringList roles();
    static PlayerTrack fromValues(const QVariantList& values);

    // The name of the role that a row of the queue has its id under.
    static QString idRole();
    // The row of the queue.
    QVariantHash row() const;
    // The value of the node for the current track; empty fields for an internal track.
    QVariantHash record() const;
    // The same in one line of text.
    QString line() const;
    // All but the id, for a file.
    QVariantHash kept() const;
    static PlayerTrack fromKept(const QVariantHash& members);
};
