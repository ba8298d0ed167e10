// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmerror.h"
#include "plixexport.h"

#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QVariant>
#include <QWaitCondition>

#include <climits>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

class CMVoidReply;

// The state of a reply: whether it has finished, its error, its value, and its watchers. Shared by
// the handles below. The worker that answers sets the value and calls finish() or fail() exactly
// once, on any thread. A finished reply does not change.
class PLIX_EXPORT CMReplyAbstractData {
public:
    virtual ~CMReplyAbstractData() = default;
    CMReplyAbstractData(const CMReplyAbstractData&) = delete;
    CMReplyAbstractData& operator=(const CMReplyAbstractData&) = delete;

    bool isFinished() const;
    CMError error() const;
    // The value; invalid when the reply has none.
    virtual QVariant variant() const = 0;
    // Blocks until finished or until the time has passed. True when finished.
    bool waitForFinished(unsigned long milliseconds = ULONG_MAX) const;

protected:
    CMReplyAbstractData() = default;
    mutable QMutex m_mutex;
    bool m_finished = false;

private:
    friend class CMVoidReply;
    using Watcher = std::function<void(const CMVoidReply&)>;

    // Made at the first waitForFinished(), because it allocates memory and most replies do not need
    // it.
    mutable std::unique_ptr<QWaitCondition> m_condition;
    CMError m_error;
    std::vector<Watcher> m_watchers;
};

template <typename T>
class CMReplyData : public CMReplyAbstractData {
public:
    T value() const {
        const QMutexLocker lock(&m_mutex);
        return m_value;
    }
    T take() {
        const QMutexLocker lock(&m_mutex);
        return std::exchange(m_value, T{});
    }
    void setValue(const T& value) {
        const QMutexLocker lock(&m_mutex);
        if (!m_finished)
            m_value = value;
    }
    QVariant variant() const override { return QVariant::fromValue(value()); }

private:
    T m_value{};
};

// A shared handle on a reply. Copies refer to the same reply.
class PLIX_EXPORT CMVoidReply {
public:
    CMVoidReply() = default;
    explicit CMVoidReply(const QSharedPointer<CMReplyAbstractData>& data) : m_data(data) {}

    // Whether the handle refers to no reply.
    bool operator!() const { return !m_data; }
    const QSharedPointer<CMReplyAbstractData>& data() const { return m_data; }
    bool isFinished() const { return m_data && m_data->isFinished(); }
    CMError error() const { return m_data ? m_data->error() : CMError(); }
    bool waitForFinished(unsigned long milliseconds = ULONG_MAX) const {
        return m_data && m_data->waitForFinished(milliseconds);
    }

    // Calls back once when the reply finishes, at once if it has already finished. There is no call
    // if the receiver or the context has been deleted. `slot` is a SLOT() text of a slot that
    // takes a CMVoidReply or nothing. With Qt::AutoConnection the call is direct when the reply
    // finishes on the receiver's thread; a receiver of another thread must not be deleted while
    // the reply finishes. False when the receiver has no such slot.
    bool addWatcher(QObject* receiver, const char* slot,
                    Qt::ConnectionType type = Qt::AutoConnection) const;
    void addWatcher(QObject* context, std::function<void(const CMVoidReply&)> callback,
                    Qt::ConnectionType type = Qt::AutoConnection) const;
    // Without a context the call is made on the thread that finishes the reply.
    void addWatcher(std::function<void(const CMVoidReply&)> callback,
                    Qt::ConnectionType type = Qt::DirectConnection) const;

    // For the answering side: ends the reply and calls its watchers. A second call does nothing.
    void finish() const { finishWith(CMError()); }
    void fail(const CMError& error) const { finishWith(error); }

private:
    void finishWith(const CMError& error) const;

    QSharedPointer<CMReplyAbstractData> m_data;
};

// The typed handle. A default-constructed one is a new, unfinished reply.
template <typename T>
class CMReply : public CMVoidReply {
public:
    CMReply() : CMVoidReply(QSharedPointer<CMReplyData<T>>::create()) {}
    explicit CMReply(const QSharedPointer<CMReplyData<T>>& data) : CMVoidReply(data) {}
    // Converts a CMVoidReply back to the typed handle that it was made from.
    static CMReply from(const CMVoidReply& reply) {
        return CMReply(reply.data().template staticCast<CMReplyData<T>>());
    }

    T value() const { return typed()->value(); }
    // Moves the value out of the reply, so that it can be changed without a copy. For replies with
    // one watcher. The reply's value is empty afterwards.
    T take() const { return typed()->take(); }
    // For the answering side.
    void setValue(const T& value) const { typed()->setValue(value); }
    void finish(const T& value) const {
        setValue(value);
        CMVoidReply::finish();
    }

    void onFinished(QObject* context, std::function<void(const CMReply<T>&)> callback,
                    Qt::ConnectionType type = Qt::AutoConnection) const {
        addWatcher(
            context,
            [callback = std::move(callback)](const CMVoidReply& reply) { callback(from(reply)); },
            type);
    }

private:
    CMReplyData<T>* typed() const { return static_cast<CMReplyData<T>*>(data().data()); }
};

// A view of any reply's value as a QVariant.
class CMVariantReply : public CMVoidReply {
public:
    explicit CMVariantReply(const CMVoidReply& reply) : CMVoidReply(reply) {}
    QVariant value() const { return data() ? data()->variant() : QVariant(); }
};

Q_DECLARE_METATYPE(CMVoidReply)
