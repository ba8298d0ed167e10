// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantHash>

#include <memory>
#include <optional>

// An audio file of the library. Objects are shared between catalogues and do not change once they
// are in one.
struct LibraryTrack {
    enum class State {
        Read,
        // Offered by its name, because a player may know more formats.
        Unreadable,
        // It made the program crash or hang; not offered.
        Skipped,
    };

    // Stays with the file, also when it is moved.
    qint64 id = 0;
    // Relative to the library's folder.
    QByteArray path;
    qint64 size = 0;
    qint64 modifiedNs = 0;
    State state = State::Read;
    // When it was found first, in seconds since 1970.
    qint64 added = 0;
    QByteArray fingerprint;

    QString title; // the file's name without a tag
    QString artist;
    QString albumArtist;
    QString album;
    QString genre; // several are joined by "; "
    // 0 when unknown.
    int year = 0;
    int track = 0;
    int disc = 0;
    qint64 durationMs = 0;
    // ReplayGain: decibels and samples.
    std::optional<double> trackGain;
    std::optional<double> trackPeak;
    std::optional<double> albumGain;
    std::optional<double> albumPeak;
    // The hash of the picture in the file, or the name of a picture in the folder "covers"; empty
    // without one.
    QByteArray cover;

    // The title, artists and album for searches, each in a line. From prepare().
    QByteArray searched;

    // Takes over what the program plix-media-scan prints.
    void setTags(const QVariantHash& record);
    // Completes what derives from the other members.
    void prepare();
};

using LibraryTrackPtr = std::shared_ptr<const LibraryTrack>;
