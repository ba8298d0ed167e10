#include "byteranges.h"
#include "documentroot.h"

#include <QTest>

namespace {

const QByteArray huge(500, '9');

// Header values, and what they ask of ten bytes.
const QVector<QPair<QByteArray, QByteArrayList>> headers{
    {"0-0", {"bytes=0-0", "bytes=, 0-00 ,\t", "Bytes=0000-0"}},
    {"9-9", {"bytes=9-", "bytes=-1", "bytes=9-10", "bytes=9-" + huge}},
    {"5-9", {"bytes=5-9223372036854775808", "bytes=5-18446744073709551617"}},
    {"0-9", {"bytes=0-", "bytes=-11", "bytes=-18446744073709551615", "bytes=-" + huge}},
    {"outside", {"bytes=-0", "bytes=10-", "bytes=9223372036854775808-", "bytes=" + huge + "-"}},
    {"outside", {"bytes=18446744073709551615-18446744073709551615", "bytes=18446744073709551616-"}},
    {"several", {"bytes=0-4,3-9", "bytes=90-,-0"}},
    {"whole", {"", "bytes", "bytes=", "bytes=,", "bytes=-", "bytes=1", "bytes=2-1", "bytes=a-b"}},
    {"whole", {"bytes=1-2x", "bytes=+1-2", "bytes=--1", "bytes=1--2", "bytes=1 - 2", "bytes 1-2"}},
    {"whole", {"lines=1-2", "bytes=0-1,x", "bytes=x,0-1"}},
};

} // namespace

class TestByteRanges : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parses() {
        for (const auto& [expected, values] : headers) {
            for (const QByteArray& value : values) {
                const RangeRequest range = parseRange(value, 10);
                const QByteArray limits =
                    QByteArray::number(range.first) + '-' + QByteArray::number(range.last);
                const QByteArray texts[] = {"whole", limits, "outside", "several"};
                QCOMPARE(value + " asks for " + texts[range.kind], value + " asks for " + expected);
            }
        }
    }

    void comparesWholeComponents() {
        for (const QString root : {"/srv/www", "/srv/www/", "/", ""}) {
            QVERIFY(isWithinDocumentRoot("/srv/www/a", root));
            QVERIFY(isWithinDocumentRoot("/srv/www", root));
            QCOMPARE(isWithinDocumentRoot("/srv/www-old/a", root), root.size() < 2);
            QCOMPARE(isWithinDocumentRoot("/srv", root), root.size() < 2);
        }
    }
};

QTEST_GUILESS_MAIN(TestByteRanges)
#include "test_byteranges.moc"
