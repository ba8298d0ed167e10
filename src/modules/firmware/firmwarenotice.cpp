// SPDX-License-Identifier: MIT
#include "firmwarenotice.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QString noticeOf(const QString& fifo) {
    return fifo + QStringLiteral(".expected");
}

} // namespace

QString objectionTo(const QString& fifo, qint64 size, const QString& sha256) {
    QFile file(noticeOf(fifo));
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("there is no notice that it is complete");
    const QJsonObject notice = QJsonDocument::fromJson(file.readAll()).object();
    if (!notice.value(QLatin1String("complete")).toBool())
        return QStringLiteral("the upload broke off");
    const auto length = static_cast<qint64>(
        notice.value(QLatin1String("length")).toDouble(static_cast<double>(size)));
    if (length != size)
        return QStringLiteral("its length was announced as %1 bytes, not %2").arg(length).arg(size);
    const QString digest = notice.value(QLatin1String("sha256")).toString(sha256);
    if (digest != sha256)
        return QStringLiteral("its SHA-256 was announced as %1, not %2").arg(digest, sha256);
    return {};
}

void removeNotice(const QString& fifo) {
    QFile::remove(noticeOf(fifo));
}
