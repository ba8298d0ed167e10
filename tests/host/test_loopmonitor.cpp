// SPDX-License-Identifier: MIT
#include "core/plixlooptask.h"
#include "loopmonitor.h"

#include <QtTest>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

namespace {

constexpr int longMs = LoopMonitor::limitMs * 2;

class Lines : public log4cplus::Appender {
public:
    ~Lines() override { destructorImpl(); }
    void close() override {}
    QStringList lines;

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        const auto& level = log4cplus::getLogLevelManager().toString(event.getLogLevel());
        lines.append(QString::fromStdString(level + ": " + event.getMessage()));
    }
};

void work(int ms) {
    const std::clock_t end = std::clock() + ms * (CLOCKS_PER_SEC / 1000);
    while (std::clock() < end)
        ;
}

QString detail() {
    return QStringLiteral("a%1b");
}

} // namespace

class TestLoopMonitor : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        log4cplus::Logger root = log4cplus::Logger::getRoot();
        m_lines = new Lines;
        root.removeAllAppenders();
        root.addAppender(log4cplus::SharedAppenderPtr(m_lines));
        root.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    }

    void tellsLongTurns() {
        using Turn = void (*)();
        const QPair<Turn, const char*> rows[] = {
            {[] { work(longMs); }, "^WARN: A turn of the event loop took [0-9]{3,} ms, "
                                   "[12][0-9]{2} ms of processor time: "
                                   "nothing that has a name$"},
            {[] {
                 const PlixLoopTask outer("outer", detail);
                 const PlixLoopTask inner("inner", detail);
                 work(longMs);
             },
             ": inner a%1b \\([0-9]{3,} ms\\), outer a%1b \\([0-9]{3,} ms\\)$"},
            {[] {
                 const PlixLoopTask task("wait", detail, PlixLoopTaskKind::Expected);
                 QTest::qSleep(longMs);
             },
             "^INFO: As expected: .* [0-9]{3,} ms, [0-9]{1,2} ms of processor time: wait a%1b "},
            {[] {
                 { const PlixLoopTask task("wait", detail, PlixLoopTaskKind::Expected); }
                 work(longMs);
             },
             "^WARN: .* nothing that has a name$"}};
        for (const auto& [turn, line] : rows) {
            const LoopMonitor monitor;
            m_lines->lines.clear();
            // Again and again: on a busy machine any turn may be long, and one longer than it says.
            QTimer timer;
            connect(&timer, &QTimer::timeout, turn);
            timer.start(0);
            const QRegularExpression expected(line);
            QTRY_VERIFY2(!m_lines->lines.filter(expected).isEmpty(),
                         qPrintable(m_lines->lines.join('\n')));
        }
    }

    void namesSlowestOfMany() {
        for (int ms = 1; ms <= 9; ++ms)
            PlixLoopTurn::add(PlixLoopTaskKind::Usual, "t", QString::number(ms), 10 - ms);
        QCOMPARE(PlixLoopTurn::take().text(),
                 QStringLiteral("t 1 (9 ms), t 2 (8 ms), t 3 (7 ms), t 4 (6 ms), t 5 (5 ms)"));
        QVERIFY(PlixLoopTurn::take().text().isEmpty());
    }

private:
    Lines* m_lines = nullptr;
};

QTEST_GUILESS_MAIN(TestLoopMonitor)
#include "test_loopmonitor.moc"
