#include "processhandler/plixprocesshandler.h"

#include <QTest>

#include <memory>
#include <optional>

class TestProcessHandler : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void reports_data() {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("begin");
        QTest::addColumn<QString>("end");
        const auto row = [](const char* name, const QStringList& command, bool ok,
                            const QString& begin, const QString& end) {
            QTest::newRow(name) << command << ok << begin << end;
        };
        const auto shell = [](const char* script) { return QStringList{"sh", "-c", script}; };
        row("both channels", shell("echo err >&2; echo \xC3\xA4"), true, u8"\u00e4\n", "err\n");
        row("arguments as they are", {"printf", "%s|", "a b\"$HOME", ""}, true, "a b\"$HOME||", "");
        row("failure", shell("echo why >&2; exit 3"), false, "why\n", "");
        row("crash", shell("echo before; kill -9 $$"), false, "before\n", "sh crashed");
        row("no program", {"no-such-program"}, false, "no-such-program could not be started", "");
        row("time-out", shell("echo begun; exec sleep 60"), false, "begun\n", "1000 ms");
    }

    void reports() {
        QFETCH(QStringList, command);
        QFETCH(QString, begin);
        QFETCH(QString, end);
        const QString program = command.takeFirst();
        const auto result = PlixProcessHandler::startSync(program, command, 1000);
        QTEST(result.finishedOk(), "ok");
        QVERIFY2(result.getData().startsWith(begin), qPrintable(result.getData()));
        QVERIFY2(result.getData().contains(end), qPrintable(result.getData()));

        QObject context;
        std::optional<PlixProcessHandlerResult> later;
        PlixProcessHandler::start(program, command, 1000, &context,
                                  [&later](const auto& ended) { later = ended; });
        QTRY_VERIFY(later);
        QCOMPARE(later->finishedOk(), result.finishedOk());
        QCOMPARE(later->getData(), result.getData());
    }

    void endsWithItsContext() {
        auto context = std::make_unique<QObject>();
        bool isCalled = false;
        PlixProcessHandler::start("sleep", {"60"}, 60000, context.get(),
                                  [&isCalled](const auto&) { isCalled = true; });
        QElapsedTimer time;
        time.start();
        context.reset();
        QCoreApplication::processEvents();
        QVERIFY(!isCalled && time.elapsed() < 30000);
    }

    void takesMoreThanAPipeHolds() {
        const QString script = "head -c 300000 /dev/zero; head -c 300000 /dev/zero >&2";
        const auto result = PlixProcessHandler::startSync("sh", {"-c", script}, 10000);
        QCOMPARE(result.getData().size(), 600000);
    }
};

QTEST_GUILESS_MAIN(TestProcessHandler)
#include "test_processhandler.moc"
