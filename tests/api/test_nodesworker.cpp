// SPDX-License-Identifier: MIT
#include "core/model/cmnodesworker.h"
#include "core/model/cmrootworker.h"
#include "datamodel.h"
#include "table.h"

#include <climits>
#include <memory>

namespace {

const QString list = QStringLiteral("lab:list");

const char configuration[] = R"({"nodes": {
    "lab:volume": {"title": "Volume", "value": {"i32_": 30}, "minimum": 0, "maximum": {"i32_": 100},
                   "internal": false},
    "lab:big": {"value": {"i64_": 0}, "minimum": -9007199254740993, "maximum": 9007199254740993},
    "lab:action": {"activate": true},
    "lab:fixed": {"value": {"i32_": 1}, "modifiable": {"bool_": false}},
    "lab:free": {"value": {"any": [1]}},
    "lab:real": {"value": {"double_": 0}},
    "lab:list": {"rows": [{"title": "a"}, {"title": "b", "internal": true}, {"title": "c"}]},
    "other:node": {"value": 1}}})";

} // namespace

class TestNodesWorker : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_root = std::make_unique<CMRootWorker>();
        m_worker = std::make_unique<CMNodesWorker>(json(configuration).toHash(), "lab");
    }

    void cleanup() {
        m_worker.reset();
        m_root.reset();
        QVERIFY(!CMRoot());
    }

    void writes_data() {
        // Node, role, what is written, and what it becomes or the name of the error.
        addRows(R"(
scalar into a record          |volume|value   |25              |{"i32_":25}
at an exact limit             |big   |value   |9007199254740993|{"i64_":9007199254740993}
anything into an untyped node |free  |value   |["x"]           |["x"]
role that the node lacks      |volume|icon    |[1]             |[1]
action                        |action|activate|[1]             |[1]
activation of what is none    |volume|activate|true            |notModifiable
text into a number            |volume|value   |"25"            |typeMismatch
below the minimum             |volume|value   |-1              |outOfRange
above a typed maximum         |volume|value   |101             |outOfRange
just above an exact limit     |big   |value   |9007199254740994|outOfRange
more than anybody reads       |free  |value   |"LARGE"         |outOfRange
unmodifiable node             |fixed |value   |2               |notModifiable
internal                      |volume|internal|true            |notModifiable
maximum                       |volume|maximum |1000            |notModifiable
unknown role                  |volume|invented|1               |notModifiable
)");
    }

    void writes() {
        QFETCH(const QByteArrayList, fields);
        const QString path = "lab:" + fields[0];
        const QByteArray before = PlixJson::serialize(m_worker->role(path, fields[1]));
        const QByteArray text = QByteArray(fields[2]).replace("LARGE", QByteArray(40000, 'x'));
        const QString error = setData(path, fields[1], json(text));
        const QByteArray after = PlixJson::serialize(m_worker->role(path, fields[1]));
        QCOMPARE(error.isNull() ? after : error.toUtf8(), fields[3]);
        QVERIFY(error.isNull() || after == before);
    }

    void refusesWhatIsNoNumber() {
        QCOMPARE(setData("lab:real", "value", qQNaN()), QStringLiteral("outOfRange"));
    }

    void readsRows() {
        const auto read = [](int from, int to, int version) {
            const CMReply<PlixRowsRoles> reply;
            CMRoot()->getRows(CMPath::fromEncoded(list), from, to, version, {"title"}, reply);
            return reply.error() ? reply.error().name().toUtf8()
                                 : PlixJson::serialize(reply.value().__variant());
        };
        QCOMPARE(read(INT_MIN, INT_MAX, 1),
                 QByteArray(R"({"count":3,"rows":[["a"],["b"],["c"]],"version":1})"));
        const QByteArray none = R"({"count":3,"rows":[],"version":1})";
        QCOMPARE(read(1, 1, -1), QByteArray(none).replace("[]", R"([["b"]])"));
        QCOMPARE(read(2, 1, -1), none);
        QCOMPARE(read(INT_MAX, INT_MAX, -1), none);
        QCOMPARE(read(-5, -1, -1), none);
        QCOMPARE(read(0, 2, 9), QByteArray("versionMismatch"));
    }

    // Answers that are requested once do not replace one that is in use.
    void cachesTheRowsInUse() {
        const auto read = [](int to) {
            const CMReply<PlixRowsRoles> reply;
            CMRoot()->getRows(CMPath::fromEncoded(list), 0, to, -1, {"title"}, reply);
            return reply.value().__hash();
        };
        read(0);
        const QVariantHash first = read(0);
        for (int to = 1; to < 20; ++to) {
            read(to);
            QVERIFY(read(0).isSharedWith(first));
        }
    }

    // Growing and shrinking at the start, in the middle and at the end, with repeated rows.
    void tellsHowRowsChange() {
        const auto row = [](QChar title) { return QVariantHash{{"title", QString(title)}}; };
        m_worker->setRows(list, {});
        QVERIFY(CMRoot()->connectRowsChange(CMPath::fromEncoded(list), this,
                                            SLOT(on_rows_changed(QVariantList))));
        for (const QString titles : {"abc", "xabc", "xc", "deac", "ccc", "", "abc"}) {
            QVector<QVariantHash> rows;
            for (const QChar title : titles)
                rows.append(row(title));
            m_worker->setRows(list, rows);
            QCOMPARE(QVariant(m_mirror).toStringList().join(""), titles);
        }
        m_worker->insertRow(list, 3, row('d'));
        m_worker->moveRow(list, 0, 2);
        m_worker->moveRow(list, 3, 1);
        m_worker->changeRow(list, 2, row('x'));
        m_worker->removeRow(list, 3);
        QCOMPARE(QVariant(m_mirror).toStringList().join(""), QStringLiteral("bdx"));
        m_worker->removeNode(list);
        QVERIFY(m_mirror.isEmpty());
    }

    void givesEveryListAGreaterVersion() {
        qint64 last = 0;
        const auto grows = [&last] {
            const CMReply<PlixRowsRoles> reply;
            CMRoot()->getRows(CMPath::fromEncoded(list), 0, 0, -1, {}, reply);
            return reply.value().version() > std::exchange(last, reply.value().version());
        };
        QVERIFY(grows());
        m_worker->moveRow(list, 0, 1);
        QVERIFY(grows() && !grows());
        m_worker->removeNode(list);
        m_worker->setNode(list, {});
        QVERIFY(grows());
    }

public Q_SLOTS:
    // Keeps a copy of the list's titles by carrying out its row events.
    void on_rows_changed(const QVariantList& changes) {
        carryOut(changes, QVariant(titlesOf(list)).toList(), &m_mirror);
    }

private:
    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<CMNodesWorker> m_worker;
    QVariantList m_mirror;
};

QTEST_GUILESS_MAIN(TestNodesWorker)
#include "test_nodesworker.moc"
