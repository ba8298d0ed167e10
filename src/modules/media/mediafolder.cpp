// SPDX-License-Identifier: MIT
#include "mediafolder.h"

#include "core/dbglog.h"
#include "wavformat.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

namespace {

const QStringList& audioExtensions() {
    static const QStringList list{"wav", "mp3", "flac", "ogg", "oga", "opus", "m4a", "aac"};
    return list;
}

const QStringList& pictureExtensions() {
    static const QStringList list{"svg", "png", "jpg", "jpeg"};
    return list;
}

} // namespace

MediaCatalogue::Content MediaFolder::content() const {
    MediaCatalogue::Content content;
    if (m_path.isEmpty())
        return content;
    const QStringList names = QDir(m_path).entryList(QDir::Files, QDir::Name);
    for (const QString& name : names) {
        if (findIn(m_path, name, audioExtensions()).isNull())
            continue;
        if (content.tracks.size() == maximumTracks) {
            dbglog_warning("Only the first " << maximumTracks << " files of " << m_path);
            break;
        }
        content.tracks.push_back(std::make_shared<const LibraryTrack>(track(name)));
    }
    return content;
}

QString MediaFolder::findCover(const QString& name) const {
    return findIn(m_path + QStringLiteral("/covers/"), name, pictureExtensions());
}

QString MediaFolder::findIn(const QString& folder, const QString& fileName,
                            const QStringList& extensions) const {
    if (m_path.isEmpty() || fileName.startsWith('.') || fileName.contains('/') ||
        fileName.contains(QChar::Null))
        return {};
    const QFileInfo file(QDir(folder), fileName);
    const bool isInside = file.isFile() && QFileInfo(file.canonicalFilePath()).path() ==
                                               QFileInfo(folder).canonicalFilePath();
    return isInside && extensions.contains(file.suffix().toLower()) ? file.absoluteFilePath()
                                                                    : QString();
}

LibraryTrack MediaFolder::track(const QString& fileName) const {
    QFile file(m_path + '/' + fileName);
    WavFormat::Info info;
    if (fileName.endsWith(QLatin1String(".wav"), Qt::CaseInsensitive) &&
        file.open(QIODevice::ReadOnly))
        info = WavFormat::read(file).value_or(info);
    LibraryTrack track;
    track.path = QFile::encodeName(fileName);
    track.added = file.fileTime(QFileDevice::FileModificationTime).toSecsSinceEpoch();
    track.title = info.title;
    track.artist = info.artist;
    track.durationMs = info.durationMs;
    track.cover = coverOf(fileName);
    track.prepare();
    return track;
}

QByteArray MediaFolder::coverOf(const QString& fileName) const {
    const QString name = QFileInfo(fileName).completeBaseName() + '.';
    for (const QString& extension : pictureExtensions()) {
        if (!findCover(name + extension).isNull())
            return QFile::encodeName(name + extension);
    }
    return {};
}
