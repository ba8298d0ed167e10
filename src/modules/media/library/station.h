// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <QVector>

// A radio station. Its URL is one of http or https.
struct Station {
    QString title; // the URL's host without one
    QString url;
    QString picture; // a URL; empty without one
    // Whether it comes from a list that clients may not read.
    bool isInternal = false;

    // Of the URL, so that it stays the same as long as the station does.
    QString id() const;

    bool operator==(const Station& other) const {
        return title == other.title && url == other.url && picture == other.picture;
    }
};

// Reads lists of stations. What is no station, such as the name of a file, is left out.
namespace Stations {

// Further stations of a list are ignored: more than anybody looks through.
constexpr int maximumStations = 1000;

// Objects with "title", "url" and "picture".
QVector<Station> fromSetting(const QVariantList& list, bool isInternal);
// The content of an .m3u or .pls file.
QVector<Station> fromPlaylist(const QByteArray& content);

} // namespace Stations
