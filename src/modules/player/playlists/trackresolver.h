// SPDX-License-Identifier: MIT
#pragma once

#include "playertrack.h"

#include <QObject>
#include <QVector>

#include <functional>

// Asks the workers of tracks for what they are now: title, cover, duration and, of a file that has
// been moved, the path. What is away stays as it is. Some tracks are asked for in each turn of the
// event loop. Deletes itself when it is done, or with its parent.
class TrackResolver : public QObject {
    Q_OBJECT

public:
    static constexpr int tracksPerTurn = 100;

    using Done = std::function<void(const QVector<PlayerTrack>& tracks)>;
    // Called back once, in this call if all workers answer at once; not after the end of `parent`.
    static void resolve(const QVector<PlayerTrack>& tracks, QObject* parent, const Done& done);

private:
    TrackResolver(const QVector<PlayerTrack>& tracks, QObject* parent, Done done);

    void askSome();
    void ask(int index);
    void finishOne();

    QVector<PlayerTrack> m_tracks;
    Done m_done;
    int m_asked = 0;
    // Answers that are still to come; and one for the turn itself.
    int m_waiting = 0;
};
