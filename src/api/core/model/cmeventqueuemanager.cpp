// SPDX-License-Identifier: MIT
#include "core/model/cmeventqueuemanager.h"

#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmvalues.h"
#include "core/plixconnect.h"

#include <QPointer>

#include <algorithm>
#include <climits>
#include <vector>

namespace {

// Reads the paths of the entries. False when one of them is not a valid path.
bool readPaths(const PlixList<PlixEventSubscribe>& entries, QSet<CMPath>* paths) {
    for (int position = 0; position < entries.size(); ++position) {
        const CMPath path = entries.record(position).path();
        if (path.isEmpty() || path.toEncoded().size() > CMEventQueueManager::maximumPathLength)
            return false;
        paths->insert(path);
    }
    return true;
}

// Whether the node is not internal, by the reply for `roles`, the last of which is Internal.
bool saysPublic(const CMReply<QList<QVariant>>& reply, const QStringList& roles) {
    const QList<QVariant> values = reply.value();
    return !reply.error() && values.size() == roles.size() &&
           !CMValues::scalar(values.constLast()).toBool();
}

} // namespace

CMEventQueueManager::CMEventQueueManager(QObject* parent) : QObject(parent) {
    m_clock.start();
    m_timer.setSingleShot(true);
    plixConnect(&m_timer, &QTimer::timeout, this, &CMEventQueueManager::on_timer_timeout);
}

CMEventQueueManager::~CMEventQueueManager() = default;

CMEventQueue* CMEventQueueManager::modifyQueue(const QString& queueId,
                                               PlixList<PlixEventSubscribe>& subscribe,
                                               PlixList<PlixEventSubscribe>& unsubscribe,
                                               const QString& client) {
    QSet<CMPath> added;
    QSet<CMPath> removed;
    if (!CMRoot() || !readPaths(subscribe, &added) || !readPaths(unsubscribe, &removed))
        return nullptr;

    CMEventQueue* queue = getQueue(queueId);
    const QSet<CMPath> before = queue ? queue->m_paths : QSet<CMPath>();
    const QSet<CMPath> paths = (before - removed) + added;
    const int more = paths.size() - before.size();
    const Need need{queue ? queue->m_client : client, queue ? 0 : 1, more};
    if (paths.size() > maximumPathsPerQueue || !makeRoom(need, queue)) {
        dbglog_warning("limit of event queues or of their paths reached");
        return nullptr;
    }

    if (!queue)
        queue = createQueue(client);
    setPaths(queue, paths);
    return queue;
}

CMEventQueue* CMEventQueueManager::getQueue(const QString& queueId) const {
    return m_queues.value(queueId).data();
}

bool CMEventQueueManager::isWithinShare(const Need& need) const {
    const CMQueueShares::Share share = m_shares.of(need.client);
    return share.queues + need.queues <= maximumQueuesPerClient &&
           share.subscriptions + need.subscriptions <= maximumSubscriptionsPerClient;
}

bool CMEventQueueManager::isWithinLimits(const Need& need) const {
    return m_queues.size() + need.queues <= maximumQueues &&
           m_shares.subscriptions() + need.subscriptions <= maximumSubscriptions;
}

bool CMEventQueueManager::makeRoom(const Need& need, const CMEventQueue* kept) {
    // A request that adds nothing is allowed even when a limit is reached.
    while (need.queues > 0 || need.subscriptions > 0) {
        const bool isWithin = isWithinShare(need);
        if (isWithin && isWithinLimits(need))
            return true;
        CMEventQueue* const oldest =
            isWithin ? m_shares.oldestUnpolled() : m_shares.oldestUnpolled(need.client);
        if (!oldest || oldest == kept)
            return false;
        expire(oldest);
    }
    return true;
}

CMEventQueue* CMEventQueueManager::createQueue(const QString& client) {
    const QSharedPointer<CMEventQueue> queue(new CMEventQueue(QUuid::createUuid(), this));
    queue->m_client = client;
    queue->m_number = m_shares.add(client, queue.data());
    m_queues.insert(queue->id().toString(), queue);
    scheduleExpiry(queue.data());
    return queue.data();
}

void CMEventQueueManager::setPaths(CMEventQueue* queue, const QSet<CMPath>& paths) {
    const QSet<CMPath> before = queue->m_paths;
    queue->setPaths(paths);
    m_shares.addSubscriptions(queue->m_client, paths.size() - before.size());
    for (const CMPath& path : before - paths)
        unwatch(path, queue);
    for (const CMPath& path : paths - before)
        watch(path, queue);
}

void CMEventQueueManager::watch(const CMPath& path, CMEventQueue* queue) {
    std::shared_ptr<Watch>& watch = m_watches[path];
    if (!watch) {
        watch = std::make_shared<Watch>();
        CMRoot()->connectValueChange(path, this, SLOT(on_root_valueChanged(PlixValue, CMPath)));
        CMRoot()->connectRowsChange(path, this, SLOT(on_root_rowsChanged(QVariantList, CMPath)));
    }
    watch->queues.insert(queue);
}

