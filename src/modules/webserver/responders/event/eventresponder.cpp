// SPDX-License-Identifier: MIT
#include "responders/event/eventresponder.h"

#include "connection/hangupnotifier.h"
#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/plixconnect.h"
#include "core/plixjson.h"
#include "core/plixvalue.h"
#include "request.h"
#include "responders/event/cmeventqueuehttprequest.h"
#include "responders/event/eventrespondershared.h"
#include "responders/event/eventstream.h"
#include "responders/legacypathhelper.h"

#include <QIODevice>

#include <algorithm>

namespace {

constexpr int eventPrefixLength = 11; // "/api/event/"
// For a poll that names no time-out.
constexpr int defaultTimeoutS = 5;
// How long a stream without events is silent.
constexpr int defaultHeartbeatS = 15;

const char notImplemented[] = "Not implemented!";

bool readText(const QVariant& member, QString* text) {
    if (member.isNull())
        return true;
    *text = member.toString();
    return member.userType() == QMetaType::QString;
}

bool readNumber(const QVariant& member, int* number) {
    if (member.isNull())
        return true;
    bool ok = false;
    *number = plixToInt(member, &ok);
    return ok;
}

bool readRecords(const QVariant& member, QVariantList* records) {
    if (member.isNull())
        return true;
    *records = member.toList();
    return member.userType() == QMetaType::QVariantList &&
           std::all_of(records->cbegin(), records->cend(), [](const QVariant& entry) {
               return entry.userType() == QMetaType::QVariantHash;
           });
}

// A field keeps its value if its member is missing or null. False when a member has a wrong type.
bool readMembers(const QVariantHash& members, EventResponder::SubscribeData* data) {
    return readText(members.value(QStringLiteral("queueId")), &data->queueId) &&
           readRecords(members.value(QStringLiteral("subscribe")), &data->subscribe) &&
           readRecords(members.value(QStringLiteral("unsubscribe")), &data->unsubscribe) &&
           readNumber(members.value(QStringLiteral("timeout")), &data->timeout) &&
           readNumber(members.value(QStringLiteral("seq")), &data->seq);
}

PlixList<PlixEventSubscribe> toSubscriptions(const QVariantList& records, bool* isLegacy) {
    PlixList<PlixEventSubscribe> subscriptions;
    for (const QVariant& record : records) {
        PlixEventSubscribe subscription(record.toHash());
        const CMPath path = subscription.path();
        if (LegacyPathHelper::isLegacy(path)) {
            dbglog_debug("updating path: " << path);
            subscription.setPath(LegacyPathHelper::fromLegacy(path));
            *isLegacy = true;
        }
        subscriptions.append(subscription);
    }
    return subscriptions;
}

} // namespace

EventResponder::EventResponder(Request& request, const QString& documentRoot,
                               QSharedPointer<EventResponderShared> shared, QObject* parent)
    : Responder(request, documentRoot, parent), m_shared(std::move(shared)) {}

EventResponder::~EventResponder() {
    cancelPoll();
}

void EventResponder::respond() {
    dbglog_scopedFunction;
    const QString operation = request().url().path().mid(eventPrefixLength);
    if (operation == QLatin1String("modifyQueue"))
        modifyQueue();
    else if (operation == QLatin1String("pollQueue"))
        pollQueue();
    else
        refuse(501, notImplemented);
}

void EventResponder::modifyQueue() {
    SubscribeData data;
    if (!parseData(&data, QByteArrayLiteral("Unable to parse data!")))
        return;
    if (const CMEventQueue* queue = changedQueue(data.queueId, data))
        respondJson(PlixJson::serialize(queue->id().toString()));
}

