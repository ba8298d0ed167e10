// SPDX-License-Identifier: MIT
#pragma once

#include "playertrack.h"

#include <QVariantHash>
#include <QVector>

#include <optional>

// The files in which the player keeps what is to survive a restart. Files are replaced atomically,
// and can be read by their owner only. Without a folder nothing is kept.
class PlayerStore {
public:
    // `folder` is the state directory; empty for none.
    explicit PlayerStore(const QString& folder) : m_folder(folder) {}

    // Small values: volume, position and the like. Empty when nothing has been kept.
    QVariantHash values() const;
    // Does nothing when they are as they were the last time.
    void keepValues(const QVariantHash& values);
    // Empty when none has been kept.
    std::optional<QVector<PlayerTrack>> queue() const;
    void keepQueue(const QVector<PlayerTrack>& tracks) const;

    // Replaces the file, or makes it. The error in plain words; empty when it was written.
    static QString write(const QString& fileName, const QByteArray& content);

private:
    QString fileName(const char* name) const;

    QString m_folder;
    QVariantHash m_kept;
};
