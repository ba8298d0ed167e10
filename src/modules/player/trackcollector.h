// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmerror.h"
#include "playertrack.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QVector>

#include <functional>

// Reads what a path stands for: the track itself or, of a container, its tracks and those of the
// containers in it, in the order of the rows.
//
// Requests are answered one after another, so that commands arrive in the order in which they were
// given, and only one of them takes memory. Each turn of the event loop reads a part of one list.
//
// A container is read once, however often it is met, so that one that contains itself does no harm.
// A track that another list of the same request has given is left out: a search finds an artist,
// the albums and the tracks. A list itself may have a track several times.
class TrackCollector : public QObject {
    Q_OBJECT

public:
    // More than clients send before they wait for the answers.
    static constexpr int maximumRequests = 100;
    // Of one part of a list: some milliseconds of work.
    static constexpr int rowsPerTurn = 500;
    // Deeper than people nest folders.
    static constexpr int maximumDepth = 64;
    // Bounds the time for containers that contain no tracks.
    static constexpr int maximumLists = 10000;
    // A list that changes that often is read across its changes.
    static constexpr int maximumRestarts = 3;

    // At most `maximum` tracks are given.
    explicit TrackCollector(int maximum) : m_maximum(maximum) {}

    using Done = std::function<void(const QVector<PlayerTrack>& tracks, const CMError& error)>;
    // Called back once, at once for a track whose worker answers at once; not after the end of this
    // object. No tracks are an error. If `from` is not empty, the tracks have it in them, or there
    // is an error; those before it are left out if there are too many.
    void collect(const QString& path, const QString& from, const Done& done);

private:
    struct Request {
        QString path;
        QString from;
        Done done;
    };
    // A list that is being read.
    struct List {
        QString path;
        // Counts the lists of the request.
        int number = 0;
        // A part of its rows, where that begins, and what of it comes next.
        QVariantList rows;
        int first = 0;
        int next = 0;
        int count = 0;
        int version = -1;
    };

    void begin();
    void open(const QString& path);
    void readRows();
    void useRows(const QVariantList& rows, int count, int version);
    void readOn();
    void useRow(const QVariantList& values);
    void add(const PlayerTrack& track);
    bool isComplete() const;
    void finishRead();
    void finish(const CMError& error);

    const int m_maximum;
    // The first one is being answered.
    QVector<Request> m_requests;
    // The innermost last.
    QVector<List> m_lists;
    QSet<QString> m_opened;
    QVector<PlayerTrack> m_tracks;
    // The numbers of the lists that gave the tracks, by the tracks' paths.
    QHash<QString, int> m_givers;
    int m_restarts = 0;
};