// Null when the answer has been given.
CMEventQueue* EventResponder::changedQueue(const QString& queueId, const SubscribeData& data) {
    bool isLegacy = false;
    PlixList<PlixEventSubscribe> subscribe = toSubscriptions(data.subscribe, &isLegacy);
    PlixList<PlixEventSubscribe> unsubscribe = toSubscriptions(data.unsubscribe, &isLegacy);
    CMEventQueue* queue = m_shared->eventQueues()->modifyQueue(queueId, subscribe, unsubscribe,
                                                               request().remoteAddress());
    if (!queue) {
        refuse(400, QByteArrayLiteral("Unable to subscribe or unsubscribe paths!"));
        return nullptr;
    }
    m_shared->addQueue(queue->id().toString());
    if (isLegacy)
        m_shared->addLegacyQueue(queue->id().toString());
    return queue;
}

void EventResponder::pollQueue() {
    SubscribeData data;
    if (!parseData(&data, QByteArrayLiteral("Unable to parse subscribe/unsubscribe list!")))
        return;
    if (wantsStream())
        return openStream(data);
    CMEventQueue* queue = m_shared->eventQueues()->getQueue(data.queueId);
    if (!queue)
        return refuse(400, QByteArrayLiteral("Unknown queue id!"));

    m_timeoutS = data.timeout < 0 ? defaultTimeoutS : data.timeout;
    m_seq = data.seq;
    follow(queue);
    m_shared->setStream(m_queueId, nullptr);
    if (m_seq >= 0 && respondKeptBatch())
        return;
    startPoll();
    if (m_poll) {
        m_hangUpNotifier = std::make_unique<HangUpNotifier>(request().data().message, nullptr);
        plixConnect(m_hangUpNotifier.get(), &HangUpNotifier::hungUp, this,
                    &EventResponder::on_hangUpNotifier_hungUp);
    }
}

bool EventResponder::wantsStream() const {
    if (request().method() != "GET")
        return false;
    const QList<QByteArray> types = request().headerList(QStringLiteral("Accept")).split(',');
    return std::any_of(types.cbegin(), types.cend(), [](const QByteArray& type) {
        return type.split(';').constFirst().trimmed().toLower() == EventStream::contentType;
    });
}

void EventResponder::openStream(const SubscribeData& data) {
    const EventStream::Position position =
        EventStream::readPosition(request().header(QStringLiteral("Last-Event-ID")));
    const QString queueId = data.queueId.isEmpty() ? position.queueId : data.queueId;
    const bool isChange = !data.subscribe.isEmpty() || !data.unsubscribe.isEmpty();
    CMEventQueue* queue =
        isChange ? changedQueue(queueId, data) : m_shared->eventQueues()->getQueue(queueId);
    if (!queue)
        return isChange ? void() : refuse(400, QByteArrayLiteral("Unknown queue id!"));

    m_timeoutS = data.timeout <= 0 ? defaultHeartbeatS : data.timeout;
    follow(queue);
    m_shared->setStream(m_queueId, this);
    m_hangUpNotifier = std::make_unique<HangUpNotifier>(request().data().message, nullptr);
    plixConnect(m_hangUpNotifier.get(), &HangUpNotifier::hungUp, this,
                &EventResponder::on_hangUpNotifier_hungUp);
    request().setStatus(200, QString());
    request().setContentType(EventStream::contentType);
    request().setNoCache();
    m_stream = std::make_unique<EventStream>(m_shared->batches(), m_queueId, out.device(), nullptr);
    plixConnect(m_stream.get(), &EventStream::wanted, this, &EventResponder::on_stream_wanted);
    m_stream->begin(position);
}

void EventResponder::follow(CMEventQueue* queue) {
    plixConnect(&request(), &Message::finished, this, &EventResponder::on_request_finished);
    m_queue = queue;
    m_queueId = queue->id().toString();
}

void EventResponder::startPoll() {
    m_poll = new CMEventQueueHttpRequest(this);
    m_queue->poll(m_poll, m_timeoutS);
}

// False when the answer has been given.
bool EventResponder::parseData(SubscribeData* data, const QByteArray& failure) {
    const QByteArray method = request().method();
    const bool isGet = method == "GET";
    if (!isGet && method != "POST") {
        refuse(501, notImplemented);
        return false;
    }
    if (isGet ? parseDataGet(data) : parseDataPost(data))
        return true;
    refuse(400, failure);
    return false;
}

