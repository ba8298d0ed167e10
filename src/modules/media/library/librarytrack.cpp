// SPDX-License-Identifier: MIT
#include "librarytrack.h"

#include "filenames.h"
#include "searchtext.h"

namespace {

std::optional<double> decimal(const QVariantHash& record, const char* name) {
    const QVariant value = record.value(QLatin1String(name));
    return value.isValid() ? std::optional<double>(value.toDouble()) : std::nullopt;
}

} // namespace

void LibraryTrack::setTags(const QVariantHash& record) {
    const auto text = [&](const char* name) {
        return record.value(QLatin1String(name)).toString();
    };
    const auto number = [&](const char* name) {
        return record.value(QLatin1String(name)).toLongLong();
    };
    state = record.contains(QStringLiteral("failed")) ? State::Unreadable : State::Read;
    fingerprint = text("fingerprint").toLatin1();
    title = text("title");
    artist = text("artist");
    albumArtist = text("albumArtist");
    album = text("album");
    genre = text("genre");
    year = int(number("year"));
    track = int(number("track"));
    disc = int(number("disc"));
    durationMs = number("duration");
    trackGain = decimal(record, "trackGain");
    trackPeak = decimal(record, "trackPeak");
    albumGain = decimal(record, "albumGain");
    albumPeak = decimal(record, "albumPeak");
    cover = text("cover").toLatin1();
}

void LibraryTrack::prepare() {
    if (title.isEmpty())
        title = FileNames::toText(FileNames::baseOf(FileNames::nameOf(path)));
    searched = searchText(title + '\n' + artist + '\n' + albumArtist + '\n' + album);
}
