#include "trackfinder.h"

#include "core/model/cmroles.h"
#include "core/model/cmroot.h"

namespace {

CMPath mediaPath() {
    return CMPath::fromEncoded(QStringLiteral("media:/"));
}

} // namespace

void TrackFinder::find(
    const QString& path, QObject* context,
    const std::function<void(const PlayerTrack& track, const CMError& error)>& found) {
    const CMReply<QVariantList> data;
    data.onFinished(context, [path, found](const CMReply<QVariantList>& finished) {
        if (const CMError error = finished.error())
            return found({}, error);
        PlayerTrack track = PlayerTrack::fromValues(finished.value().mid(1));
        if (track.isInternal)
            return found({}, CMError::fromName(QStringLiteral("setData failed"),
                                               QStringLiteral("Node is internal")));
        if (finished.value().value(0) != QLatin1String("audio"))
            return found({}, CMError::fromName(CMErrorNames::typeMismatch(),
                                               QStringLiteral("The path names no track")));
        track.path = path;
        found(track, {});
    });
    CMRoot()->getData(CMPath::fromEncoded(path),
                      QStringList(PlixRoles::Type()) + PlayerTrack::roles(), data);
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
