#include "mediafolder.h"

#include "core/dbglog.h"
#include "wavformat.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace {

const QStringList& audioExtensions() {
    static const QStringList list{"wav", "mp3", "flac", "ogg", "oga", "opus", "m4a", "aac"};
    return list;
}

const QStringList& pictureExtensions() {
    static const QStringList list{"svg", "png", "jpg", "jpeg"};
    return list;
}

QString coversPrefix() {
    return QStringLiteral("covers/");
}

} // namespace

QVector<MediaFolder::Track> MediaFolder::tracks() const {
    QVector<Track> list;
    if (m_path.isEmpty())
        return list;
    const QStringList names = QDir(m_path).entryList(QDir::Files, QDir::Name);
    for (const QString& name : names) {
        if (findIn(m_path, name, audioExtensions()).isNull())
            continue;
        if (list.size() == maximumTracks) {
            dbglog_warning("Only the first " << maximumTracks << " files of " << m_path);
            break;
        }
        list.append(track(name));
    }
    std::stable_sort(list.begin(), list.end(), [](const Track& left, const Track& right) {
        return left.title.compare(right.title, Qt::CaseInsensitive) < 0;
    });
    return list;
}

QString MediaFolder::find(const QString& name) const {
    if (!name.startsWith(coversPrefix()))
        return findIn(m_path, name, audioExtensions());
    return findIn(m_path + '/' + coversPrefix(), name.mid(coversPrefix().size()),
                  pictureExtensions());
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

MediaFolder::Track MediaFolder::track(const QString& fileName) const {
    QFile file(m_path + '/' + fileName);
    WavFormat::Info info;
    if (fileName.endsWith(QLatin1String(".wav"), Qt::CaseInsensitive) &&
        file.open(QIODevice::ReadOnly))
        info = WavFormat::read(file).value_or(info);
    if (info.title.isEmpty())
        info.title = QFileInfo(fileName).completeBaseName();
    return {fileName, info.title, info.artist, coverOf(fileName), info.durationMs};
}

QString MediaFolder::coverOf(const QString& fileName) const {
    const QString name = QFileInfo(fileName).completeBaseName() + '.';
    for (const QString& extension : pictureExtensions()) {
        if (!find(coversPrefix() + name + extension).isNull())
            return name + extension;
    }
    return {};
}
