// SPDX-License-Identifier: MIT
#include "core/model/cmreply.h"

#include <QTest>
#include <QThread>

#include <memory>
#include <thread>

class Receiver : public QObject {
    Q_OBJECT

public:
    QVector<int> heard;

public Q_SLOTS:
    void on_reply_finished(CMVoidReply reply) { heard.append(CMReply<int>::from(reply).value()); }
    void takesText(const QString&) {}
};

class TestReply : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void callsFittingSlotsOnce() {
        Receiver receiver;
        const CMReply<int> reply;
        QVERIFY(reply.addWatcher(&receiver, SLOT(on_reply_finished(CMVoidReply))));
        QVERIFY(!reply.addWatcher(&receiver, SLOT(takesText(QString))));
        reply.finish(7);
        reply.fail(CMError::fromMessage(QStringLiteral("late")));
        QVERIFY(!reply.error());
        QCOMPARE(receiver.heard, QVector<int>{7});
        // A finished reply calls at once; a queued watcher waits for the event loop all the same.
        reply.addWatcher(&receiver, SLOT(on_reply_finished(CMVoidReply)));
        reply.addWatcher(&receiver, SLOT(on_reply_finished(CMVoidReply)), Qt::QueuedConnection);
        QCOMPARE(receiver.heard.size(), 2);
        QTRY_COMPARE(receiver.heard, QVector<int>({7, 7, 7}));
    }

    // The first watcher called ends the receiver of those that follow, and the caller's reply.
    void letsWatchersDoAnything() {
        auto receiver = std::make_unique<Receiver>();
        int lost = 0;
        int nested = 0;
        auto reply = std::make_unique<CMReply<int>>();
        reply->addWatcher([&](const CMVoidReply& finished) {
            receiver.reset();
            QVERIFY(finished.waitForFinished());
            finished.addWatcher([&nested](const CMVoidReply&) { ++nested; });
            reply.reset();
        });
        const auto count = [&lost](const CMVoidReply&) { ++lost; };
        reply->addWatcher(receiver.get(), SLOT(on_reply_finished(CMVoidReply)));
        reply->addWatcher(receiver.get(), count);
        reply->addWatcher(receiver.get(), count, Qt::QueuedConnection);
        reply->finish(0);
        QCoreApplication::processEvents();
        QCOMPARE(lost, 0);
        QCOMPARE(nested, 1);
    }

    void crossesThreads() {
        const CMReply<int> reply;
        QThread* delivered = nullptr;
        reply.onFinished(this, [&](const CMReply<int>&) { delivered = QThread::currentThread(); });
        std::thread worker([reply] { reply.finish(5); });
        QVERIFY(reply.waitForFinished());
        QCOMPARE(reply.value(), 5);
        worker.join();
        QCOMPARE(delivered, nullptr);
        QTRY_COMPARE(delivered, QThread::currentThread());
    }
};

QTEST_GUILESS_MAIN(TestReply)
#include "test_reply.moc"
