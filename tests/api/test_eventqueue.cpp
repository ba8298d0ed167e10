// SPDX-License-Identifier: MIT
#include "core/model/cmchangenotifier.h"
#include "core/model/cmeventqueuemanager.h"
#include "core/model/cmrootworker.h"
#include "datamodel.h"

#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>

#include <climits>
#include <functional>
#include <memory>

namespace {

using Reaction = std::function<void(CMEventQueue*)>;

// What became of a poll: no text while it waits, the events as JSON, or "gone".
class Poll : public CMEventQueueRequest {
public:
    explicit Poll(QByteArray* answer, Reaction reaction = {})
        : m_answer(answer), m_reaction(std::move(reaction)) {}
    ~Poll() override { *m_answer = m_answer->isEmpty() ? "gone" : *m_answer; }
    void eventsReady(CMEventQueue* queue, const PlixList<PlixEvent>& events) override {
        *m_answer += PlixJson::serialize(static_cast<const QVariantList&>(events));
        if (m_reaction)
            m_reaction(queue);
    }

private:
    QByteArray* m_answer;
    Reaction m_reaction;
};

QVariantHash typed(int value) {
    return PlixValue::fromScalar(value).__hash();
}

QByteArray eventOf(const QByteArray& path, const QByteArray& members) {
    return R"([{"path":")" + path + R"(",)" + members + "}]";
}
QByteArray valueEvent(const QByteArray& path, int value) {
    return eventOf(path, R"("value":{"i32_":)" + QByteArray::number(value) + "}");
}

} // namespace

