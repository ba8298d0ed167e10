// SPDX-License-Identifier: MIT
#include "core/model/cmreply.h"

#include "core/dbglog.h"

#include <QDeadlineTimer>
#include <QMetaMethod>
#include <QPointer>
#include <QThread>

#include <limits>
#include <utility>

namespace {

QMetaMethod findSlot(const QObject* receiver, const char* slot) {
    // SLOT() puts a digit before the signature.
    const QByteArray signature = QMetaObject::normalizedSignature(slot + 1);
    if (!QMetaObject::checkConnectArgs("finished(CMVoidReply)", signature.constData()))
        return {};
    return receiver->metaObject()->method(
        receiver->metaObject()->indexOfMethod(signature.constData()));
}

bool isDirect(const QObject* context, Qt::ConnectionType type) {
    return type == Qt::DirectConnection ||
           (type == Qt::AutoConnection && context->thread() == QThread::currentThread());
}

QDeadlineTimer deadlineIn(unsigned long milliseconds) {
    constexpr auto longest = std::numeric_limits<qint64>::max();
    return milliseconds >= quint64(longest) ? QDeadlineTimer(QDeadlineTimer::Forever)
                                            : QDeadlineTimer(qint64(milliseconds));
}

} // namespace

bool CMReplyAbstractData::isFinished() const {
    const QMutexLocker lock(&m_mutex);
    return m_finished;
}

CMError CMReplyAbstractData::error() const {
    const QMutexLocker lock(&m_mutex);
    return m_error;
}

bool CMReplyAbstractData::waitForFinished(unsigned long milliseconds) const {
    const QDeadlineTimer deadline = deadlineIn(milliseconds);
    const QMutexLocker lock(&m_mutex);
    if (!m_finished && !m_condition)
        m_condition = std::make_unique<QWaitCondition>();
    while (!m_finished) {
        if (!m_condition->wait(&m_mutex, deadline))
            return m_finished;
    }
    return true;
}

bool CMVoidReply::addWatcher(QObject* receiver, const char* slot, Qt::ConnectionType type) const {
    const QMetaMethod method = findSlot(receiver, slot);
    if (!method.isValid()) {
        dbglog_warning("no slot " << slot + 1 << " in " << receiver->metaObject()->className());
        return false;
    }
    addWatcher(
        receiver,
        [receiver, method](const CMVoidReply& reply) {
            method.invoke(receiver, Qt::DirectConnection, Q_ARG(CMVoidReply, reply));
        },
        type);
    return true;
}

void CMVoidReply::addWatcher(QObject* context, std::function<void(const CMVoidReply&)> callback,
                             Qt::ConnectionType type) const {
    if (context && isFinished() && isDirect(context, type))
        return callback(*this);
    auto watcher = [guard = QPointer<QObject>(context), callback = std::move(callback),
                    type](const CMVoidReply& reply) {
        if (!guard)
            return;
        if (isDirect(guard, type))
            callback(reply);
        else
            QMetaObject::invokeMethod(
                guard, [callback, reply] { callback(reply); }, type);
    };
    addWatcher(std::move(watcher));
}

void CMVoidReply::addWatcher(std::function<void(const CMVoidReply&)> callback,
                             Qt::ConnectionType) const {
    if (!m_data)
        return;
    {
        const QMutexLocker lock(&m_data->m_mutex);
        if (!m_data->m_finished) {
            m_data->m_watchers.push_back(std::move(callback));
            return;
        }
    }
    callback(*this);
}

void CMVoidReply::finishWith(const CMError& error) const {
    if (!m_data)
        return;
    // A watcher may delete this handle.
    const CMVoidReply self = *this;
    std::vector<CMReplyAbstractData::Watcher> watchers;
    {
        const QMutexLocker lock(&self.m_data->m_mutex);
        if (self.m_data->m_finished)
            return;
        self.m_data->m_finished = true;
        self.m_data->m_error = error;
        watchers.swap(self.m_data->m_watchers);
        if (self.m_data->m_condition)
            self.m_data->m_condition->wakeAll();
    }
    for (const auto& watcher : watchers)
        watcher(self);
}
