#include "httpclient/httpclient.h"
#include "httpsource.h"

#include <QElapsedTimer>
#include <QTest>

namespace {

constexpr int limit = 1024 * 1024;

// A fetch and what came of it.
struct Fetch {
    Fetch(HttpClient& client, const QString& url, int timeoutMs = 5000) {
        HttpClientOptions options;
        options.setReadSizeLimit(limit);
        options.setTimeoutMs(timeoutMs);
        time.start();
        client.get(PlixUrl(url), options, [this](const HttpClient::Result& fetched) {
            result = fetched;
            ++calls;
        });
    }
    bool wait() {
        return calls == 0 && QTest::qWaitFor([this] { return calls > 0; }, 10000);
    }

    HttpClient::Result result;
    int calls = 0;
    QElapsedTimer time;
};

} // namespace

class TestHttpClient : public QObject {
    Q_OBJECT

    HttpClient m_client{nullptr, HttpClient::Http11, true};

private Q_SLOTS:
    void fetches() {
        HttpSource source(HttpSource::ok("body", "Set-Cookie: a=b\r\nX: 1\r\nX: 2\r\n"));
        for (int i = 0; i < 2; ++i) {
            Fetch fetch(m_client, source.url("/path?q=a%20b#fragment"));
            QVERIFY(fetch.wait());
            QCOMPARE(fetch.result.headers().value("x"), QString("1, 2"));
        }
        const QByteArray request = source.requests().last();
        QVERIFY(request.startsWith("GET /path?q=a%20b HTTP/1.1\r\n"));
        // No cookie comes back, and nothing is asked for compressed.
        QVERIFY(!request.contains("Cookie") && !request.contains("Accept-Encoding"));
    }

    void answers() {
        const auto fetched = [this](const QByteArray& answer) {
            HttpSource source(answer);
            Fetch fetch(m_client, source.url(), 1000);
            const bool once = fetch.wait() && source.requests().size() == 1;
            return once ? QByteArray::number(fetch.result.statusCode()) + fetch.result.body() : "";
        };
        // A redirect is not followed.
        QCOMPARE(fetched("HTTP/1.1 301 No\r\nLocation: /x\r\nContent-Length: 0\r\n\r\n"),
                 QByteArray("301"));
        QCOMPARE(fetched("HTTP/1.1 500 No\r\nTransfer-Encoding: chunked\r\n\r\n"
                         "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n"),
                 QByteArray("500abcde"));
        QCOMPARE(fetched(HttpSource::ok("x", "Content-Encoding: gzip\r\n")), QByteArray("200x"));
        QCOMPARE(fetched(HttpSource::ok(QByteArray(limit, 'x'))).size(), limit + 3);
        QCOMPARE(fetched("220 ftp ready\r\n\r\n"), QByteArray("0"));
    }

    void notFetched() {
        for (const char* url : {"", "file:///etc/passwd", "resource:///org", "http://", "127.0.0.1",
                                "http://127.0.0.1:1/"}) {
            Fetch fetch(m_client, url);
            QVERIFY2(fetch.wait(), url);
            QCOMPARE(fetch.result.statusCode(), 0);
            QVERIFY(!fetch.result.error().isEmpty());
        }
    }

    void sizeIsLimitedWhileReading() {
        const QByteArray much(100000, 'x');
        const QByteArray ok = "HTTP/1.1 200 OK\r\n";
        for (const auto& [head, repeat] : QList<QPair<QByteArray, QByteArray>>{
                 {ok + "Content-Length: 1000000000\r\n\r\n", much},
                 {ok + "Transfer-Encoding: chunked\r\n\r\n", "186a0\r\n" + much + "\r\n"},
                 {ok, "X: " + much + "\r\n"}}) {
            HttpSource source(head, repeat);
            Fetch fetch(m_client, source.url());
            QVERIFY(fetch.wait());
            QCOMPARE(fetch.result.statusCode(), 0);
            // The source is cut off: no more than the buffers of the sockets hold has left it.
            QTRY_COMPARE(source.connections(), 0);
            QVERIFY(source.sentBytes() < limit + 8 * 1024 * 1024);
        }
    }

    void timeCoversEverything() {
        for (const QByteArray answer : {"", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf"}) {
            HttpSource source(answer);
            Fetch fetch(m_client, source.url(), 300);
            Fetch handshake(m_client, source.url().replace("http:", "https:"), 300);
            QVERIFY(fetch.wait());
            const qint64 elapsed = fetch.time.elapsed();
            QVERIFY2(elapsed >= 280 && elapsed < 1000, qPrintable(QString::number(elapsed)));
            QCOMPARE(fetch.result.statusCode(), 0);
            QTRY_COMPARE(handshake.calls, 1);
            QTRY_COMPARE(source.connections(), 0);
        }
    }

    void certificatesAreVerified() {
        HttpSource source(HttpSource::ok("secret"), {}, true);
        Fetch refused(m_client, source.url());
        QVERIFY(refused.wait());
        QCOMPARE(refused.result.statusCode(), 0);
        QCOMPARE(source.requests().size(), 0);
        HttpClient trusting(nullptr, HttpClient::Http11, false);
        Fetch fetched(trusting, source.url());
        QVERIFY(fetched.wait());
        QCOMPARE(fetched.result.body(), QByteArray("secret"));
    }

    void contextAndClientEndTheFetch() {
        HttpSource silent("");
        const auto fail = [](const HttpClient::Result&) { QFAIL("called back"); };
        auto context = std::make_unique<QObject>();
        m_client.get(PlixUrl(silent.url()), HttpClientOptions(), context.get(), fail);
        auto client = std::make_unique<HttpClient>(nullptr, HttpClient::Http11, true);
        client->get(PlixUrl(silent.url()), HttpClientOptions(), fail);
        QTRY_COMPARE(silent.requests().size(), 2);
        context.reset();
        client.reset();
        QTRY_COMPARE(silent.connections(), 0);
    }
};

QTEST_GUILESS_MAIN(TestHttpClient)
#include "test_httpclient.moc"
