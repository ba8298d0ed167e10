// SPDX-License-Identifier: MIT
#pragma once

#include "playertrack.h"

#include <QByteArray>
#include <QVector>

#include <optional>

// The content of an extended M3U file in UTF-8:
//
//     #EXTM3U
//     #PLAYLIST:Title
//     #EXTINF:215,Artist - Title
//     media:/Artist/Album/Title.mp3
//
// Entries are paths of nodes, URLs of http or https, and names of files relative to the music
// folder or within it. In paths, line feeds, carriage returns and percent signs are
// percent-encoded. Other lines are comments.
class PlaylistFile {
public:
    // `musicFolder` is the folder that names of files belong to; empty for none.
    PlaylistFile(const QByteArray& content, const QString& musicFolder);

    // Empty without one.
    QString title() const;
    int size() const { return m_entries.size(); }
    // The track as the file describes it. Its title is the name of the file without one.
    PlayerTrack track(int index) const;
    // With another title, and all other lines as they are.
    QByteArray withTitle(const QString& title) const;

    static QByteArray make(const QString& title, const QVector<PlayerTrack>& tracks);

private:
    struct Entry {
        // Of the lines; the description is -1 without one.
        int line;
        int description;
    };

    QString pathOf(const QByteArray& line) const;

    QString m_musicFolder;
    QList<QByteArray> m_lines;
    int m_title = -1;
    QVector<Entry> m_entries;
};

// What people call playlists.
namespace PlaylistTitle {

constexpr int maximumLength = 100;

// Without spaces at both ends, and composed; empty when it is no title: too long, or with control
// characters.
std::optional<QString> fromText(const QString& text);
// A name for its file without an ending, also on other systems.
QString fileName(const QString& title);

} // namespace PlaylistTitle
