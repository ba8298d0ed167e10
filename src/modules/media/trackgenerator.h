// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

// Fills a folder with the tracks and covers that come with the device: NAME.wav and
// covers/NAME.svg. It makes one track in a turn of the event loop, writes each file atomically, and
// does not change existing files.
class TrackGenerator : public QObject {
    Q_OBJECT

public:
    TrackGenerator(const QString& folder, QObject* parent);

    // Emits finished() at the end, at once when there is nothing to do.
    void start();

Q_SIGNALS:
    void finished();

private:
    void makeMissing();

    QString m_folder;
    int m_next = 0;
};
