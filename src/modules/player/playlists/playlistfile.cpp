// SPDX-License-Identifier: MIT
#include "playlistfile.h"

#include "trackfinder.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace {

const QByteArray byteOrderMark = QByteArrayLiteral("\xEF\xBB\xBF");
const QByteArray headerLine = QByteArrayLiteral("#EXTM3U");
const QByteArray titleMark = QByteArrayLiteral("#PLAYLIST:");
const QByteArray trackMark = QByteArrayLiteral("#EXTINF:");
const QString artistEnd = QStringLiteral(" - ");

// The name of a worker, a colon and something within that worker: "media:/x", not "file://x" or
// "one: two".
bool isNodePath(const QString& text) {
    const int colon = text.indexOf(':');
    const bool isWorker = colon > 0 && std::all_of(text.begin(), text.begin() + colon,
                                                   [](QChar c) { return c >= 'a' && c <= 'z'; });
    const QStringView within = QStringView(text).mid(colon + 1);
    return isWorker && !within.isEmpty() && !within.front().isSpace() &&
           !within.startsWith(QLatin1String("//"));
}

QString encoded(QString path) {
    return path.replace('%', QLatin1String("%25"))
        .replace('\n', QLatin1String("%0A"))
        .replace('\r', QLatin1String("%0D"));
}

QString decoded(QString text) {
    return text.replace(QLatin1String("%0D"), QLatin1String("\r"))
        .replace(QLatin1String("%0A"), QLatin1String("\n"))
        .replace(QLatin1String("%25"), QLatin1String("%"));
}

QByteArray inOneLine(const QString& text) {
    return text.simplified().toUtf8();
}

} // namespace

PlaylistFile::PlaylistFile(const QByteArray& content, const QString& musicFolder)
    : m_musicFolder(musicFolder), m_lines(content.split('\n')) {
    if (m_lines.first().startsWith(byteOrderMark))
        m_lines.first().remove(0, byteOrderMark.size());
    int description = -1;
    for (int i = 0; i < m_lines.size(); ++i) {
        QByteArray line = m_lines.at(i);
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.startsWith(titleMark))
            m_title = i;
        else if (line.startsWith(trackMark))
            description = i;
        else if (!line.startsWith('#') && !pathOf(line).isEmpty())
            m_entries.append({i, std::exchange(description, -1)});
    }
}

QString PlaylistFile::title() const {
    return m_title < 0 ? QString()
                       : QString::fromUtf8(m_lines.at(m_title).mid(titleMark.size())).trimmed();
}

QString PlaylistFile::pathOf(const QByteArray& line) const {
    const QString text = QString::fromUtf8(line);
    if (TrackFinder::isRemote(text) || text.trimmed().isEmpty())
        return text.trimmed();
    if (isNodePath(text))
        return decoded(text);
    QString name = text.startsWith(QLatin1String("./")) ? text.mid(2) : text;
    if (!m_musicFolder.isEmpty() && name.startsWith(m_musicFolder + '/'))
        name.remove(0, m_musicFolder.size() + 1);
    const bool isElsewhere = name.startsWith('/') || name.contains(QLatin1String("://"));
    return isElsewhere ? QString() : QStringLiteral("media:/") + name;
}

PlayerTrack PlaylistFile::track(int index) const {
    const Entry& entry = m_entries.at(index);
    QByteArray line = m_lines.at(entry.line);
    if (line.endsWith('\r'))
        line.chop(1);
    PlayerTrack track;
    track.path = pathOf(line);
    if (entry.description >= 0) {
        const QString described =
            QString::fromUtf8(m_lines.at(entry.description).mid(trackMark.size()));
        const QString names = described.section(',', 1).trimmed();
        const int artistLength = names.indexOf(artistEnd);
        track.artist = names.left(std::max(artistLength, 0));
        track.title = artistLength < 0 ? names : names.mid(artistLength + artistEnd.size());
        // Further attributes may follow the number.
        const QString seconds = described.section(',', 0, 0).section(' ', 0, 0);
        track.durationMs = std::max<qint64>(0, qint64(seconds.toDouble() * 1000));
    }
    if (track.title.isEmpty())
        track.title = TrackFinder::isRemote(track.path) ? track.path
                                                        : QFileInfo(track.path).completeBaseName();
    return track;
}

QByteArray PlaylistFile::withTitle(const QString& title) const {
    QList<QByteArray> lines = m_lines;
    const QByteArray line = titleMark + inOneLine(title);
    if (m_title >= 0)
        lines[m_title] = line;
    else if (lines.first().trimmed() == headerLine)
        lines.insert(1, line);
    else
        lines = QList<QByteArray>{headerLine, line} + lines;
    return lines.join('\n');
}

QByteArray PlaylistFile::make(const QString& title, const QVector<PlayerTrack>& tracks) {
    QByteArray content = headerLine + '\n' + titleMark + inOneLine(title) + '\n';
    for (const PlayerTrack& track : tracks) {
        const qint64 seconds = track.durationMs > 0 ? (track.durationMs + 500) / 1000 : -1;
        const QString names =
            track.artist.isEmpty() ? track.title : track.artist + artistEnd + track.title;
        content += trackMark + QByteArray::number(seconds) + ',' + inOneLine(names) + '\n';
        content += (TrackFinder::isRemote(track.path) ? track.path : encoded(track.path)).toUtf8();
        content += '\n';
    }
    return content;
}

std::optional<QString> PlaylistTitle::fromText(const QString& text) {
    const QString title = text.trimmed().normalized(QString::NormalizationForm_C);
    const QVector<uint> characters = title.toUcs4();
    const bool isTitle = !title.isEmpty() && characters.size() <= maximumLength &&
                         std::none_of(characters.begin(), characters.end(), [](uint character) {
                             const QChar::Category category = QChar::category(character);
                             return category == QChar::Other_Control ||
                                    category == QChar::Separator_Line ||
                                    category == QChar::Separator_Paragraph;
                         });
    return isTitle ? std::optional(title) : std::nullopt;
}

QString PlaylistTitle::fileName(const QString& title) {
    // Of the 255 that file systems take, with room for a number and endings.
    constexpr int maximumBytes = 200;
    QString name = title;
    name.replace(QRegularExpression(QStringLiteral("[/\\\\:*?\"<>|]|^\\.")), QStringLiteral("_"));
    while (name.toUtf8().size() > maximumBytes || name.at(name.size() - 1).isHighSurrogate())
        name.chop(1);
    return name;
}
