// SPDX-License-Identifier: MIT
#include "trackgenerator.h"

#include "core/dbglog.h"
#include "melody.h"
#include "wavformat.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QTimer>
#include <QtEndian>

#include <algorithm>

namespace {

struct Track {
    QString name;
    QString title;
    QString artist;
    int hue;
    int noteMs;
    int repeats;
    QVector<int> semitones;
};

const QVector<Track>& tracks() {
    constexpr int _ = Melody::rest;
    static const QVector<Track> list{
        {"morning-tide",
         "Morning Tide",
         "Harbour Lights",
         200,
         400,
         2,
         {0, 4, 7, 12, 11, 7, 4, 7, 2, 5, 9, 14, 12, 9, 5, _}},
        {"paper-boats",
         "Paper Boats",
         "Harbour Lights",
         165,
         300,
         3,
         {7, 9, 12, 9, 7, 4, 2, _, 4, 7, 9, 7, 4, 2, 0, _}},
        {"copper-sky",
         "Copper Sky",
         "Northern Row",
         25,
         500,
         2,
         {-3, 0, 4, 9, 8, 4, 0, _, -5, -1, 2, 7, 5, 2, -1, _}},
        {"late-tram",
         "Late Tram",
         "Northern Row",
         280,
         250,
         4,
         {0, 3, 7, 10, 0, 3, 7, 10, -2, 2, 5, 10, -2, 2, 5, _}},
        {"first-frost",
         "First Frost",
         "The Quiet Yard",
         215,
         600,
         2,
         {12, 16, 19, _, 17, 16, 12, _, 14, 17, 21, _, 19, 14}},
        {"lamp-room",
         "The Lamp Room",
         "The Quiet Yard",
         45,
         350,
         3,
         {5, _, 9, 12, _, 9, 5, _, 3, _, 7, 10, _, 7, 3, _}},
    };
    return list;
}

QByteArray samples(const Track& track) {
    const Melody melody(track.semitones, track.noteMs);
    const qint64 count = melody.samplesOnce() * track.repeats;
    const qint64 fade = Melody::sampleRate / 2;
    QByteArray bytes(int(count * Melody::bytesPerSample), Qt::Uninitialized);
    for (qint64 i = 0; i < count; ++i) {
        const qint64 toEdge = std::min({i, count - 1 - i, fade});
        qToLittleEndian(qint16(melody.sample(i) * toEdge / fade),
                        bytes.data() + i * Melody::bytesPerSample);
    }
    return bytes;
}

QByteArray wav(const Track& track) {
    const QByteArray body = samples(track);
    const WavFormat::Info info{0, track.title, track.artist};
    return WavFormat::header(Melody::sampleRate, quint32(body.size()), info) + body;
}

// A picture of a sky, a disc at the height of the tune's first note, and its notes as hills.
QByteArray cover(const Track& track) {
    QString hills;
    int x = 0;
    const int width = 400 / track.semitones.size() + 1;
    for (const int semitone : track.semitones) {
        const int height = semitone == Melody::rest ? 40 : 80 + 6 * semitone;
        hills += QStringLiteral("<rect x='%1' y='%2' width='%3' height='%4'/>")
                     .arg(x)
                     .arg(400 - height)
                     .arg(width)
                     .arg(height);
        x += width;
    }
    return QStringLiteral("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 400 400'>"
                          "<linearGradient id='sky' x2='0' y2='1'>"
                          "<stop stop-color='hsl(%1,55%,30%)'/>"
                          "<stop offset='1' stop-color='hsl(%2,65%,70%)'/></linearGradient>"
                          "<rect width='400' height='400' fill='url(#sky)'/>"
                          "<circle cx='290' cy='%3' r='48' fill='hsl(%2,90%,88%)'/>"
                          "<g fill='hsl(%1,45%,18%)'>%4</g></svg>\n")
        .arg(track.hue)
        .arg((track.hue + 40) % 360)
        .arg(150 - 4 * track.semitones.first())
        .arg(hills)
        .toUtf8();
}

void save(const QString& path, const QByteArray& content) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit())
        dbglog_error("Cannot write " << path << ": " << file.errorString());
}

} // namespace

TrackGenerator::TrackGenerator(const QString& folder, QObject* parent)
    : QObject(parent), m_folder(folder) {}

void TrackGenerator::start() {
    if (!QDir().mkpath(m_folder + QStringLiteral("/covers")))
        dbglog_error("Cannot make " << m_folder);
    makeMissing();
}

void TrackGenerator::makeMissing() {
    while (m_next < tracks().size()) {
        const Track& track = tracks().at(m_next++);
        const QString audio = m_folder + '/' + track.name + QStringLiteral(".wav");
        const QString picture =
            m_folder + QStringLiteral("/covers/") + track.name + QStringLiteral(".svg");
        if (!QFileInfo::exists(picture))
            save(picture, cover(track));
        if (QFileInfo::exists(audio))
            continue;
        save(audio, wav(track));
        QTimer::singleShot(0, this, &TrackGenerator::makeMissing);
        return;
    }
    Q_EMIT finished();
}
