#include "byteranges.h"
#include "documentroot.h"

#include <QTest>

class TestByteRanges : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parses_data() {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("expected");
        const QByteArray huge(500, '9');
        // Of ten bytes.
        for (const auto& [header, expected] : QList<QPair<QByteArray, QByteArray>>{
                 {"bytes=0-0", "0-0"},
                 {"bytes=9-", "9-9"},
                 {"Bytes=000-09", "0-9"},
                 {"bytes=, 2-3 ,", "2-3"},
                 {"bytes=5-10", "5-9"},
                 {"bytes=5-9223372036854775807", "5-9"},
                 {"bytes=5-18446744073709551616", "5-9"},
                 {"bytes=5-" + huge, "5-9"},
                 {"bytes=-1", "9-9"},
                 {"bytes=-11", "0-9"},
                 {"bytes=-" + huge, "0-9"},
                 {"bytes=-0", "outside"},
                 {"bytes=10-", "outside"},
                 {"bytes=9223372036854775808-", "outside"},
                 {"bytes=18446744073709551615-18446744073709551615", "outside"},
                 {"bytes=" + huge + "-", "outside"},
                 {"bytes=0-4,3-9", "several"},
                 {"bytes=90-,-0", "several"},
             })
            QTest::newRow(header.left(60).constData()) << header << expected;
        for (const QByteArray header :
             {"", "bytes", "bytes=", "bytes=,", "bytes=-", "bytes=1", "bytes=2-1", "bytes=a-b",
              "bytes=1-2x", "bytes=+1-2", "bytes=--1", "bytes=1--2", "bytes= 1 - 2", "bytes 1-2",
              "lines=1-2", "bytes=0-1,x"})
            QTest::newRow(("invalid: " + header).constData()) << header << QByteArray("whole");
    }

    void parses() {
        QFETCH(QByteArray, header);
        const RangeRequest range = parseRange(header, 10);
        const QByteArray texts[] = {
            "whole", QByteArray::number(range.first) + '-' + QByteArray::number(range.last),
            "outside", "several"};
        QTEST(texts[range.kind], "expected");
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
