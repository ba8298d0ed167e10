// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QHashFunctions>
#include <QMetaType>
#include <QString>

#include <iosfwd>

// A data-model path. Its text, the encoded form, is the worker's name, a colon and the path within
// that worker: "player:player/volume". A path that begins with "/" names no worker.
class PLIX_EXPORT CMPath {
public:
    CMPath() = default;
    static CMPath fromEncoded(const QString& encoded) { return CMPath(encoded); }
    const QString& toEncoded() const { return m_encoded; }

    bool isEmpty() const { return m_encoded.isEmpty(); }
    // The part before the first colon; empty when the path names no worker.
    QString worker() const;

    bool operator==(const CMPath& other) const { return m_encoded == other.m_encoded; }
    bool operator!=(const CMPath& other) const { return m_encoded != other.m_encoded; }

private:
    explicit CMPath(const QString& encoded) : m_encoded(encoded) {}

    QString m_encoded;
};

// An uint with Qt 5, a size_t with Qt 6.
inline auto qHash(const CMPath& path, uint seed = 0) {
    return qHash(path.toEncoded(), seed);
}

PLIX_EXPORT std::ostream& operator<<(std::ostream& stream, const CMPath& path);

Q_DECLARE_METATYPE(CMPath)
