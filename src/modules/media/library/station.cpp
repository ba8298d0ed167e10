// SPDX-License-Identifier: MIT
#include "station.h"

#include "stableid.h"

#include <QMap>
#include <QUrl>

namespace {

QString usableUrl(const QString& text) {
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    const bool isWeb =
        url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
    return isWeb && !url.host().isEmpty() ? text.trimmed() : QString();
}

void add(const QString& title, const QString& url, QVector<Station>* list) {
    const QString usable = usableUrl(url);
    if (usable.isEmpty() || list->size() >= Stations::maximumStations)
        return;
    list->append({title.isEmpty() ? QUrl(usable).host() : title, usable, {}});
}

QVector<Station> fromPls(const QStringList& lines) {
    QMap<int, QString> titles;
    QMap<int, QString> urls;
    for (const QString& line : lines) {
        const QString key = line.section('=', 0, 0).trimmed().toLower();
        const QString value = line.section('=', 1).trimmed();
        if (key.startsWith(QLatin1String("file")))
            urls.insert(key.mid(4).toInt(), value);
        else if (key.startsWith(QLatin1String("title")))
            titles.insert(key.mid(5).toInt(), value);
    }
    QVector<Station> list;
    for (auto url = urls.cbegin(); url != urls.cend(); ++url)
        add(titles.value(url.key()), *url, &list);
    return list;
}

QVector<Station> fromM3u(const QStringList& lines) {
    QVector<Station> list;
    QString title;
    for (const QString& line : lines) {
        if (line.startsWith(QLatin1String("#EXTINF:")))
            title = line.section(',', 1).trimmed();
        if (line.startsWith('#') || line.trimmed().isEmpty())
            continue;
        add(title, line, &list);
        title.clear();
    }
    return list;
}

} // namespace

QString Station::id() const {
    return stableId(url.toUtf8());
}

QVector<Station> Stations::fromSetting(const QVariantList& list, bool isInternal) {
    QVector<Station> stations;
    for (const QVariant& entry : list) {
        const QVariantHash record = entry.toHash();
        const int before = stations.size();
        add(record.value(QStringLiteral("title")).toString(),
            record.value(QStringLiteral("url")).toString(), &stations);
        if (stations.size() == before)
            continue;
        stations.last().picture = usableUrl(record.value(QStringLiteral("picture")).toString());
        stations.last().isInternal = isInternal;
    }
    return stations;
}

QVector<Station> Stations::fromPlaylist(const QByteArray& content) {
    const QStringList lines =
        QString::fromUtf8(content).replace('\r', '\n').split('\n', Qt::SkipEmptyParts);
    const bool isPls =
        !lines.isEmpty() &&
        lines.first().trimmed().compare(QLatin1String("[playlist]"), Qt::CaseInsensitive) == 0;
    return isPls ? fromPls(lines) : fromM3u(lines);
}
