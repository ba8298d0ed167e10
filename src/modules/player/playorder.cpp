// SPDX-License-Identifier: MIT
#include "playorder.h"

#include "playqueue.h"

#include <QRandomGenerator>

#include <algorithm>

namespace {

QSet<QString> idsOf(const PlayQueue& queue) {
    QSet<QString> ids;
    ids.reserve(queue.size());
    for (const PlayerTrack& track : queue.tracks())
        ids.insert(track.id);
    return ids;
}

} // namespace

std::optional<PlayOrder::Repeat> PlayOrder::repeatNamed(const QString& name) {
    static const QStringList names{QStringLiteral("off"), QStringLiteral("one"),
                                   QStringLiteral("all")};
    const int index = names.indexOf(name);
    return index < 0 ? std::nullopt : std::optional(Repeat(index));
}

void PlayOrder::setShuffle(bool isOn, const PlayQueue& queue) {
    if (isOn == m_isShuffling)
        return;
    m_isShuffling = isOn;
    m_played.clear();
    m_current = queue.currentTrack().id;
    m_coming.clear();
    m_known.clear();
    m_version = queue.version();
    if (isOn)
        beginRound(queue);
}

void PlayOrder::beginRound(const PlayQueue& queue) {
    if (!m_isShuffling)
        return;
    m_known = idsOf(queue);
    m_coming.clear();
    for (const PlayerTrack& track : queue.tracks()) {
        if (track.id != m_current || queue.size() == 1)
            m_coming.append(track.id);
    }
    std::shuffle(m_coming.begin(), m_coming.end(), *QRandomGenerator::global());
}

void PlayOrder::follow(const PlayQueue& queue) {
    if (!m_isShuffling)
        return;
    const bool hasOtherRows = std::exchange(m_version, queue.version()) != queue.version();
    if (hasOtherRows)
        dropRemoved(queue);
    goTo(queue.currentTrack().id);
    if (hasOtherRows && m_known.isEmpty())
        return beginRound(queue);
    if (hasOtherRows)
        addNew(queue);
    if (m_coming.isEmpty() && m_repeat == Repeat::All)
        beginRound(queue);
}

void PlayOrder::dropRemoved(const PlayQueue& queue) {
    const QSet<QString> ids = idsOf(queue);
    const auto isGone = [&](const QString& id) { return !ids.contains(id); };
    for (QStringList* list : {&m_played, &m_coming})
        list->erase(std::remove_if(list->begin(), list->end(), isGone), list->end());
    m_known.intersect(ids);
    if (isGone(m_current))
        m_current.clear();
}

void PlayOrder::goTo(const QString& id) {
    if (id == m_current)
        return;
    if (!m_played.isEmpty() && m_played.last() == id && m_coming.value(0) != id) {
        m_played.removeLast();
        if (!m_current.isEmpty())
            m_coming.prepend(m_current);
    } else {
        if (!m_current.isEmpty())
            m_played.append(m_current);
        m_coming.removeOne(id);
    }
    m_current = id;
    if (m_played.size() > maximumHistory)
        m_played.removeFirst();
}

void PlayOrder::addNew(const PlayQueue& queue) {
    QStringList next;
    QStringList others;
    for (int i = 0; i < queue.size(); ++i) {
        const QString& id = queue.at(i).id;
        if (m_known.contains(id))
            continue;
        m_known.insert(id);
        if (id != m_current)
            (i == queue.current() + 1 + next.size() ? next : others).append(id);
    }
    m_coming = next + mixed(m_coming, others);
}

// The first list keeps its order.
QStringList PlayOrder::mixed(const QStringList& known, QStringList added) {
    QRandomGenerator* const random = QRandomGenerator::global();
    std::shuffle(added.begin(), added.end(), *random);
    QStringList all;
    all.reserve(known.size() + added.size());
    int taken = 0;
    for (int i = 0; i < added.size(); ++i) {
        const int left = added.size() - i;
        while (random->bounded(known.size() - taken + left) >= left)
            all.append(known.at(taken++));
        all.append(added.at(i));
    }
    return all + known.mid(taken);
}

int PlayOrder::next(const PlayQueue& queue, Reason reason) const {
    if (m_repeat == Repeat::One && reason == Reason::TrackEnded)
        return queue.current();
    if (m_isShuffling) {
        const int index = queue.indexOf(m_coming.value(0));
        // The only row comes again in another round.
        return index == queue.current() && m_repeat != Repeat::All ? -1 : index;
    }
    if (queue.current() + 1 < queue.size())
        return queue.current() + 1;
    return m_repeat == Repeat::All && !queue.isEmpty() ? 0 : -1;
}

int PlayOrder::previous(const PlayQueue& queue) const {
    if (m_isShuffling)
        return queue.indexOf(m_played.isEmpty() ? m_current : m_played.last());
    if (queue.current() > 0)
        return queue.current() - 1;
    return m_repeat == Repeat::All ? queue.size() - 1 : queue.current();
}
