// SPDX-License-Identifier: MIT
#pragma once

#include "station.h"

#include <QHash>
#include <QSet>

#include <functional>

// What a walk through folders of the library has found. All paths are relative to its root.
struct FolderContent {
    struct File {
        qint64 size;
        qint64 modifiedNs;
    };
    struct Picture {
        QByteArray path;
        // Changes with the picture.
        QByteArray version;
    };

    QHash<QByteArray, File> audio;
    // Of each folder that was read, the names of its folders.
    QHash<QByteArray, QSet<QByteArray>> folders;
    // The picture that stands for its folder: cover.jpg, folder.png and the like.
    QHash<QByteArray, Picture> pictures;
    // Of each list of stations.
    QHash<QByteArray, QVector<Station>> playlists;
    // Pictures in the folder "covers" of the root, by their names without ending.
    QHash<QByteArray, QByteArray> namedCovers;
    // Folders that could not be read.
    QSet<QByteArray> unread;

    // Whether the file must have been found if it were there.
    bool isGone(const QByteArray& path) const;
};

// Reads folders of the library. Hidden files, special files and links that lead out of the root or
// to folders are ignored. To be used on a thread that may wait for disks.
class FolderWalk {
public:
    // More than a small device can keep in memory, and a bound for a root like "/".
    static constexpr int maximumTracks = 200000;
    // Folders within each other. More is a mistake, such as a copy into itself.
    static constexpr int maximumDepth = 32;

    // Called before a folder is read, with the number of tracks so far; the walk ends when it
    // returns false.
    using Visitor = std::function<bool(const QByteArray& folder, int found)>;

    // The folder of the root with pictures that are named like tracks.
    static QByteArray coversFolder() { return QByteArrayLiteral("covers"); }

    FolderWalk(const QByteArray& root, Visitor visitor);

    // Adds the folder to the content, and those below it for which `wanted` is true.
    void read(const QByteArray& folder, const std::function<bool(const QByteArray&)>& wanted);

    const FolderContent& content() const { return m_content; }
    // Whether the visitor has ended the walk.
    bool isEnded() const { return m_isEnded; }

private:
    void addEntry(int directory, const QByteArray& folder, const QByteArray& name,
                  QSet<QByteArray>* folders);
    void addFile(const QByteArray& path, const QByteArray& folder, const QByteArray& name,
                 const FolderContent::File& file);
    bool leadsOut(const QByteArray& path) const;

    QByteArray m_root;
    QByteArray m_canonicalRoot;
    Visitor m_visitor;
    FolderContent m_content;
    bool m_isEnded = false;
};
