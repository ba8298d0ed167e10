#pragma once

#include <QObject>
#include <QString>

// Fills a folder with the tracks and covers that come with the device: NAME.wav and
// covers/NAME.svg. One track is made per turn of the event loop, each file appears whole or not at
// all, and files that exist are left alone.
class TrackGenerator : public QObject {
    Q_OBJECT

public:
    TrackGenerator(const QString& folder, QObject* parent);

    // Emits finished(), at once when there is nothing to do.
    void start();

Q_SIGNALS:
    void finished();

private:
    void makeMissing();

    QString m_folder;
    int m_next = 0;
};
