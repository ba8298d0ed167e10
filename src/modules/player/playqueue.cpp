// SPDX-License-Identifier: MIT
#include "playqueue.h"

#include "core/model/cmroles.h"

#include <QDateTime>

#include <algorithm>

PlayQueue::PlayQueue(CMNodesWorker* worker, const QString& path)
    : m_worker(worker), m_path(path),
      m_idPrefix(QString::number(QDateTime::currentMSecsSinceEpoch(), 36) + '-') {
    const QStringList roles = PlayerTrack::roles();
    for (int i = 0; i < m_worker->rowCount(m_path); ++i) {
        QVariantHash row = m_worker->row(m_path, i);
        QVariantList values;
        for (const QString& name : roles)
            values.append(row.value(name));
        PlayerTrack track = PlayerTrack::fromValues(values);
        track.id = newId();
        row.insert(PlayerTrack::idRole(), track.id);
        m_worker->changeRow(m_path, i, row);
        m_tracks.append(track);
    }
    m_current = m_tracks.isEmpty() ? -1 : 0;
}

int PlayQueue::indexOf(const QString& id) const {
    const auto found = std::find_if(m_tracks.begin(), m_tracks.end(),
                                    [&](const PlayerTrack& track) { return track.id == id; });
    return found == m_tracks.end() ? -1 : int(found - m_tracks.begin());
}

int PlayQueue::indexOfPath(const QString& path) const {
    const auto found = std::find_if(m_tracks.begin(), m_tracks.end(),
                                    [&](const PlayerTrack& track) { return track.path == path; });
    return found == m_tracks.end() ? -1 : int(found - m_tracks.begin());
}

PlayerTrack PlayQueue::currentTrack() const {
    return m_current < 0 ? PlayerTrack() : m_tracks.at(m_current);
}

QString PlayQueue::newId() {
    return m_idPrefix + QString::number(++m_lastId);
}

void PlayQueue::fill(const QVector<PlayerTrack>& tracks, int current) {
    QVector<PlayerTrack> filled = tracks;
    for (PlayerTrack& track : filled)
        track.id = newId();
    setTracks(filled, filled.isEmpty() ? -1 : current);
}

void PlayQueue::load(const QVector<PlayerTrack>& tracks, int current) {
    if (!m_tracks.isEmpty())
        remember(0, m_tracks, true);
    fill(tracks, current);
}

bool PlayQueue::insert(int index, const QVector<PlayerTrack>& tracks) {
    QVector<PlayerTrack> inserted = tracks.mid(0, maximumRows - m_tracks.size());
    if (inserted.isEmpty())
        return false;
    for (PlayerTrack& track : inserted)
        track.id = newId();
    insertTracks(index, inserted);
    if (m_current < 0)
        replaceCurrent(index, false);
    Q_EMIT changed();
    return true;
}

void PlayQueue::remove(int index) {
    remember(index, {m_tracks.at(index)});
    const bool wasCurrent = index == m_current;
    m_tracks.remove(index);
    if (index < m_current || m_current == m_tracks.size())
        --m_current;
    m_worker->removeRow(m_path, index);
    if (wasCurrent)
        replaceCurrent(m_current, index < m_tracks.size());
    Q_EMIT changed();
}

void PlayQueue::move(int from, int to) {
    m_tracks.move(from, to);
    if (m_current == from)
        m_current = to;
    else if (from < m_current && to >= m_current)
        --m_current;
    else if (from > m_current && to <= m_current)
        ++m_current;
    m_worker->moveRow(m_path, from, to);
    Q_EMIT changed();
}

void PlayQueue::clear() {
    if (!m_tracks.isEmpty())
        remember(0, m_tracks);
    m_tracks.clear();
    m_worker->setRows(m_path, {});
    replaceCurrent(-1, false);
    Q_EMIT changed();
}

PlayQueue::Restoring PlayQueue::restore(const QString& id) {
    const auto removal =
        std::find_if(m_removals.begin(), m_removals.end(), [&](const Removal& one) {
            return std::any_of(one.tracks.begin(), one.tracks.end(),
                               [&](const PlayerTrack& track) { return track.id == id; });
        });
    if (removal == m_removals.end())
        return Restoring::Unknown;
    const int kept = removal->isReplaced ? 0 : m_tracks.size();
    if (kept + removal->tracks.size() > maximumRows)
        return Restoring::Full;
    const Removal restored = *removal;
    m_removals.erase(removal);
    putBack(restored);
    return Restoring::Done;
}

void PlayQueue::remember(int index, const QVector<PlayerTrack>& tracks, bool isReplaced) {
    m_removals.append({index, tracks, m_current, isReplaced});
    if (m_removals.size() > maximumRemovals)
        m_removals.removeFirst();
}

void PlayQueue::putBack(const Removal& removal) {
    if (removal.isReplaced) {
        if (!m_tracks.isEmpty())
            remember(0, m_tracks, true);
        return setTracks(removal.tracks, removal.current);
    }
    insertTracks(std::min<int>(removal.index, m_tracks.size()), removal.tracks);
    if (m_current < 0)
        replaceCurrent(removal.current - removal.index, false);
    Q_EMIT changed();
}

void PlayQueue::setTracks(const QVector<PlayerTrack>& tracks, int current) {
    m_tracks = tracks;
    QVector<QVariantHash> rows;
    rows.reserve(tracks.size());
    for (const PlayerTrack& track : tracks)
        rows.append(track.row());
    m_worker->setRows(m_path, rows);
    replaceCurrent(current, false);
    Q_EMIT changed();
}

void PlayQueue::insertTracks(int index, const QVector<PlayerTrack>& tracks) {
    if (index <= m_current)
        m_current += tracks.size();
    if (tracks.size() == 1) {
        m_tracks.insert(index, tracks.first());
        return m_worker->insertRow(m_path, index, tracks.first().row());
    }
    QVector<QVariantHash> rows;
    rows.reserve(m_tracks.size() + tracks.size());
    for (int i = 0; i < index; ++i)
        rows.append(m_worker->row(m_path, i));
    for (const PlayerTrack& track : tracks)
        rows.append(track.row());
    for (int i = index; i < m_tracks.size(); ++i)
        rows.append(m_worker->row(m_path, i));
    m_tracks = m_tracks.mid(0, index) + tracks + m_tracks.mid(index);
    m_worker->setRows(m_path, rows);
}

bool PlayQueue::lacksDurations() const {
    return std::any_of(m_tracks.begin(), m_tracks.end(),
                       [](const PlayerTrack& track) { return track.durationMs <= 0; });
}

void PlayQueue::learnDurations(const QHash<QString, qint64>& durations) {
    for (int i = 0; i < m_tracks.size(); ++i) {
        const qint64 duration = durations.value(m_tracks.at(i).path);
        if (m_tracks.at(i).durationMs > 0 || duration <= 0)
            continue;
        m_tracks[i].durationMs = duration;
        QVariantHash row = m_worker->row(m_path, i);
        row.insert(PlixRoles::Maximum(), duration);
        m_worker->changeRow(m_path, i, row);
    }
}

void PlayQueue::replaceCurrent(int index, bool follows) {
    m_current = index;
    Q_EMIT currentReplaced(follows);
}
