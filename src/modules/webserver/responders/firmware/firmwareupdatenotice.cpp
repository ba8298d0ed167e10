// SPDX-License-Identifier: MIT
#include "responders/firmware/firmwareupdatenotice.h"

#include "core/dbglog.h"
#include "core/plixurl.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

const QString lengthItem = QStringLiteral("length");
const QString sha256Item = QStringLiteral("sha256");

// A double represents every integer of 15 digits exactly, and JSON parsers use doubles.
constexpr int maximumDigits = 15;

// The updater may run as another user. The file contains no secrets.
constexpr QFile::Permissions permissions =
    QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther;

bool matches(const QString& text, const QString& pattern) {
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(text).hasMatch();
}

} // namespace

std::optional<FirmwareUpdateExpectation> FirmwareUpdateExpectation::fromUrl(const PlixUrl& url) {
    FirmwareUpdateExpectation expectation;
    if (url.hasQueryItem(lengthItem)) {
        const QString length = url.queryItemValue(lengthItem);
        if (!matches(length, QStringLiteral("[0-9]{1,%1}").arg(maximumDigits)))
            return {};
        expectation.length = length.toLongLong();
    }
    if (url.hasQueryItem(sha256Item)) {
        expectation.sha256 = url.queryItemValue(sha256Item).toLower();
        if (!matches(expectation.sha256, QStringLiteral("[0-9a-f]{64}")))
            return {};
    }
    return expectation;
}

FirmwareUpdateNotice::FirmwareUpdateNotice(const QString& fifo,
                                           const FirmwareUpdateExpectation& expectation)
    : m_fileName(fifo + QStringLiteral(".expected")), m_expectation(expectation) {
    write(false);
}

FirmwareUpdateNotice::~FirmwareUpdateNotice() {
    if (m_autoRemove)
        QFile::remove(m_fileName);
}

// Written under another name and renamed, so that the updater never reads an incomplete file, and a
// symbolic link at this place is replaced and not followed.
void FirmwareUpdateNotice::write(bool complete) const {
    QJsonObject notice{{QStringLiteral("complete"), complete}};
    if (m_expectation.length >= 0)
        notice.insert(lengthItem, m_expectation.length);
    if (!m_expectation.sha256.isEmpty())
        notice.insert(sha256Item, m_expectation.sha256);
    const QByteArray bytes = QJsonDocument(notice).toJson(QJsonDocument::Compact) + '\n';
    QTemporaryFile file(m_fileName + QStringLiteral(".XXXXXX"));
    const bool isWritten = file.open() && file.write(bytes) == bytes.size() && file.flush() &&
                           file.setPermissions(permissions) &&
                           std::rename(QFile::encodeName(file.fileName()).constData(),
                                       QFile::encodeName(m_fileName).constData()) == 0;
    if (isWritten)
        file.setAutoRemove(false);
    else
        dbglog_warning("Cannot write the notice for the firmware updater: " << m_fileName << ": "
                                                                            << file.errorString());
}
