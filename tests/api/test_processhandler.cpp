// SPDX-License-Identifier: MIT
#include "processhandler/plixprocesshandler.h"

#include <QTest>

#include <memory>
#include <optional>

class TestProcessHandler : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void reports() {
        const auto shell = [](const char* script) { return QStringList{"sh", "-c", script}; };
        // A command, whether it ends well, and what its output begins with and contains.
        const std::tuple<QStringList, bool, QString, QString> rows[] = {
            {shell("echo err >&2; echo \xC3\xA4"), true, u8"\u00e4\n", "err\n"},
            {{"printf", "%s|", "a b\"$HOME", ""}, true, "a b\"$HOME||", ""},
            {shell("echo why >&2; exit 3"), false, "why\n", ""},
            {shell("echo before; kill -9 $$"), false, "before\n",
             "sh was ended by signal 9 (Killed)"},
            {{"no-such-program"}, false, "no-such-program could not be started", ""},
            {shell("echo begun; exec sleep 60"), false, "begun\n", "1000 ms"}};
        for (const auto& [command, ok, begin, end] : rows) {
            const QStringList arguments = command.mid(1);
            const auto result = PlixProcessHandler::startSync(command[0], arguments, 1000);
            QVERIFY2(result.getData().startsWith(begin), qPrintable(result.getData()));
            QVERIFY2(result.getData().contains(end), qPrintable(result.getData()));
            QCOMPARE(result.finishedOk(), ok);

            QObject context;
            std::optional<PlixProcessHandlerResult> later;
            PlixProcessHandler::start(command[0], arguments, 1000, &context,
                                      [&later](const auto& ended) { later = ended; });
            QTRY_VERIFY(later);
            QCOMPARE(later->finishedOk(), ok);
            QCOMPARE(later->getData(), result.getData());
        }
    }

    void endsWithItsContext() {
        auto context = std::make_unique<QObject>();
        bool isCalled = false;
        PlixProcessHandler::start("sleep", {"1000"}, 1000000, context.get(),
                                  [&isCalled](const auto&) { isCalled = true; });
        context.reset();
        QCoreApplication::processEvents();
        QVERIFY(!isCalled);
    }
};

QTEST_GUILESS_MAIN(TestProcessHandler)
#include "test_processhandler.moc"
