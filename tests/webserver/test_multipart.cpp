#include "handlers/multipartsplitter.h"
#include "multipartbody.h"

#include <QTest>

namespace {

// The header block and the content of one part after the other.
using Parts = QByteArrayList;

const QByteArray lines = "\r\nA: b\r\n\r\n";
const QByteArray firstLines = "\r\n--XyZ" + lines;

// Splits a body that comes in these pieces, one step for each and the rest at the end.
Parts split(const QByteArrayList& pieces) {
    Parts parts;
    MultipartSplitter splitter(
        "\r\n--XyZ",
        [&](const QByteArray& header) {
            parts += Parts{header, ""};
        },
        [&](const char* data, unsigned size) { parts.last() += QByteArray(data, int(size)); });
    for (const QByteArray& piece : pieces) {
        splitter.append(piece.constData(), unsigned(piece.size()));
        splitter.step(false);
    }
    while (splitter.step(true) > 0) {
    }
    return parts;
}

} // namespace

class TestMultipart : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everySplit() {
        const QByteArray near = "\r\n--Xy\r\n--X\r\n--xyZ--XyZ--\r\r\n-\r\n--Xy";
        const QByteArray binary("\r\n\r\n\0\r\n\r\n", 9);
        const QVector<std::pair<QByteArray, Parts>> rows{
            {multipartBody({QByteArray(40, 'a'), "beta"}),
             {firstLines, QByteArray(40, 'a'), lines, "beta"}},
            {multipartBody({near, "\r\n" + near + "\r\n"}),
             {firstLines, near, lines, "\r\n" + near + "\r\n"}},
            // An empty content, and a delimiter in the place of the next one.
            {multipartBody({"", "", "x"}), {firstLines, "", firstLines, "", firstLines, "x"}},
            {multipartBody({binary, "--"}), {firstLines, binary, lines, "--"}},
            // Preamble and epilogue.
            {"before\r\n" + multipartBody({"alpha"}) + "\r\n\r\n--XyZ\r\n\r\nafter",
             {lines, "alpha"}},
            // No headers.
            {"--XyZ\r\n\r\na\r\n--XyZ--", {"\r\n--XyZ\r\n\r\n", "a"}},
            // Not closed.
            {"--XyZ" + lines + "alpha\r\n--Xy", {firstLines, "alpha\r\n--Xy"}},
            // Headers without an end, and with a NUL byte.
            {"--XyZ\r\nA: b\r\nalpha\r\n--XyZ--\r\n", {}},
            {"--XyZ\r\nA: " + QByteArray(1, '\0') + "\r\n\r\nalpha\r\n--XyZ--\r\n", {}},
            {"--Xy" + lines + "a\r\n--Xy--", {}},
            {"--XyZ--\r\n\r\n", {}}};
        for (const auto& [body, parts] : rows) {
            QByteArrayList bytes;
            for (const char byte : body)
                bytes.append(QByteArray(1, byte));
            QCOMPARE(split(bytes), parts);
            for (int i = 0; i < body.size(); ++i) {
                for (int j = i; j < body.size(); ++j)
                    QCOMPARE(split({body.left(i), body.mid(i, j - i), body.mid(j)}), parts);
            }
        }
    }

    void endlessHeaderIsNotKept() {
        MultipartSplitter splitter("\r\n--XyZ", [](const QByteArray&) { QFAIL("no part"); }, {});
        splitter.append("--XyZ\r\n", 7);
        for (int i = 0; i < 100; ++i) {
            splitter.append(QByteArray(1024, 'x').constData(), 1024);
            splitter.step(false);
            QVERIFY(splitter.size() < 2 * MultipartSplitter::maximumHeaderSize);
        }
    }
};

QTEST_GUILESS_MAIN(TestMultipart)
#include "test_multipart.moc"
