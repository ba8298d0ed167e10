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
#include "responders/legacypathhelper.h"

#include <QIODevice>

#include <algorithm>

namespace {

constexpr int urlPrefixLength = 11; // "/api/event/"
// For a poll that names no time-out.
constexpr int defaultTimeoutS = 5;

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
           readNumber(members.value(QStringLiteral("timeout")), &data->timeout);
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
    const QString operation = request().url().path().mid(urlPrefixLength);
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
    bool isLegacy = false;
    PlixList<PlixEventSubscribe> subscribe = toSubscriptions(data.subscribe, &isLegacy);
    PlixList<PlixEventSubscribe> unsubscribe = toSubscriptions(data.unsubscribe, &isLegacy);
    const CMEventQueue* queue = m_shared->eventQueues()->modifyQueue(
        data.queueId, subscribe, unsubscribe, request().remoteAddress());
    if (!queue)
        return refuse(400, QByteArrayLiteral("Unable to subscribe or unsubscribe paths!"));

    const QString queueId = queue->id().toString();
    if (isLegacy)
        m_shared->addLegacyQueue(queueId);
    respondJson(queueId);
}

void EventResponder::pollQueue() {
    SubscribeData data;
    if (!parseData(&data, QByteArrayLiteral("Unable to parse subscribe/unsubscribe list!")))
        return;
    CMEventQueue* queue = m_shared->eventQueues()->getQueue(data.queueId);
    if (!queue)
        return refuse(400, QByteArrayLiteral("Unknown queue id!"));

    startPoll(queue, data.timeout < 0 ? defaultTimeoutS : data.timeout);
}

void EventResponder::startPoll(CMEventQueue* queue, int timeout) {
    plixConnect(&request(), &Message::finished, this, &EventResponder::on_request_finished);
    m_queue = queue;
    m_poll = new CMEventQueueHttpRequest(this);
    queue->poll(m_poll, timeout);
    if (!m_poll)
        return;
    m_hangUpNotifier = std::make_unique<HangUpNotifier>(request().data().message, nullptr);
    plixConnect(m_hangUpNotifier.get(), &HangUpNotifier::hungUp, this,
                &EventResponder::on_hangUpNotifier_hungUp);
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
    for (const QString& name : {QStringLiteral("queueId"), QStringLiteral("timeout")}) {
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
    m_hangUpNotifier.reset();
    respondJson(static_cast<const QVariantList&>(events));
}

void EventResponder::respondJson(const QVariant& body) {
    const QByteArray json = PlixJson::serialize(body);
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
    cancelPoll();
    respondJson(QVariantList());
}

void EventResponder::cancelPoll() {
    m_hangUpNotifier.reset();
    // The queue owns the poll.
    if (m_queue && m_poll)
        m_queue->cancel(m_poll);
    m_poll = nullptr;
}
