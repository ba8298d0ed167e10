// SPDX-License-Identifier: MIT
#include "trackcollector.h"

#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "playerarguments.h"
#include "trackfinder.h"

#include <QTimer>

namespace {

const QString containerType = QStringLiteral("container");

} // namespace

void TrackCollector::collect(const QString& path, const QString& from, const Done& done) {
    if (m_requests.size() >= maximumRequests)
        return done({}, PlayerArguments::outOfRange("Too many commands wait for their tracks"));
    m_requests.append({path, from, done});
    if (m_requests.size() == 1)
        begin();
}

void TrackCollector::begin() {
    m_restarts = 0;
    const QString path = m_requests.first().path;
    TrackFinder::findNode(
        path, this, [this, path](const PlayerTrack& track, const QString& type, CMError error) {
            if (!error && type == containerType)
                return open(path);
            if (!error && type != TrackFinder::trackType())
                error = PlayerArguments::typeMismatch(
                    "The path names neither a track nor a list of tracks");
            if (error)
                return finish(error);
            m_tracks.append(track);
            m_givers.insert(path, 0);
            finishRead();
        });
}

void TrackCollector::open(const QString& path) {
    m_opened.insert(path);
    List list;
    list.path = path;
    list.number = m_opened.size();
    m_lists.append(list);
    readRows();
}

void TrackCollector::readRows() {
    const List& list = m_lists.last();
    const CMReply<PlixRowsRoles> reply;
    reply.onFinished(this, [this](const CMReply<PlixRowsRoles>& finished) {
        const CMError error = finished.error();
        if (error.name() == CMErrorNames::versionMismatch()) {
            // The list has changed between its parts.
            m_lists.clear();
            m_opened.clear();
            m_tracks.clear();
            m_givers.clear();
            ++m_restarts;
            return open(m_requests.first().path);
        }
        if (error && m_lists.size() == 1)
            return finish(error);
        // A list in it may have gone meanwhile.
        const PlixRowsRoles rows = error ? PlixRowsRoles() : finished.value();
        useRows(rows.rows().toList(), rows.count(), int(rows.version()));
    });
    CMRoot()->getRows(CMPath::fromEncoded(list.path), list.first, list.first + rowsPerTurn - 1,
                      m_restarts < maximumRestarts ? list.version : -1,
                      PlayerTrack::roles() + QStringList(PlixRoles::Type()), reply);
}

void TrackCollector::useRows(const QVariantList& rows, int count, int version) {
    List& list = m_lists.last();
    list.rows = rows;
    list.next = 0;
    list.count = count;
    list.version = version;
    QTimer::singleShot(0, this, &TrackCollector::readOn);
}

void TrackCollector::readOn() {
    while (!m_lists.isEmpty() && !isComplete()) {
        List& list = m_lists.last();
        if (list.next < list.rows.size()) {
            const int depth = m_lists.size();
            useRow(list.rows.at(list.next++).toList());
            if (m_lists.size() > depth)
                return;
            continue;
        }
        list.first += list.rows.size();
        if (!list.rows.isEmpty() && list.first < list.count)
            return readRows();
        m_lists.removeLast();
    }
    finishRead();
}

void TrackCollector::finishRead() {
    const QString from = m_requests.first().from;
    if (m_tracks.isEmpty())
        return finish(PlayerArguments::outOfRange("There are no tracks in it"));
    if (!from.isEmpty() && !m_givers.contains(from))
        return finish(PlayerArguments::outOfRange("The track \"from\" is not in it"));
    finish({});
}

void TrackCollector::useRow(const QVariantList& values) {
    const PlayerTrack track = PlayerTrack::fromValues(values);
    if (track.isInternal || track.path.isEmpty())
        return;
    const QString type = values.last().toString();
    if (type == TrackFinder::trackType())
        add(track);
    else if (type == containerType && m_lists.size() < maximumDepth &&
             m_opened.size() < maximumLists && !m_opened.contains(track.path))
        open(track.path);
}

void TrackCollector::add(const PlayerTrack& track) {
    const int number = m_lists.last().number;
    const auto giver = m_givers.constFind(track.path);
    if (giver != m_givers.constEnd() && *giver != number)
        return;
    if (m_tracks.size() >= m_maximum)
        m_tracks.clear();
    m_givers.insert(track.path, number);
    m_tracks.append(track);
}

bool TrackCollector::isComplete() const {
    const QString& from = m_requests.first().from;
    return m_tracks.size() >= m_maximum && (from.isEmpty() || m_givers.contains(from));
}

void TrackCollector::finish(const CMError& error) {
    const QVector<PlayerTrack> tracks = std::exchange(m_tracks, {});
    m_lists.clear();
    m_opened.clear();
    m_givers.clear();
    const Done done = m_requests.takeFirst().done;
    if (!m_requests.isEmpty())
        QTimer::singleShot(0, this, &TrackCollector::begin);
    done(error ? QVector<PlayerTrack>() : tracks, error);
}
