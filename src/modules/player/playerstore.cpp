// SPDX-License-Identifier: MIT
#include "playerstore.h"

#include "core/dbglog.h"
#include "core/plixjson.h"

#include <QFile>

#include <cstdio>

namespace {

void save(const QString& fileName, const QByteArray& content) {
    const QString error = PlayerStore::write(fileName, content);
    if (!error.isEmpty())
        dbglog_error("Not kept: " << fileName << ": " << error);
}

} // namespace

// Does not wait for the disk, as QSaveFile does: a memory card takes long enough for it to hold up
// the whole device. When the power fails, file systems have the old file or the new one.
QString PlayerStore::write(const QString& fileName, const QByteArray& content) {
    const QString written = fileName + QStringLiteral(".new");
    QFile file(written);
    const bool isWritten = file.open(QIODevice::WriteOnly) &&
                           file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) &&
                           file.write(content) == content.size() && file.flush();
    file.close();
    if (isWritten && std::rename(QFile::encodeName(written).constData(),
                                 QFile::encodeName(fileName).constData()) == 0)
        return {};
    const QString error = isWritten ? qt_error_string() : file.errorString();
    file.remove();
    return error;
}

QString PlayerStore::fileName(const char* name) const {
    return m_folder + '/' + QLatin1String(name);
}

QVariantHash PlayerStore::values() const {
    QFile file(fileName("player.json"));
    if (m_folder.isEmpty() || !file.open(QIODevice::ReadOnly))
        return {};
    PlixError error;
    return PlixJson::parse(file.readAll(), error).toHash();
}

void PlayerStore::keepValues(const QVariantHash& values) {
    if (m_folder.isEmpty() || values == m_kept)
        return;
    m_kept = values;
    save(fileName("player.json"), PlixJson::serialize(values));
}

// One line for each row, because a text of JSON may not have as many values as a full queue has.
std::optional<QVector<PlayerTrack>> PlayerStore::queue() const {
    QFile file(fileName("player-queue.jsonl"));
    if (m_folder.isEmpty() || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QVector<PlayerTrack> tracks;
    while (!file.atEnd()) {
        PlixError error;
        const QVariantHash row = PlixJson::parse(file.readLine(), error).toHash();
        if (error.isEmpty())
            tracks.append(PlayerTrack::fromKept(row));
    }
    return tracks;
}

void PlayerStore::keepQueue(const QVector<PlayerTrack>& tracks) const {
    if (m_folder.isEmpty())
        return;
    QByteArray lines;
    for (const PlayerTrack& track : tracks)
        lines += PlixJson::serialize(track.kept()) + '\n';
    save(fileName("player-queue.jsonl"), lines);
}
