#include "processhandler/plixprocesshandler.h"

#include <QTest>

class TestProcessHandler : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void returnsTheOutput() {
        const auto both = shell("echo err >&2; echo \xC3\xA4");
        QVERIFY(both.finishedOk());
        QCOMPARE(both.getData(), QStringLiteral("\u00e4\nerr\n"));
        // Arguments reach the program as they are.
        const auto printed = PlixProcessHandler::startSync(
            QStringLiteral("printf"),
            {QStringLiteral("%s|"), QStringLiteral("a b\"$HOME"), QString()}, 10000);
        QCOMPARE(printed.getData(), QStringLiteral("a b\"$HOME||"));
        // More than a pipe holds, on both channels.
        QCOMPARE(shell("head -c 300000 /dev/zero; head -c 300000 /dev/zero >&2").getData().size(),
                 600000);
    }

    void reportsFailures() {
        const auto failed = shell("echo why >&2; exit 3");
        QVERIFY(!failed.finishedOk());
        QCOMPARE(failed.getData(), QStringLiteral("why\n"));
        const auto crashed = shell("echo before; kill -9 $$");
        QVERIFY(!crashed.finishedOk());
        QCOMPARE(crashed.getData(), QStringLiteral("before\nsh crashed"));
        const auto missing =
            PlixProcessHandler::startSync(QStringLiteral("no-such-program"), {}, 10000);
        QVERIFY(!missing.finishedOk());
        QVERIFY(missing.getData().contains(QStringLiteral("no-such-program could not be started")));
    }

    void endsAtTheTimeOut() {
        const auto slow = shell("echo begun; exec sleep 60", 300);
        QVERIFY(!slow.finishedOk());
        QVERIFY(slow.getData().startsWith(QStringLiteral("begun\n")));
        QVERIFY(slow.getData().contains(QStringLiteral("300 ms")));
    }

private:
    static PlixProcessHandlerResult shell(const char* script, int timeoutMs = 10000) {
        return PlixProcessHandler::startSync(
            QStringLiteral("sh"), {QStringLiteral("-c"), QString::fromUtf8(script)}, timeoutMs);
    }
};

QTEST_GUILESS_MAIN(TestProcessHandler)
#include "test_processhandler.moc"
