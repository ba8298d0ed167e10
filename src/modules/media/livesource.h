// SPDX-License-Identifier: MIT
#pragma once

#include "melody.h"

#include <QElapsedTimer>
#include <QIODevice>
#include <QTimer>

// An endless WAV stream in real time. Six seconds can be read at once, then as much as the clock
// allows; readyRead() is emitted when there is more. A reader may be up to a second late; for a
// slower one, samples are skipped.
class LiveSource : public QIODevice {
    Q_OBJECT

public:
    explicit LiveSource(QObject* parent = nullptr);

    bool isSequential() const override { return true; }
    bool atEnd() const override { return false; }

protected:
    qint64 readData(char* data, qint64 length) override;
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    qint64 readHeader(char* data, qint64 length);

    QByteArray m_header;
    Melody m_melody;
    QElapsedTimer m_clock;
    // In samples of the melody since the clock started.
    qint64 m_position = 0;
    QTimer m_nextRead;
};
