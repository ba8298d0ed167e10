// SPDX-License-Identifier: MIT
#pragma once

#include "library/mediacatalogue.h"

// The folder of a media worker without a library: audio files directly inside it, and pictures in
// its folder "covers", where NAME.svg (or .png, .jpg, .jpeg) is the cover of NAME.wav. Hidden
// files, links that lead out of the folder and other files are ignored.
class MediaFolder {
public:
    // Further tracks are ignored, because the list is built in one turn of the event loop.
    static constexpr int maximumTracks = 5000;

    explicit MediaFolder(const QString& path = {}) : m_path(path) {}

    const QString& path() const { return m_path; }
    // Reads the folder, and headers of WAV files.
    MediaCatalogue::Content content() const;
    // The absolute path of the picture "covers/NAME"; null when there is no such file.
    QString findCover(const QString& name) const;

private:
    LibraryTrack track(const QString& fileName) const;
    QString findIn(const QString& folder, const QString& fileName,
                   const QStringList& extensions) const;
    QByteArray coverOf(const QString& fileName) const;

    QString m_path;
};
