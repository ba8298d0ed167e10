// SPDX-License-Identifier: MIT
#include "queuecommands.h"

#include "playerarguments.h"
#include "playqueue.h"

namespace {

const QString afterName = QStringLiteral("after");
const QString indexName = QStringLiteral("index");

using PlayerArguments::outOfRange;

} // namespace

CMError QueueCommands::queueIsFull() {
    return outOfRange("The queue is full");
}

CMError QueueCommands::insert(const QVariant& argument, const QVector<PlayerTrack>& tracks) const {
    CMError error;
    const auto index = placeNamed(argument, &error);
    if (!index)
        return error;
    return m_queue->insert(*index, tracks) ? CMError() : queueIsFull();
}

CMError QueueCommands::remove(const QVariant& argument) const {
    CMError error;
    if (const auto index = rowNamed(argument, &error))
        m_queue->remove(*index);
    return error;
}

CMError QueueCommands::move(const QVariant& argument) const {
    CMError error;
    const auto from = rowNamed(argument, &error);
    const auto to = from ? targetNamed(argument, *from, &error) : std::nullopt;
    if (to)
        m_queue->move(*from, *to);
    return error;
}

CMError QueueCommands::clear(const QVariant&) const {
    m_queue->clear();
    return {};
}

CMError QueueCommands::restore(const QVariant& argument) const {
    CMError error;
    const auto id = PlayerArguments::name(argument, PlayerTrack::idRole(), &error);
    if (!id)
        return error;
    switch (m_queue->restore(*id)) {
    case PlayQueue::Restoring::Unknown:
        return outOfRange("Nothing that could be restored has this id");
    case PlayQueue::Restoring::Full:
        return queueIsFull();
    case PlayQueue::Restoring::Done:
        break;
    }
    return {};
}

std::optional<int> QueueCommands::rowNamed(const QVariant& argument, CMError* error) const {
    if (!isForThisVersion(argument, error))
        return std::nullopt;
    const QString name = PlayerTrack::idRole();
    if (!PlayerArguments::member(argument, name).isValid())
        return PlayerArguments::index(argument, indexName, m_queue->size(), error);
    const auto id = PlayerArguments::name(argument, name, error);
    const int index = id ? m_queue->indexOf(*id) : -1;
    if (id && index < 0)
        *error = outOfRange("The queue has no row with this id");
    return index < 0 ? std::nullopt : std::optional(index);
}

bool QueueCommands::isForThisVersion(const QVariant& argument, CMError* error) const {
    const QVariant version = PlayerArguments::member(argument, QStringLiteral("version"));
    if (!version.isValid() || PlayerArguments::integer(version) == m_queue->version())
        return true;
    *error = CMError::fromName(CMErrorNames::versionMismatch(),
                               QStringLiteral("The list has version %1").arg(m_queue->version()));
    return false;
}

std::optional<int> QueueCommands::placeBehind(const QVariant& id, CMError* error) const {
    const auto name = PlayerArguments::text(id);
    if (name && name->isEmpty())
        return 0;
    const int index = name ? m_queue->indexOf(*name) : -1;
    if (index >= 0)
        return index + 1;
    *error = name ? outOfRange("The queue has no row with the id \"after\"")
                  : CMError::fromName(CMErrorNames::typeMismatch(),
                                      QStringLiteral("\"after\" is to be a text"));
    return std::nullopt;
}

std::optional<int> QueueCommands::placeNamed(const QVariant& argument, CMError* error) const {
    if (!isForThisVersion(argument, error))
        return std::nullopt;
    const QVariant after = PlayerArguments::member(argument, afterName);
    if (after.isValid())
        return placeBehind(after, error);
    if (!PlayerArguments::member(argument, indexName).isValid())
        return m_queue->size();
    return PlayerArguments::index(argument, indexName, m_queue->size() + 1, error);
}

std::optional<int> QueueCommands::targetNamed(const QVariant& argument, int from,
                                              CMError* error) const {
    const QVariant after = PlayerArguments::member(argument, afterName);
    if (!after.isValid())
        return PlayerArguments::index(argument, QStringLiteral("toIndex"), m_queue->size(), error);
    auto place = placeBehind(after, error);
    // The row itself leaves its place.
    if (place && *place > from)
        --*place;
    return place;
}
