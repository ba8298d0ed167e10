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

    void endsOnce() {
        const CMReply<int> reply;
        int calls = 0;
        reply.addWatcher([&calls](const CMVoidReply&) { ++calls; });
        reply.finish(1);
        reply.fail(CMError::fromMessage(QStringLiteral("late")));
        QCOMPARE(calls, 1);
        QVERIFY(!reply.error());
        QCOMPARE(reply.value(), 1);
    }

    void callsFittingSlots() {
        Receiver receiver;
        const CMReply<int> reply;
        QVERIFY(reply.addWatcher(&receiver, SLOT(on_reply_finished(CMVoidReply))));
        QVERIFY(!reply.addWatcher(&receiver, SLOT(takesText(QString))));
        reply.finish(7);
        QCOMPARE(receiver.heard.size(), 1);
        // A finished reply calls at once; a queued watcher waits for the event loop all the same.
        reply.addWatcher(&receiver, SLOT(on_reply_finished(CMVoidReply)));
        reply.addWatcher(&receiver, SLOT(on_reply_finished(CMVoidReply)), Qt::QueuedConnection);
        QCOMPARE(receiver.heard.size(), 2);
        QTRY_COMPARE(receiver.heard, QVector<int>({7, 7, 7}));
    }

    void forgetsReceiversThatAreGone() {
        auto receiver = std::make_unique<Receiver>();
        int calls = 0;
        const auto count = [&calls](const CMVoidReply&) { ++calls; };
        // The first watcher called ends the receiver of those that follow.
        const CMReply<int> reply;
        reply.addWatcher([&receiver](const CMVoidReply&) { receiver.reset(); });
        reply.addWatcher(receiver.get(), SLOT(on_reply_finished(CMVoidReply)));
        reply.addWatcher(receiver.get(), count);
        reply.addWatcher(receiver.get(), count, Qt::QueuedConnection);
        reply.finish(0);
        QCoreApplication::processEvents();
        QCOMPARE(calls, 0);
    }

    void holdsNoLockDuringCallbacks() {
        auto reply = std::make_unique<CMReply<int>>();
        int nested = 0;
        reply->addWatcher([&](const CMVoidReply& finished) {
            QVERIFY(finished.waitForFinished());
            finished.addWatcher([&nested](const CMVoidReply&) { ++nested; });
            reply.reset();
        });
        reply->finish(1);
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