bool EventResponder::parseDataGet(SubscribeData* data) const {
    const PlixUrl& url = request().url();
    QVariantHash members;
    for (const QString& name :
         {QStringLiteral("queueId"), QStringLiteral("timeout"), QStringLiteral("seq")}) {
        if (url.hasQueryItem(name))
            members.insert(name, url.queryItemValue(name));
    }
    for (const QString& name : {QStringLiteral("subscribe"), QStringLiteral("unsubscribe")}) {
        if (!url.hasQueryItem(name))
            continue;
        PlixError error;
        members.insert(name, PlixJson::parse(url.queryItemValue(name), error));
        if (!error.isEmpty())
            return false;
    }
    return readMembers(members, data);
}

bool EventResponder::parseDataPost(SubscribeData* data) const {
    return readMembers(request().postData(), data);
}

void EventResponder::queueRequestDone(const PlixList<PlixEvent>& events) {
    m_poll = nullptr;
    if (!m_stream) {
        m_hangUpNotifier.reset();
        respondEvents(events);
    } else if (events.isEmpty()) {
        m_stream->sendHeartbeat();
    } else {
        m_stream->send(PlixJson::serialize(static_cast<const QVariantList&>(events)));
    }
}

void EventResponder::on_stream_wanted() {
    if (m_queue)
        startPoll();
    else
        endStream();
}

void EventResponder::endStream() {
    cancelPoll();
    Q_EMIT finished(m_requestId);
}

// False when the poll has to wait for the next batch.
bool EventResponder::respondKeptBatch() {
    EventBatches& batches = m_shared->batches();
    if (!batches.reachesBackTo(m_queueId, m_seq)) {
        refuse(400, QByteArrayLiteral("Unknown sequence number!"));
        return true;
    }
    batches.acknowledge(m_queueId, m_seq);
    if (m_seq == batches.last(m_queueId))
        return false;
    respondBatch(m_seq + 1, batches.batch(m_queueId, m_seq + 1));
    return true;
}

void EventResponder::respondEvents(const PlixList<PlixEvent>& events) {
    const QByteArray json = PlixJson::serialize(static_cast<const QVariantList&>(events));
    if (m_seq < 0 || json.isNull())
        return respondJson(json);
    respondBatch(events.isEmpty() ? m_seq : m_shared->batches().add(m_queueId, json), json);
}

void EventResponder::respondBatch(int number, const QByteArray& events) {
    respondJson("{\"events\":" + events + ",\"seq\":" + QByteArray::number(number) + '}');
}

void EventResponder::respondJson(const QByteArray& json) {
    if (json.isNull())
        return refuse(500, QByteArrayLiteral("The answer is too long"));
    request().setContentType(MimeTypes::Application::json());
    finishRespond(200, json);
}

void EventResponder::refuse(int status, const QByteArray& text) {
    request().setContentType(MimeTypes::Text::plain());
    finishRespond(status, text);
}

void EventResponder::finishRespond(int status, const QByteArray& text) {
    request().setStatus(status, QString());
    // In one write, which is one chunk.
    out.device()->write(text + '\n');
    Q_EMIT finished(m_requestId);
}

void EventResponder::on_request_finished() {
    cancelPoll();
}

// The request is answered, because the client may still read after a half-close. The events remain
// in the queue for the next poll.
void EventResponder::on_hangUpNotifier_hungUp() {
    if (m_stream)
        return endStream();
    cancelPoll();
    respondEvents({});
}

void EventResponder::cancelPoll() {
    m_hangUpNotifier.reset();
    if (m_stream)
        m_shared->removeStream(m_queueId, this);
    // The queue owns the poll.
    if (m_queue && m_poll)
        m_queue->cancel(m_poll);
    m_poll = nullptr;
}
