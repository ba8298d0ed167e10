// SPDX-License-Identifier: MIT
#include "trackfinder.h"

#include "core/model/cmroles.h"
#include "core/model/cmroot.h"

#include <QFile>
#include <QFileInfo>

namespace {

CMPath mediaPath() {
    return CMPath::fromEncoded(QStringLiteral("media:/"));
}

const QString notThere = QStringLiteral("It is not there any more");

void locateFile(const QString& path, QObject* context,
                const std::function<void(const QString& uri, const QString& reason)>& found) {
    TrackFinder::askForSound(path, {}, context,
                             [found](const PlixHttpRequestReply& answer, const CMError& error) {
                                 if (error || answer.status() == 404)
                                     return found({}, notThere);
                                 if (answer.localFile().isEmpty())
                                     return found(TrackFinder::producedUri(), {});
                                 if (!QFileInfo::exists(answer.localFile()))
                                     return found({}, notThere);
                                 found(TrackFinder::fileUri(answer.localFile()), {});
                             });
}

// The track has the path that is the node's value.
void readNode(const QString& path, QObject* context,
              const std::function<void(const PlayerTrack& track, const QString& type,
                                       const CMError& error)>& found) {
    const CMReply<QVariantList> data;
    data.onFinished(context, [found](const CMReply<QVariantList>& finished) {
        if (const CMError error = finished.error())
            return found({}, {}, error);
        const PlayerTrack track = PlayerTrack::fromValues(finished.value().mid(1));
        if (track.isInternal)
            return found({}, {},
                         CMError::fromName(QStringLiteral("setData failed"),
                                           QStringLiteral("Node is internal")));
        found(track, finished.value().value(0).toString(), {});
    });
    CMRoot()->getData(CMPath::fromEncoded(path),
                      QStringList(PlixRoles::Type()) + PlayerTrack::roles(), data);
}

CMError noTrack() {
    return CMError::fromName(CMErrorNames::typeMismatch(),
                             QStringLiteral("The path names no track"));
}

} // namespace

QString TrackFinder::trackType() {
    return QStringLiteral("audio");
}

bool TrackFinder::isRemote(const QString& uri) {
    return uri.startsWith(QLatin1String("http://")) || uri.startsWith(QLatin1String("https://"));
}

QString TrackFinder::producedUri() {
    return QStringLiteral("pipe:");
}

QString TrackFinder::fileUri(const QString& fileName) {
    return QStringLiteral("file://") +
           QString::fromLatin1(QFile::encodeName(fileName).toPercentEncoding("/"));
}

void TrackFinder::askForSound(
    const QString& path, const QString& pipe, QObject* context,
    const std::function<void(const PlixHttpRequestReply& answer, const CMError& error)>& done) {
    PlixHttpRequestData data;
    data.setVariable(QStringLiteral("REQUEST_METHOD"), QStringLiteral("GET"));
    data.setVariable(QStringLiteral("QUERY_STRING"), QString());
    PlixHttpRequest request;
    request.setData(data);
    request.setPipe(pipe);
    const CMReply<QVariant> reply;
    reply.onFinished(context, [done](const CMReply<QVariant>& finished) {
        done(PlixHttpRequestReply(finished.value().toHash()), finished.error());
    });
    CMRoot()->setData(CMPath::fromEncoded(path), PlixRoles::HttpRequest(), request.__variant(),
                      reply);
}

void TrackFinder::locate(
    const QString& path, QObject* context,
    const std::function<void(const QString& uri, const QString& reason)>& found) {
    if (isRemote(path))
        return found(path, {});
    const CMReply<QVariantList> data;
    data.onFinished(context, [path, context, found](const CMReply<QVariantList>& finished) {
        if (finished.error())
            return found({}, notThere);
        const QString value = PlixValue(finished.value().value(0).toHash()).string_();
        if (isRemote(value))
            return found(value, {});
        locateFile(path, context, found);
    });
    CMRoot()->getData(CMPath::fromEncoded(path), {PlixRolesType::Value()}, data);
}

void TrackFinder::findNode(const QString& path, QObject* context,
                           const std::function<void(const PlayerTrack& track, const QString& type,
                                                    const CMError& error)>& found) {
    readNode(path, context,
             [path, found](PlayerTrack track, const QString& type, const CMError& error) {
                 track.path = path;
                 found(track, type, error);
             });
}

void TrackFinder::find(
    const QString& path, QObject* context,
    const std::function<void(const PlayerTrack& track, const CMError& error)>& found) {
    findNode(path, context,
             [found](const PlayerTrack& track, const QString& type, const CMError& error) {
                 found(track, error || type == trackType() ? error : noTrack());
             });
}

void TrackFinder::findPresent(
    const QString& path, QObject* context,
    const std::function<void(const PlayerTrack& track, const CMError& error)>& found) {
    readNode(path, context,
             [path, found](PlayerTrack track, const QString& type, const CMError& error) {
                 if (track.path.isEmpty() || isRemote(track.path))
                     track.path = path;
                 found(track, error || type == trackType() ? error : noTrack());
             });
}

void TrackFinder::findAll(int maximum, QObject* context,
                          const std::function<void(const QVector<PlayerTrack>& tracks)>& found) {
    if (!CMRoot())
        return;
    const CMReply<PlixRowsRoles> reply;
    reply.onFinished(context, [found](const CMReply<PlixRowsRoles>& finished) {
        if (finished.error())
            return;
        QVector<PlayerTrack> tracks;
        const QVariantList rows = finished.value().rows().toList();
        for (const QVariant& values : rows) {
            const PlayerTrack track = PlayerTrack::fromValues(values.toList());
            if (!track.isInternal)
                tracks.append(track);
        }
        found(tracks);
    });
    CMRoot()->getRows(mediaPath(), 0, maximum - 1, -1, PlayerTrack::roles(), reply);
}

void TrackFinder::follow(QObject* receiver, const char* slot) {
    CMRoot()->connectRowsChange(mediaPath(), receiver, slot);
}
