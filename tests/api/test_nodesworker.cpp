#include "core/model/cmnodesworker.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmrootworker.h"
#include "core/plixjson.h"

#include <QTest>

#include <climits>
#include <memory>

namespace {

const QString list = QStringLiteral("lab:list");

const char configuration[] = R"({"nodes": {
    "lab:volume": {"title": "Volume", "value": {"i32_": 30}, "minimum": 0, "maximum": {"i32_": 100},
                   "internal": false},
    "lab:big": {"value": {"i64_": 0}, "minimum": -9007199254740993, "maximum": 9007199254740993},
    "lab:real": {"value": {"double_": 0.5}, "minimum": 0.25, "maximum": 1},
    "lab:fixed": {"value": {"i32_": 1}, "modifiable": {"bool_": false}},
    "lab:free": {"value": {"any": [1]}},
    "lab:list": {"rows": [{"title": "a"}, {"title": "b", "internal": true}, {"title": "c"}]},
    "other:node": {"value": 1}}})";

QVariant json(const QByteArray& text) {
    PlixError error;
    return PlixJson::parse(text, error);
}

// The reply's value as JSON, or the name of its error.
QByteArray outcome(const CMVoidReply& reply) {
    if (!reply.isFinished() || reply.error())
        return reply.error().name().toUtf8();
    return PlixJson::serialize(CMVariantReply(reply).value());
}

} // namespace

// Keeps a copy of the list by carrying out its row events.
class Mirror : public QObject {
    Q_OBJECT

public:
    explicit Mirror(CMNodesWorker* worker) : m_worker(worker) {}
    QVector<QVariantHash> rows;

public Q_SLOTS:
    void on_rowsChanged(const QVariantList& changes) {
        const PlixList<PlixRowEvent> events(changes);
        for (int position = 0; position < events.size(); ++position) {
            const PlixRowEvent event = events.record(position);
            if (event.type() == PlixRowEventType::Removed)
                rows.remove(event.index());
            else if (event.type() == PlixRowEventType::Moved)
                rows.move(event.index(), event.toIndex());
            else if (event.type() == PlixRowEventType::Changed)
                rows[event.index()] = m_worker->row(list, event.index());
            else
                rows.insert(event.index(), m_worker->row(list, event.index()));
        }
    }

private:
    CMNodesWorker* m_worker;
};

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
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("role");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QByteArray>("expected");
        const auto row = [](const char* name, const QString& node, const char* role,
                            const QByteArray& value, const QByteArray& expected) {
            QTest::newRow(name) << "lab:" + node << role << value << expected;
        };
        row("scalar into a record", "volume", "value", "25", R"({"i32_":25})");
        row("at an exact limit", "big", "value", "9007199254740993",
            R"({"i64_":9007199254740993})");
        row("integer into a real", "real", "value", "1", R"({"double_":1})");
        row("anything into an untyped node", "free", "value", R"(["x"])", R"(["x"])");
        row("role that the node lacks", "volume", "activate", "[1]", "[1]");
        row("text into a number", "volume", "value", R"("25")", "typeMismatch");
        row("below the minimum", "volume", "value", "-1", "outOfRange");
        row("above a typed maximum", "volume", "value", "101", "outOfRange");
        row("just above an exact limit", "big", "value", "9007199254740994", "outOfRange");
        row("unmodifiable node", "fixed", "value", "2", "notModifiable");
        row("internal", "volume", "internal", "true", "notModifiable");
        row("maximum", "volume", "maximum", "1000", "notModifiable");
        row("unknown role", "volume", "invented", "1", "notModifiable");
    }

    void writes() {
        QFETCH(QString, path);
        QFETCH(QString, role);
        QFETCH(QByteArray, value);
        QFETCH(QByteArray, expected);
        const QByteArray before = PlixJson::serialize(m_worker->role(path, role));
        const CMReply<QVariant> reply;
        CMRoot()->setData(CMPath::fromEncoded(path), role, json(value), reply);
        QCOMPARE(outcome(reply), expected);
        QCOMPARE(PlixJson::serialize(m_worker->role(path, role)),
                 reply.error() ? before : expected);
    }

    void readsRows() {
        const auto read = [](int from, int to, int version) {
            const CMReply<PlixRowsRoles> reply;
            CMRoot()->getRows(CMPath::fromEncoded(list), from, to, version, {"title"}, reply);
            return reply.error() ? outcome(reply) : PlixJson::serialize(reply.value().__variant());
        };
        const auto three = [](const QByteArray& rows) {
            return R"({"count":3,"rows":)" + rows + R"(,"version":1})";
        };
        QCOMPARE(read(INT_MIN, INT_MAX, 1), three(R"([["a"],["b"],["c"]])"));
        QCOMPARE(read(1, 1, -1), three(R"([["b"]])"));
        QCOMPARE(read(2, 1, -1), three("[]"));
        QCOMPARE(read(INT_MAX, INT_MAX, -1), three("[]"));
        QCOMPARE(read(-5, -1, -1), three("[]"));
        QCOMPARE(read(0, 2, 9), QByteArray("versionMismatch"));
    }

    void tellsHowRowsChange() {
        const auto rows = [](const QVector<int>& titles) {
            QVector<QVariantHash> made;
            for (const int title : titles)
                made.append({{PlixRoles::Title(), title}});
            return made;
        };
        Mirror mirror(m_worker.get());
        m_worker->setRows(list, {});
        QVERIFY(m_worker->connectRowsChange(CMPath::fromEncoded(list), &mirror,
                                            SLOT(on_rowsChanged(QVariantList))));
        // Growing and shrinking at the start, in the middle and at the end, with repeated rows.
        using Titles = QVector<int>;
        for (const Titles& titles :
             {Titles{1, 2, 3}, Titles{0, 1, 2, 3}, Titles{0, 3}, Titles{4, 5, 0, 3},
              Titles{3, 3, 3}, Titles{}, Titles{1, 2, 3}}) {
            m_worker->setRows(list, rows(titles));
            QCOMPARE(mirror.rows, rows(titles));
        }
        m_worker->insertRow(list, 3, rows({4}).first());
        m_worker->moveRow(list, 0, 2);
        m_worker->moveRow(list, 3, 1);
        m_worker->changeRow(list, 2, rows({9}).first());
        m_worker->removeRow(list, 3);
        QCOMPARE(mirror.rows, rows({2, 4, 9}));
        m_worker->removeNode(list);
        QVERIFY(mirror.rows.isEmpty());
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

private:
    std::unique_ptr<CMRootWorker> m_root;
    std::unique_ptr<CMNodesWorker> m_worker;
};

QTEST_GUILESS_MAIN(TestNodesWorker)
#include "test_nodesworker.moc"