void CMEventQueueManager::unwatch(const CMPath& path, CMEventQueue* queue) {
    const auto watch = m_watches.find(path);
    (*watch)->queues.remove(queue);
    if (!(*watch)->queues.isEmpty())
        return;
    m_watches.erase(watch);
    if (!CMRoot())
        return;
    CMRoot()->disconnectValueChange(path, this, SLOT(on_root_valueChanged(PlixValue, CMPath)));
    CMRoot()->disconnectRowsChange(path, this, SLOT(on_root_rowsChanged(QVariantList, CMPath)));
}

void CMEventQueueManager::on_root_valueChanged(const PlixValue&, const CMPath& path) {
    changed(path, CMPendingEvent::ofValue());
}

void CMEventQueueManager::on_root_rowsChanged(const QVariantList& rowEvents, const CMPath& path) {
    changed(path, CMPendingEvent::fromRowEvents(rowEvents));
}

void CMEventQueueManager::changed(const CMPath& path, const CMPendingEvent& event) {
    const std::shared_ptr<Watch> watch = m_watches.value(path);
    if (!watch)
        return;
    watch->gathered.merge(event);
    if (!watch->isAsking && !watch->gathered.isEmpty())
        askInternal(path, watch);
}

void CMEventQueueManager::askInternal(const CMPath& path, const std::shared_ptr<Watch>& watch) {
    if (!CMRoot())
        return;
    watch->isAsking = true;
    watch->inQuestion = std::exchange(watch->gathered, {});

    // The announced record is empty for lists and null. So the value is read, as a client would.
    QStringList roles{PlixRoles::Internal()};
    if (watch->inQuestion.isValueChanged())
        roles.prepend(PlixRolesType::Value());
    const CMReply<QList<QVariant>> reply;
    CMRoot()->getData(path, roles, reply);
    reply.onFinished(this, [=, weak = std::weak_ptr<Watch>(watch)](const auto& answer) {
        const std::shared_ptr<Watch> asked = weak.lock();
        if (!asked)
            return;
        asked->isAsking = false;
        CMPendingEvent event = std::exchange(asked->inQuestion, {});
        const QPointer<CMEventQueueManager> self(this);
        if (event.isValueChanged())
            event.setValue(answer.value().value(0));
        if (saysPublic(answer, roles))
            // The test in QPointer makes the analyser believe in a null "this".
            deliver(path, *asked, event); // NOLINT(clang-analyzer-core.CallAndMessage)
        if (self && !asked->isAsking && !asked->gathered.isEmpty())
            askInternal(path, asked);
    });
}

void CMEventQueueManager::deliver(const CMPath& path, const Watch& watch,
                                  const CMPendingEvent& event) {
    // All queues get the event before the first poll is answered. The answer may change queues and
    // data, and even delete the manager.
    std::vector<QPointer<CMEventQueue>> polled;
    for (CMEventQueue* queue : watch.queues) {
        queue->append(path, event);
        if (queue->hasWaitingPoll())
            polled.emplace_back(queue);
    }
    for (const QPointer<CMEventQueue>& queue : polled) {
        if (queue)
            queue->answerPoll();
    }
}

void CMEventQueueManager::setPolled(CMEventQueue* queue) {
    m_shares.setPolled(queue->m_client, queue->m_number);
}

void CMEventQueueManager::schedule(CMEventQueue* queue, qint64 milliseconds) {
    m_deadlines.erase({queue->m_deadline, queue});
    queue->m_deadline = m_clock.elapsed() + milliseconds;
    m_deadlines.insert({queue->m_deadline, queue});
    startTimer();
}

// A timer with an earlier deadline is not changed. One superfluous time-out is cheaper than setting
// the timer at every poll.
void CMEventQueueManager::startTimer() {
    if (m_deadlines.empty())
        return;
    const qint64 first = m_deadlines.begin()->first;
    if (m_timer.isActive() && m_timerDeadline <= first)
        return;
    m_timerDeadline = first;
    m_timer.start(int(std::clamp<qint64>(first - m_clock.elapsed(), 0, INT_MAX)));
}

void CMEventQueueManager::on_timer_timeout() {
    const QPointer<CMEventQueueManager> self(this);
    const qint64 now = m_clock.elapsed();
    while (self && !m_deadlines.empty() && m_deadlines.begin()->first <= now) {
        CMEventQueue* queue = m_deadlines.begin()->second;
        if (queue->hasWaitingPoll())
            queue->answerPoll();
        else
            expire(queue);
    }
    if (self)
        startTimer();
}

void CMEventQueueManager::expire(CMEventQueue* queue) {
    const QString queueId = queue->id().toString();
    m_deadlines.erase({queue->m_deadline, queue});
    setPaths(queue, {});
    m_shares.remove(queue->m_client, queue->m_number);
    m_queues.remove(queueId);
    dbglog_debug("event queue expired: " << queueId);
    Q_EMIT expired(queueId);
}
