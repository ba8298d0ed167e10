// SPDX-License-Identifier: MIT
#include "trackresolver.h"

#include "trackfinder.h"

#include <QTimer>

#include <algorithm>
#include <utility>

void TrackResolver::resolve(const QVector<PlayerTrack>& tracks, QObject* parent, const Done& done) {
    (new TrackResolver(tracks, parent, done))->askSome();
}

TrackResolver::TrackResolver(const QVector<PlayerTrack>& tracks, QObject* parent, Done done)
    : QObject(parent), m_tracks(tracks), m_done(std::move(done)) {}

void TrackResolver::askSome() {
    const int end = std::min<int>(m_asked + tracksPerTurn, m_tracks.size());
    m_waiting = end - m_asked + 1;
    while (m_asked < end)
        ask(m_asked++);
    finishOne();
}

void TrackResolver::ask(int index) {
    const QString path = m_tracks.at(index).path;
    if (TrackFinder::isRemote(path))
        return finishOne();
    TrackFinder::findPresent(path, this,
                             [this, index](const PlayerTrack& now, const CMError& error) {
                                 if (!error)
                                     m_tracks[index] = now;
                                 finishOne();
                             });
}

void TrackResolver::finishOne() {
    if (--m_waiting > 0)
        return;
    if (m_asked < m_tracks.size()) {
        QTimer::singleShot(0, this, &TrackResolver::askSome);
        return;
    }
    deleteLater();
    m_done(m_tracks);
}
