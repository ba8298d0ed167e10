// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"
#include "playertrack.h"

#include <optional>

// The tracks that are to be played, with the current row, and the list node that shows them.
//
// Each row has an id, which no other row ever gets, also after a restart. The current row stays the
// same when others come and go around it.
class PlayQueue : public QObject {
    Q_OBJECT

public:
    // Limits the memory that clients can use.
    static constexpr int maximumRows = 10000;
    // What can be restored: more than anybody takes back step by step.
    static constexpr int maximumRemovals = 16;

    // Takes over the rows that the list already has. The worker must outlive the queue.
    PlayQueue(CMNodesWorker* worker, const QString& path);

    bool isEmpty() const { return m_tracks.isEmpty(); }
    int size() const { return m_tracks.size(); }
    const PlayerTrack& at(int index) const { return m_tracks.at(index); }
    const QVector<PlayerTrack>& tracks() const { return m_tracks; }
    // -1 when there is none.
    int indexOf(const QString& id) const;
    int indexOfPath(const QString& path) const;
    // Of the list node.
    qint64 version() const { return m_worker->rowsVersion(m_path); }

    // The row that is played; -1 when there is none.
    int current() const { return m_current; }
    void setCurrent(int index) { m_current = index; }
    // Empty without a current row.
    PlayerTrack currentTrack() const;

    // Replaces all rows.
    void fill(const QVector<PlayerTrack>& tracks, int current = 0);
    // The same, and remembers those before.
    void load(const QVector<PlayerTrack>& tracks, int current);
    // As many as there is room for. False when the queue is full.
    bool insert(int index, const QVector<PlayerTrack>& tracks);
    void remove(int index);
    void move(int from, int to);
    void clear();
    enum class Restoring { Done, Unknown, Full };
    // Puts back what was removed together with the row of this id. What was replaced by load()
    // replaces the present rows.
    Restoring restore(const QString& id);
    // Whether some rows have no duration, as those that a configuration gave, and streams.
    bool lacksDurations() const;
    // For rows without a duration; by the paths of their tracks, in milliseconds.
    void learnDurations(const QHash<QString, qint64>& durations);

Q_SIGNALS:
    void changed();
    // Another row is the current one, because there was none or it has been removed. It follows
    // when it stands where the removed one stood.
    void currentReplaced(bool follows);

private:
    // What one command took out of the queue.
    struct Removal {
        int index;
        QVector<PlayerTrack> tracks;
        // The current row before.
        int current;
        // Whether other tracks came in their place.
        bool isReplaced;
    };

    QString newId();
    void remember(int index, const QVector<PlayerTrack>& tracks, bool isReplaced = false);
    void putBack(const Removal& removal);
    void setTracks(const QVector<PlayerTrack>& tracks, int current);
    void insertTracks(int index, const QVector<PlayerTrack>& tracks);
    void replaceCurrent(int index, bool follows);

    CMNodesWorker* m_worker;
    QString m_path;
    QVector<PlayerTrack> m_tracks;
    int m_current = -1;
    // The latest last.
    QVector<Removal> m_removals;
    // Different at every start, so that a client which missed it names no other row.
    const QString m_idPrefix;
    qint64 m_lastId = 0;
};
