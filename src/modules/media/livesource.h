#pragma once

#include "melody.h"

#include <QElapsedTimer>
#include <QIODevice>
#include <QTimer>

// An endless WAV that is to be read as fast as it would be heard: reading gives six seconds at
// once, then what the clock says is due, and readyRead() says that there is more. A reader may fall
// a second behind; what a slower one misses is left out.
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