class TestEventQueue : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_root = std::make_unique<CMRootWorker>();
        m_worker = std::make_unique<CMNodesWorker>(QVariantHash(), "lab");
        m_worker->setNode("lab:secret", {{"value", typed(0)}, {"internal", typed(1)}});
        m_manager = std::make_unique<CMEventQueueManager>();
    }

    void cleanup() {
        m_manager.reset();
        m_worker.reset();
        m_root.reset();
    }

    void coalesces() {
        CMEventQueue* queue = modify({}, {"lab:a", "lab:b"});
        set("lab:b", 1);
        m_worker->setRows("lab:a", {typed(1), typed(2)});
        set("lab:b", 2);
        m_worker->moveRow("lab:a", 0, 1);
        set("lab:a", 3);
        QCOMPARE(poll(queue),
                 QByteArray(R"([{"path":"lab:b","value":{"i32_":2}},{"path":"lab:a","rowsEvents":[)"
                            R"({"index":0,"type":1},{"index":1,"type":1},)"
                            R"({"index":0,"toIndex":1,"type":4}],"value":{"i32_":3}}])"));
        QCOMPARE(poll(queue), QByteArray("[]"));
        // A long history is given up: the client reads the list anew.
        for (std::size_t count = 0; count <= CMRowHistory::maximumEvents; ++count)
            m_worker->insertRow("lab:a", 0, typed(int(count)));
        QCOMPARE(poll(queue), eventOf("lab:a", R"("rowsReset":true)"));
        m_worker->removeRow("lab:a", 0);
        QCOMPARE(poll(queue), eventOf("lab:a", R"("rowsEvents":[{"index":0,"type":2}])"));
    }

    void joinsWhatHappensToRows() {
        m_worker->setRows("lab:a", {typed(1), typed(2), typed(3)});
        CMEventQueue* queue = modify({}, {"lab:a"});
        for (int count = 0; count < 200; ++count) {
            m_worker->changeRow("lab:a", count % 2, typed(count));
            m_worker->insertRow("lab:a", 1, typed(count));
            m_worker->moveRow("lab:a", 1, 3);
            m_worker->changeRow("lab:a", 3, typed(-count));
            m_worker->removeRow("lab:a", 3);
        }
        QCOMPARE(poll(queue), eventOf("lab:a", R"("rowsEvents":[{"index":0,"type":3},)"
                                               R"({"index":1,"type":3}])"));
        // What was undone wakes nobody.
        m_worker->insertRow("lab:a", 0, typed(1));
        m_worker->removeRow("lab:a", 0);
        QByteArray answer;
        queue->poll(new Poll(&answer), INT_MAX);
        QCOMPARE(answer, QByteArray());
        set("lab:a", 1);
        QCOMPARE(answer, valueEvent("lab:a", 1));
    }

    // Whatever happens between two polls, a client that carries out the events and then reads the
    // new and the changed rows has the list.
    void rowEventsLeadToTheList() {
        CMEventQueue* queue = modify({}, {"lab:a"});
        QRandomGenerator random(1);
        const auto below = [&random](int limit) { return int(random.bounded(limit)); };
        QVariantList mirror;
        for (int step = 0, next = 0; step < 5000; ++step) {
            const int size = m_worker->rowCount("lab:a");
            const int action = size < 2 ? 0 : below(size < 8 ? 4 : 3) + 1;
            if (action == 0 || action == 4)
                m_worker->insertRow("lab:a", below(size + 1), typed(++next));
            else if (action == 1)
                m_worker->removeRow("lab:a", below(size));
            else if (action == 2)
                m_worker->changeRow("lab:a", below(size), typed(++next));
            else
                m_worker->moveRow("lab:a", below(size), below(size));
            if (below(8) > 0)
                continue;
            const QVariantHash event = json(poll(queue)).toList().value(0).toHash();
            const QVariantList rows = rowsOf("lab:a", {"i32_"});
            carryOut(event.value("rowsEvents").toList(), rows, &mirror);
            QCOMPARE(mirror, rows);
        }
    }

    void tellsEveryValueAsReadsDo() {
        CMEventQueue* queue = modify({}, {"lab:a"});
        for (const QByteArray value : {"[1,2]", "18446744073709551615", "\"hello\"", "null",
                                       R"({"i32_":1,"unit":"dB"})", "1", R"({"i32_":1})"}) {
            m_worker->setRole("lab:a", "value", json(value));
            QCOMPARE(poll(queue), eventOf("lab:a", "\"value\":" + value));
        }
    }

    void hidesInternalNodes() {
        CMEventQueue* queue = modify({}, {"lab:secret"});
        set("lab:secret", 1);
        m_worker->setRows("lab:secret", {typed(1)});
        QCOMPARE(poll(queue), QByteArray("[]"));
        m_worker->setRole("lab:secret", "internal", false);
        set("lab:secret", 2);
        QCOMPARE(poll(queue), valueEvent("lab:secret", 2));
    }

    void keepsTheOrderOfLateAnswers() {
        HoldingWorker late("late");
        CMEventQueue* queue = modify({}, {"late:x"});
        for (int index = 0; index < 3; ++index)
            late.insertRow("late:x", index, typed(index));
        QCOMPARE(late.requests.size(), 1);
        late.answerOne();
        QCOMPARE(poll(queue), eventOf("late:x", R"("rowsEvents":[{"index":0,"type":1}])"));
        // The node becomes internal before the question about the later changes is answered.
        late.setRole("late:x", "internal", true);
        late.answerOne();
        QCOMPARE(late.requests.size(), 0);
        QCOMPARE(poll(queue), QByteArray("[]"));
    }

    void endsPolls() {
        CMEventQueue* queue = modify({}, {"lab:a"});
        QByteArray answers[3];
        auto* later = new Poll(&answers[1]);
        queue->poll(new Poll(&answers[0]), INT_MAX);
        queue->poll(later, INT_MAX);
        QCOMPARE(answers[0], QByteArray("[]"));
        queue->cancel(later);
        QCOMPARE(answers[1], QByteArray("gone"));
        queue->poll(new Poll(&answers[2]), 1);
        QTRY_COMPARE(answers[2], QByteArray("[]"));
    }

    void expires() {
        QSignalSpy expired(m_manager.get(), &CMEventQueueManager::expired);
        const QString staying = modify({}, {"lab:a"})->id().toString();
        m_manager->setExpiry(1);
        QByteArray waiting;
        modify({}, {"lab:a"})->poll(new Poll(&waiting), INT_MAX);
        const QString id = modify({}, {"lab:a", "lab:b"})->id().toString();
        QTRY_COMPARE(expired.size(), 1);
        QCOMPARE(expired.at(0).at(0).toString(), id);
        // What others subscribed to is left.
        QVERIFY(waiting.isEmpty() && m_manager->getQueue(staying) && !m_manager->getQueue(id));
        QCOMPARE(m_root->changeNotifier()->size(), 1);
        // An identifier that is no more begins anew.
        QVERIFY(modify(id, {})->id().toString() != id);
        m_manager.reset();
        QCOMPARE(waiting, QByteArray("gone"));
    }

    void refusesBadSubscriptions() {
        const QString id = modify({}, {"lab:a"})->id().toString();
        QVERIFY(!modify(id, {"lab:b", ""}, {"lab:a"}));
        QVERIFY(!modify(id, {QString(CMEventQueueManager::maximumPathLength + 1, 'x')}));
        QStringList many;
        for (int count = 0; count < CMEventQueueManager::maximumPathsPerQueue; ++count)
            many.append(QStringLiteral("made:up/%1").arg(count));
        QVERIFY(!modify(id, many));
        QCOMPARE(m_root->changeNotifier()->size(), 1);
        QVERIFY(modify(id, many, {"lab:a"}));
    }

    void sharesQueuesBetweenClients() {
        const auto open = [this](const char* client) { return modify({}, {"lab:a"}, {}, client); };
        CMEventQueue* quiet = open("quiet");
        CMEventQueue* following = open("following");
        const QString quietId = quiet->id().toString();
        const QString followingId = following->id().toString();
        poll(following);

        // Only the hasty client loses queues, the oldest first, and none that it polls.
        CMEventQueue* polled = open("hasty");
        poll(polled);
        const QString first = open("hasty")->id().toString();
        const QString second = open("hasty")->id().toString();
        for (int count = 3; count <= CMEventQueueManager::maximumQueuesPerClient; ++count)
            QVERIFY(open("hasty"));
        QVERIFY(!m_manager->getQueue(first) && m_manager->getQueue(second));
        QVERIFY(m_manager->getQueue(polled->id().toString()) && m_manager->getQueue(quietId));
        // One that polls them all is refused further ones, and only it is.
        for (int count = 0; count < CMEventQueueManager::maximumQueuesPerClient; ++count)
            poll(open("busy"));
        QVERIFY(!open("busy") && open("hasty") && open("other"));

        // Many clients together: the oldest of all that were never polled.
        for (int count = 0; count < CMEventQueueManager::maximumQueues; ++count)
            QVERIFY(open(QByteArray::number(count % 20).constData()));
        QVERIFY(!m_manager->getQueue(quietId) && m_manager->getQueue(followingId));

        // The same for subscriptions.
        QStringList many;
        for (int count = 0; count < CMEventQueueManager::maximumPathsPerQueue; ++count)
            many.append(QStringLiteral("made:up/%1").arg(count));
        const QString wide = modify({}, many, {}, "wide")->id().toString();
        for (int count = 0; count < 4; ++count)
            QVERIFY(modify({}, many, {}, "wide"));
        QVERIFY(!m_manager->getQueue(wide) && m_manager->getQueue(followingId));
    }

    void survivesItsClients() {
        CMEventQueue* queue = modify({}, {"lab:a"});
        QByteArray answer;
        QByteArray again;
        // A client that polls anew and changes its queue from within.
        queue->poll(new Poll(&answer,
                             [&](CMEventQueue* polled) {
                                 polled->poll(new Poll(&again), 100);
                                 modify(polled->id().toString(), {"lab:b"}, {"lab:a"});
                                 set("lab:b", 5);
                             }),
                    100);
        set("lab:a", 1);
        QCOMPARE(answer, valueEvent("lab:a", 1));
        QCOMPARE(again, valueEvent("lab:b", 5));

        // Whichever client is called first, the other's poll ends with the manager.
        QByteArray answers[2];
        const Reaction end = [this](CMEventQueue*) { m_manager.reset(); };
        for (QByteArray& ended : answers)
            modify({}, {"lab:a"})->poll(new Poll(&ended, end), 100);
        set("lab:a", 2);
        QCOMPARE(int(answers[0] == "gone") + int(answers[1] == "gone"), 1);
    }

private:
    static PlixList<PlixEventSubscribe> entries(const QStringList& paths) {
        QVariantList list;
        for (const QString& path : paths)
            list.append(QVariantHash{{"path", path}});
        return PlixList<PlixEventSubscribe>(list);
    }
    CMEventQueue* modify(const QString& id, const QStringList& add, const QStringList& drop = {},
                         const char* client = "") {
        auto subscribe = entries(add);
        auto unsubscribe = entries(drop);
        return m_manager->modifyQueue(id, subscribe, unsubscribe, client);
    }
    QByteArray poll(CMEventQueue* queue) {
        QByteArray answer;
        queue->poll(new Poll(&answer), 0);
        return answer;
    }

    void set(const QString& path, int value) { m_worker->setRole(path, "value", typed(value)); }

    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<CMNodesWorker> m_worker;
    std::unique_ptr<CMEventQueueManager> m_manager;
};

QTEST_GUILESS_MAIN(TestEventQueue)
#include "test_eventqueue.moc"
