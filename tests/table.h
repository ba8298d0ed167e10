// SPDX-License-Identifier: MIT
#pragma once

#include <QTest>

// Makes the rows of a data-driven test from a table: a line for each row, fields between bars, the
// first of which is the row's name. The test fetches the others as `QByteArrayList fields`, without
// the spaces around them.
// moc takes a raw string for a plain one: an escaped quote in a table can hide the class below it.
inline void addRows(const QByteArray& table) {
    QTest::addColumn<QByteArrayList>("fields");
    for (const QByteArray& line : table.trimmed().split('\n')) {
        QByteArrayList fields;
        for (const QByteArray& field : line.split('|'))
            fields.append(field.trimmed());
        QTest::newRow(fields.takeFirst().constData()) << fields;
    }
}
