#pragma once

#include <QString>
#include <QVector>

// The folder that the media worker offers: audio files directly inside it, and pictures in its
// folder "covers", where NAME.svg (or .png, .jpg, .jpeg) is the cover of NAME.wav. Hidden files,
// links that lead out of the folder and other files are ignored.
class MediaFolder {
public:
    struct Track {
        QString fileName;
        QString title;
        QString artist;        // empty when unknown
        QString cover;         // name below "covers"; empty without one
        qint64 durationMs = 0; // 0 when unknown
    };

    // Further tracks are ignored, because the list is built in one turn of the event loop.
    static constexpr int maximumTracks = 5000;

    explicit MediaFolder(const QString& path = {}) : m_path(path) {}

    const QString& path() const { return m_path; }
    // In the order of their titles, whatever the case, so that clients can search in long lists.
    QVector<Track> tracks() const;
    // The absolute path of the file with the client's name "NAME" or "covers/NAME"; null when there
    // is no such file.
    QString find(const QString& name) const;

private:
    Track track(const QString& fileName) const;
    QString findIn(const QString& folder, const QString& fileName,
                   const QStringList& extensions) const;
    QString coverOf(const QString& fileName) const;

    QString m_path;
};
