// SPDX-License-Identifier: MIT
#include "core/model/cmnodesworker.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmrootworker.h"
#include "core/model/cmvalueitem.h"

#include <QTest>

#include <functional>
#include <memory>

namespace {

const CMPath path = CMPath::fromEncoded(QStringLiteral("lab:node"));

} // namespace

class Receiver : public QObject {
    Q_OBJECT

public:
    QStringList heard;
    std::function<void()> reaction = [] {};

public Q_SLOTS:
    void onValue(const PlixValue& value) {
        heard.append(plixValueToQString(value));
        reaction();
    }
    void onData(const QString& role) { heard.append(role); }
};

class TestChanges : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_root = std::make_unique<CMRootWorker>();
        startWorker();
    }

    void cleanup() {
        m_worker.reset();
        m_root.reset();
    }

    void announcesRealChangesOnly() {
        Receiver receiver;
        watch(&receiver);
        QVERIFY(CMRoot()->connectDataChange(path, &receiver, SLOT(onData(QString))));
        QVERIFY(!CMRoot()->connectRowsChange(path, &receiver, SLOT(missing(QVariantList))));
        setValue(1);
        setValue(1);
        m_worker->setRole("lab:node", "title", 1);
        m_worker->setRole("lab:node", "title", qlonglong(1));
        CMRoot()->setData(path, PlixRolesType::Value(), 2, {});
        QCOMPARE(receiver.heard, QStringList({"1", "value", "title", "2", "value"}));
    }

    void keepsSubscriptionsWithoutTheWorker() {
        Receiver receiver;
        m_worker.reset();
        watch(&receiver);
        startWorker();
        setValue(1);
        QCOMPARE(receiver.heard, QStringList("1"));
        QVERIFY(CMRoot()->disconnectValueChange(path, &receiver, SLOT(onValue(PlixValue))));
        setValue(2);
        QCOMPARE(receiver.heard.size(), 1);
    }

    void letsReceiversDoAnything() {
        Receiver once;
        auto ended = std::make_unique<Receiver>();
        Receiver added;
        once.reaction = [&] {
            ended.reset();
            CMRoot()->disconnectValueChange(path, &once, SLOT(onValue(PlixValue)));
            watch(&added);
        };
        watch(&once);
        watch(ended.get());
        setValue(1);
        setValue(2);
        QCOMPARE(once.heard, QStringList("1"));
        QCOMPARE(added.heard, QStringList("2"));

        const CMReply<QVariant> reply;
        added.reaction = [&] { cleanup(); };
        CMRoot()->setData(path, PlixRolesType::Value(), 3, reply);
        QVERIFY(reply.isFinished() && !reply.error());
    }

    void followsAValueItem() {
        auto receiver = std::make_unique<Receiver>();
        const auto item = [&] {
            return new CMValueItem(this, path, receiver.get(), SLOT(onValue(PlixValue)));
        };
        const QPointer<CMValueItem> first = item();
        setValue(1);
        QCOMPARE(receiver->heard, QStringList("1"));
        // The second one tells the present value once the loop runs.
        const QPointer<CMValueItem> second = item();
        QTRY_COMPARE(receiver->heard, QStringList({"1", "1"}));
        // The third one hears of a change before it has read the value.
        const QPointer<CMValueItem> third = item();
        setValue(2);
        QCoreApplication::processEvents();
        QCOMPARE(receiver->heard, QStringList({"1", "1", "2", "2", "2"}));
        receiver.reset();
        QTRY_VERIFY(!first && !second && !third);
    }

private:
    void startWorker() { m_worker = std::make_unique<CMNodesWorker>(QVariantHash(), "lab"); }
    void setValue(int value) { m_worker->setValue("lab:node", PlixValue::fromScalar(value)); }
    void watch(Receiver* receiver) {
        QVERIFY(CMRoot()->connectValueChange(path, receiver, SLOT(onValue(PlixValue))));
    }

    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<CMNodesWorker> m_worker;
};

QTEST_GUILESS_MAIN(TestChanges)
#include "test_changes.moc"
