// SPDX-License-Identifier: MIT
#include "core/model/cmpath.h"

#include "core/dbglog.h"

QString CMPath::worker() const {
    if (m_encoded.startsWith(QLatin1Char('/')))
        return QString();
    return m_encoded.left(qMax(0, m_encoded.indexOf(QLatin1Char(':'))));
}

std::ostream& operator<<(std::ostream& stream, const CMPath& path) {
    return stream << path.toEncoded();
}
