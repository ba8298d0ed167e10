// SPDX-License-Identifier: MIT
#pragma once

#include <QSet>
#include <QStringList>

#include <optional>

class PlayQueue;

// Which row of the queue is played after which: repetition, and shuffling with a history.
//
// While it shuffles it has an order of its own, in which each row comes once per round. A new row
// gets a place at random among those that are still to come; one that is inserted right behind the
// current row is played next.
class PlayOrder {
public:
    enum class Repeat { Off, One, All };
    // What the next row is wanted for.
    enum class Reason { TrackEnded, Command };
    // More than anybody goes back.
    static constexpr int maximumHistory = 1000;

    // "off", "one" or "all".
    static std::optional<Repeat> repeatNamed(const QString& name);

    void setRepeat(Repeat repeat) { m_repeat = repeat; }
    bool isShuffling() const { return m_isShuffling; }
    void setShuffle(bool isOn, const PlayQueue& queue);
    // To be called when the rows have changed, and each time that another one is current.
    void follow(const PlayQueue& queue);
    // A new round begins, with all rows but the current one to come.
    void beginRound(const PlayQueue& queue);

    // Indexes in the queue; -1 when there is no such row.
    int next(const PlayQueue& queue, Reason reason) const;
    int previous(const PlayQueue& queue) const;

private:
    void dropRemoved(const PlayQueue& queue);
    void addNew(const PlayQueue& queue);
    static QStringList mixed(const QStringList& known, QStringList added);
    void goTo(const QString& id);

    Repeat m_repeat = Repeat::Off;
    bool m_isShuffling = false;
    // Of the queue's list that the ids are of.
    qint64 m_version = -1;
    // Ids. The history has the latest last; what is to come has the next first.
    QStringList m_played;
    QString m_current;
    QStringList m_coming;
    QSet<QString> m_known;
};
