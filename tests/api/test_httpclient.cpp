// SPDX-License-Identifier: MIT
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
        client.get(PlixUrl(url), options, [this](const HttpClient::Result& fetched) {
            result = fetched;
            ++calls;
        });
    }
    // The status and the body; 0 when nothing was fetched, -1 unless it ended once.
    QByteArray answer() {
        if (calls > 0 || !QTest::qWaitFor([this] { return calls > 0; }, 10000))
            return "-1";
        return calls > 1 ? "-1" : QByteArray::number(result.statusCode()) + result.body();
    }

    HttpClient::Result result;
    int calls = 0;
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
            QCOMPARE(fetch.answer(), QByteArray("200body"));
            QCOMPARE(fetch.result.headers().value("x"), QString("1, 2"));
        }
        const QByteArray request = source.requests().last();
        QVERIFY(request.startsWith("GET /path?q=a%20b HTTP/1.1\r\n"));
        // No cookie comes back.
        QVERIFY(!request.contains("Cookie") && request.contains("Accept-Encoding: identity\r\n"));
    }

    void answers() {
        const QByteArray full(limit, 'x');
        // A redirect is not followed.
        const QPair<QByteArray, QByteArray> rows[] = {
            {"HTTP/1.1 301 No\r\nLocation: /x\r\nContent-Length: 0\r\n\r\n", "301"},
            {"HTTP/1.1 500 No\r\nTransfer-Encoding: "
             "chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n",
             "500abcde"},
            {HttpSource::ok("x", "Content-Encoding: gzip\r\n"), "0"},
            {HttpSource::ok("x", "Content-Encoding: Identity\r\n"), "200x"},
            {HttpSource::ok(full), "200" + full},
            {"220 ftp ready\r\n\r\n", "0"}};
        for (const auto& [answer, expected] : rows) {
            HttpSource source(answer);
            QCOMPARE(Fetch(m_client, source.url(), 1000).answer(), expected);
            QCOMPARE(source.requests().size(), 1);
        }
        for (const char* url : {"", "file:///etc/passwd", "resource:///org", "http://", "127.0.0.1",
                                "http://127.0.0.1:1/"}) {
            Fetch fetch(m_client, url);
            QCOMPARE(fetch.answer(), QByteArray("0"));
            QVERIFY2(!fetch.result.error().isEmpty(), url);
        }
    }

    void bodiesThatEndEarly() {
        const QByteArray chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
        const QByteArray sized = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n";
        const QPair<QByteArray, QByteArray> rows[] = {
            {chunked + "3\r\nabc\r\n0\r\n\r\n", "200abc"},
            {chunked + "3\r\nabc\r\n0\r\nA: b\r\n\r\n", "200abc"},
            {chunked + "0\r\n\r\n", "200"},
            {chunked, "0"},
            {chunked + "3\r\nab", "0"},
            {chunked + "3\r\nabc", "0"},
            {chunked + "3\r\nabc\r\n", "0"},
            {chunked + "3\r\nabc\r\n4", "0"},
            {sized + "abcd", "200abcd"},
            {sized + "abc", "0"},
            {"HTTP/1.1 200 OK\r\n\r\nabc", "200abc"}};
        for (const auto& [answer, expected] : rows) {
            HttpSource source(answer);
            source.close();
            QCOMPARE(Fetch(m_client, source.url()).answer(), expected);
        }
    }

    void silentSourceHasItsShare() {
        HttpSource silent("");
        HttpSource quick(HttpSource::ok("quick"));
        HttpClient client(nullptr, HttpClient::Http11, true);
        std::vector<std::unique_ptr<Fetch>> fetches;
        for (int i = 0; i < 100; ++i)
            fetches.push_back(std::make_unique<Fetch>(client, silent.url(), 60000));
        QCOMPARE(Fetch(client, quick.url()).answer(), QByteArray("200quick"));
        QVERIFY(silent.requests().size() <= 8);
    }

    void sizeIsLimitedWhileReading() {
        const QByteArray much(100000, 'x');
        const QByteArray ok = "HTTP/1.1 200 OK\r\n";
        const QPair<QByteArray, QByteArray> rows[] = {
            {ok + "Content-Length: 1000000000\r\n\r\n", much},
            {ok + "Transfer-Encoding: chunked\r\n\r\n", "186a0\r\n" + much + "\r\n"},
            {ok, "X: " + much + "\r\n"}};
        for (const auto& [head, repeat] : rows) {
            HttpSource source(head, repeat);
            QCOMPARE(Fetch(m_client, source.url()).answer(), QByteArray("0"));
            // The source is cut off: no more than the buffers of the sockets hold has left it.
            QTRY_COMPARE(source.connections(), 0);
            QVERIFY(source.sentBytes() < limit + 8 * 1024 * 1024);
        }
    }

    void timeCoversEverything() {
        const QByteArray half = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf";
        for (const char* scheme : {"http", "https"}) {
            HttpSource source(half);
            QElapsedTimer time;
            time.start();
            Fetch fetch(m_client, source.url().replace("http", scheme), 300);
            QCOMPARE(fetch.answer(), QByteArray("0"));
            QVERIFY2(time.elapsed() >= 280, scheme);
            QTRY_COMPARE(source.connections(), 0);
        }
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
