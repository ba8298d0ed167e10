// SPDX-License-Identifier: MIT
#include "core/model/cmroot.h"
#include "metrics/accesslog.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QTest>
#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

namespace {

class LinesAppender : public log4cplus::Appender {
public:
    ~LinesAppender() override { destructorImpl(); }
    void close() override {}

    QByteArrayList lines;

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        lines += QByteArray::fromStdString(event.getMessage());
    }
};

QVariantHash truth(bool value) {
    return valueNode("bool_", value);
}

} // namespace

class TestMetrics : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void countsWhatClientsDo() {
        TestDevice device({{"settings:/webserver/metrics", truth(true)},
                           {"player:player/volume", valueNode("i32_", 30)}});
        const auto get = [&](const QByteArray& target) {
            return RawClient::get(device.port(), target);
        };
        for (int count = 0; count < 3; ++count)
            QCOMPARE(get("/api/getData?path=player:player/volume&roles=value").status, 200);
        QCOMPARE(get("/api/getData?path=player:nothing&roles=value").status, 500);
        QCOMPARE(RawClient::get(device.port(), "/", "Bad Name: x\r\n").status, 400);
        const QByteArray queue =
            get("/api/event/modifyQueue?subscribe=%5B%7B%22path%22:%22player:player/"
                "volume%22%7D%5D")
                .body.mid(1, 38);
        RawClient waiting(device.port());
        waiting.send(RawClient::requestBytes("GET", "/api/event/pollQueue?queueId=" + queue));
        QVERIFY(waiting.read(1, 50).isEmpty());
        RawClient beginning(device.port());
        beginning.send("GET / HTTP/1.1\r\nHo");
        settle();

        const HttpReply reply = get("/metrics");
        QCOMPARE(reply.header("Content-Type"),
                 QByteArray("application/openmetrics-text; version=1.0.0; charset=utf-8"));
        QVERIFY(reply.body.endsWith("\n# EOF\n"));
        for (const QByteArray& sample :
             {QByteArray("plix_requests_total{area=\"api\",status=\"200\"} 3"),
              QByteArray("plix_requests_total{area=\"api\",status=\"500\"} 1"),
              QByteArray("plix_requests_total{area=\"event\",status=\"200\"} 1"),
              QByteArray("plix_requests_in_progress{area=\"event\"} 1"),
              QByteArray("plix_request_seconds_bucket{area=\"api\",le=\"+Inf\"} 4"),
              QByteArray("plix_connections{activity=\"waiting\"} 1"),
              QByteArray("plix_connections{activity=\"head\"} 1"),
              QByteArray("plix_event_queues 1")})
            QVERIFY2(reply.body.contains('\n' + sample + '\n'), reply.body.constData());
        QVERIFY(reply.body.contains("plix_refusals_total{status=\"400\",reason="));

        // Workers see the same, clients do not.
        const QVariantHash samples =
            CMRoot()->getValue(CMPath::fromEncoded("SoupServer:metrics")).toHash();
        QCOMPARE(samples.value("plix_requests_total{area=\"api\",status=\"200\"}").toInt(), 3);
        QVERIFY(get("/api/getData?path=SoupServer:metrics&roles=value").body.contains("internal"));
    }

    void areForChosenClients() {
        TestDevice off;
        QCOMPARE(RawClient::get(off.port(), "/metrics").status, 404);
        TestDevice device({{"settings:/webserver/metrics", truth(true)},
                           {"settings:/webserver/metricsClients",
                            QVariantHash{{"value", QVariantList{"127.0.0.9"}}}}});
        QCOMPARE(RawClient::get(device.port(), "/metricsx").status, 404);
        QCOMPARE(RawClient::request(device.port(), "POST", "/metrics", {}, "x").status, 501);
    }

    void logsRequestsInTheCombinedFormat() {
        const log4cplus::SharedAppenderPtr appender(new LinesAppender);
        log4cplus::Logger logger = log4cplus::Logger::getInstance("Access");
        logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
        logger.addAppender(appender);
        TestDevice device({{"settings:/webserver/accessLog", truth(true)}});
        RawClient::request(device.port(), "POST", "/api/no%22thing?a=%0Ab",
                           "User-Agent: a\"b\\c\td\r\nReferer: http://r/\r\n", "x");
        RawClient left(device.port());
        left.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 5\r\n\r\n");
        settle();
        left.reset();
        settle();
        logger.removeAllAppenders();

        const QByteArrayList& lines = static_cast<LinesAppender&>(*appender).lines;
        QCOMPARE(lines.size(), 2);
        const QByteArray& line = lines.at(0);
        QVERIFY2(line.startsWith("127.0.0.1 - - ["), line.constData());
        QVERIFY2(line.contains(" +0000] \"POST /api/no%22thing?a=%0Ab HTTP/1.1\" 500 "),
                 line.constData());
        QVERIFY2(line.endsWith(" \"http://r/\" \"a\\\"b\\\\c\\x09d\""), line.constData());
        QVERIFY2(lines.at(1).contains("\" 499 0 \"-\" \"-\""), lines.at(1).constData());
    }
};

QTEST_GUILESS_MAIN(TestMetrics)
#include "test_metrics.moc"
