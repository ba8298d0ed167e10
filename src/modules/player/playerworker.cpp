// SPDX-License-Identifier: MIT
#include "playerworker.h"

#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmvalueitem.h"
#include "core/model/cmvalues.h"
#include "core/plixconnect.h"
#include "playerarguments.h"
#include "playerengines.h"
#include "playernodes.h"
#include "trackfinder.h"

#include <QDir>

#include <algorithm>

namespace {

// Clients count on by themselves; this is for those whose clocks run at another speed.
constexpr int tickMs = 10 * 1000;
// Joins changes that follow each other, to save the flash memory.
constexpr int keepDelayMs = 1000;
// What is lost of the position when the power fails.
constexpr int keepTickMs = 60 * 1000;
// The limit of a position in a track of unknown length: a year.
constexpr qint64 maximumPositionMs = 366LL * 24 * 3600 * 1000;

const QString stateDirName = QStringLiteral("stateDir");
// In what is kept.
const QString nodesName = QStringLiteral("nodes");
const QString placeName = QStringLiteral("place");
const QString volumeAtStartName = QStringLiteral("volumeAtStart");

// Whose values survive a restart.
const QStringList& keptNodes() {
    static const QStringList paths{PlayerNodes::volume, PlayerNodes::mute, PlayerNodes::repeat,
                                   PlayerNodes::shuffle};
    return paths;
}

using PlayerArguments::outOfRange;
using PlayerArguments::typeMismatch;

// The person's own; empty while there are only the tracks that come with the device.
QString musicFolder() {
    const CMPath path = CMPath::fromEncoded(QStringLiteral("settings:/media/directory"));
    return CMRoot() ? QDir::cleanPath(PlixValue(CMRoot()->getValue(path).toHash()).string_())
                    : QString();
}

QString playlistFolder(const QVariantHash& config) {
    const QString folder = config.value(stateDirName).toString();
    return folder.isEmpty() ? QString() : folder + QStringLiteral("/playlists");
}

} // namespace

PlayerWorker::PlayerWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("player")),
      m_store(config.value(stateDirName).toString()), m_queue(this, PlayerNodes::queue),
      m_commands(&m_queue), m_collector(PlayQueue::maximumRows),
      m_playlists(this, playlistFolder(config), musicFolder()),
      m_player(&m_queue, makePlayerEngine(config.value(stateDirName).toString())) {
    m_tick.setInterval(tickMs);
    plixConnect(&m_tick, &QTimer::timeout, this, &PlayerWorker::showPosition);
    m_keepTick.setInterval(keepTickMs);
    plixConnect(&m_keepTick, &QTimer::timeout, this, &PlayerWorker::keep);
    m_keep.setSingleShot(true);
    m_keep.setInterval(keepDelayMs);
    plixConnect(&m_keep, &QTimer::timeout, this, &PlayerWorker::keep);

    PlayerNodes::provide(this, actions().keys());
    plixConnect(&m_player, &Player::trackChanged, this,
                [this] { PlayerNodes::showTrack(this, m_player.track()); });
    plixConnect(&m_player, &Player::positionChanged, this, &PlayerWorker::showPosition);
    plixConnect(&m_player, &Player::stateChanged, this, &PlayerWorker::showState);
    plixConnect(&m_player, &Player::errorChanged, this,
                [this](const QString& text) { PlayerNodes::showError(this, text); });

    m_restored = m_store.values();
    if (const auto rows = m_store.queue()) {
        m_isClaimed = true;
        m_queue.fill(*rows);
    }
    m_awaitsMedia = m_queue.isEmpty() && !m_isClaimed && musicFolder().isEmpty();
    restoreValues(config.value(QStringLiteral("overrides")).toStringList());
    restorePlace();

    new CMValueItem(this, CMPath::fromEncoded(QStringLiteral("settings:/player/replayGain")), this,
                    SLOT(on_replayGain_changed(PlixValue)));
    TrackFinder::follow(this, SLOT(on_mediaRows_changed()));
    // Later: the media worker may start after this one.
    QTimer::singleShot(0, this, &PlayerWorker::on_mediaRows_changed);
}

PlayerWorker::~PlayerWorker() {
    keep();
}

// Requests.

void PlayerWorker::getDataRequest(const CMGetDataRequest& request) {
    const QString path = request.path.toEncoded();
    if (path != PlayerNodes::position && path != PlayerNodes::progress)
        return CMNodesWorker::getDataRequest(request);
    // A read returns the exact position, without announcing a change.
    const qint64 position = m_player.position();
    const QVariantHash now = path == PlayerNodes::position
                                 ? PlayerNodes::positionValue(position).__variant().toHash()
                                 : PlayerNodes::progressRecord(position, m_player.isRunning());
    QVariantList values;
    for (const QString& name : request.roles)
        values.append(name == PlixRolesType::Value() ? QVariant(now) : role(path, name));
    request.reply.finish(values);
}

void PlayerWorker::getRowsRequest(const CMGetRowsRequest& request) {
    if (m_playlists.hasRows(request.path.toEncoded()))
        m_playlists.getRows(request);
    else
        CMNodesWorker::getRowsRequest(request);
}

void PlayerWorker::setDataRequest(const CMSetDataRequest& request) {
    const QString path = request.path.toEncoded();
    if (path == PlayerNodes::repeat && request.role == PlixRolesType::Value() &&
        !PlayOrder::repeatNamed(CMValues::scalar(request.value).toString()))
        return request.reply.fail(outOfRange("Repeat is \"off\", \"one\" or \"all\""));
    const Action action = request.role == PlixRoles::Activate() ? actions().value(path) : nullptr;
    if (!action)
        return CMNodesWorker::setDataRequest(request);
    dbglog_debug("Activating " << request.path);
    (this->*action)(request.value, request.reply);
}

const QHash<QString, PlayerWorker::Action>& PlayerWorker::actions() {
    static const QHash<QString, Action> table{
        {QStringLiteral("player:player/play"), &PlayerWorker::play},
        {QStringLiteral("player:player/pause"), &PlayerWorker::act<&Player::pause>},
        {QStringLiteral("player:player/stop"), &PlayerWorker::act<&Player::stop>},
        {QStringLiteral("player:player/next"), &PlayerWorker::act<&Player::next>},
        {QStringLiteral("player:player/previous"), &PlayerWorker::act<&Player::previous>},
        {QStringLiteral("player:player/seek"), &PlayerWorker::seek},
        {QStringLiteral("player:queue/insert"), &PlayerWorker::insert},
        {QStringLiteral("player:queue/load"), &PlayerWorker::load},
        {QStringLiteral("player:queue/remove"), &PlayerWorker::change<&QueueCommands::remove>},
        {QStringLiteral("player:queue/move"), &PlayerWorker::change<&QueueCommands::move>},
        {QStringLiteral("player:queue/clear"), &PlayerWorker::change<&QueueCommands::clear>},
        {QStringLiteral("player:queue/restore"), &PlayerWorker::change<&QueueCommands::restore>},
        {QStringLiteral("player:playlists/save"), &PlayerWorker::savePlaylist},
        {QStringLiteral("player:playlists/rename"),
         &PlayerWorker::changePlaylist<&Playlists::rename>},
        {QStringLiteral("player:playlists/remove"),
         &PlayerWorker::changePlaylist<&Playlists::remove>},
    };
    return table;
}

void PlayerWorker::succeed(const Reply& reply) const {
    reply.finish(role(PlayerNodes::state, PlixRolesType::Value()));
}

template <PlayerWorker::PlayerAction action>
void PlayerWorker::act(const QVariant&, const Reply& reply) {
    (m_player.*action)();
    succeed(reply);
}

void PlayerWorker::play(const QVariant& argument, const Reply& reply) {
    if (PlayerArguments::isBare(argument)) {
        if (m_queue.isEmpty())
            return reply.fail(outOfRange("The queue is empty"));
        m_player.play();
        return succeed(reply);
    }
    const QVariant path = PlayerArguments::member(argument, QStringLiteral("path"));
    if (const auto wanted = PlayerArguments::text(path.isValid() ? path : argument))
        return playPath(*wanted, reply);
    CMError error;
    const auto index = m_commands.rowNamed(argument, &error);
    if (!index)
        return reply.fail(error);
    m_player.playRow(*index);
    succeed(reply);
}

void PlayerWorker::playPath(const QString& path, const Reply& reply) {
    TrackFinder::find(path, this, [this, reply](const PlayerTrack& track, const CMError& error) {
        if (error)
            return reply.fail(error);
        if (m_queue.indexOfPath(track.path) < 0) {
            if (!m_queue.insert(m_queue.size(), {track}))
                return reply.fail(QueueCommands::queueIsFull());
            claimQueue();
        }
        m_player.playRow(m_queue.indexOfPath(track.path));
        succeed(reply);
    });
}

void PlayerWorker::seek(const QVariant& argument, const Reply& reply) {
    const auto position = PlayerArguments::integer(argument);
    if (!position)
        return reply.fail(typeMismatch("Seeking takes a whole number of milliseconds"));
    if (m_player.state() == Player::State::Stopped)
        return reply.fail(outOfRange("Nothing is being played"));
    const qint64 duration = m_player.track().durationMs;
    if (*position < 0 || *position > (duration > 0 ? duration : maximumPositionMs))
        return reply.fail(outOfRange("The position lies outside the track"));
    m_player.seek(*position);
    succeed(reply);
}

void PlayerWorker::insert(const QVariant& argument, const Reply& reply) {
    const auto path =
        PlayerArguments::text(PlayerArguments::member(argument, QStringLiteral("path")));
    if (!path)
        return reply.fail(typeMismatch("\"path\" is to be a text"));
    m_collector.collect(
        *path, {},
        [this, argument, reply](const QVector<PlayerTrack>& tracks, const CMError& error) {
            finishChange(error ? error : m_commands.insert(argument, tracks), reply);
        });
}

void PlayerWorker::load(const QVariant& argument, const Reply& reply) {
    using namespace PlayerArguments;
    const auto path = text(member(argument, QStringLiteral("path")));
    const QVariant from = member(argument, QStringLiteral("from"));
    const QVariant plays = CMValues::scalar(member(argument, QStringLiteral("play")));
    if (!path || (from.isValid() && !text(from)))
        return reply.fail(typeMismatch("\"path\" and \"from\" are to be texts"));
    if (plays.isValid() && plays.userType() != QMetaType::Bool)
        return reply.fail(typeMismatch("\"play\" is to be true or false"));
    const QString first = text(from).value_or(QString());
    m_collector.collect(*path, first, [=](const QVector<PlayerTrack>& tracks, CMError error) {
        if (error || !m_commands.isForThisVersion(argument, &error))
            return reply.fail(error);
        const auto begin = std::find_if(tracks.begin(), tracks.end(),
                                        [&](const auto& track) { return track.path == first; });
        m_player.load(tracks, begin == tracks.end() ? -1 : int(begin - tracks.begin()),
                      !plays.isValid() || plays.toBool());
        finishChange({}, reply);
    });
}

void PlayerWorker::savePlaylist(const QVariant& argument, const Reply& reply) {
    m_playlists.save(argument, m_queue.tracks(), reply);
}

template <void (Playlists::*action)(const QVariant&, const PlayerWorker::Reply&)>
void PlayerWorker::changePlaylist(const QVariant& argument, const Reply& reply) {
    (m_playlists.*action)(argument, reply);
}

template <PlayerWorker::QueueAction action>
void PlayerWorker::change(const QVariant& argument, const Reply& reply) {
    finishChange((m_commands.*action)(argument), reply);
}

void PlayerWorker::finishChange(const CMError& error, const Reply& reply) {
    if (error)
        return reply.fail(error);
    claimQueue();
    succeed(reply);
}

void PlayerWorker::claimQueue() {
    m_awaitsMedia = false;
    m_isClaimed = true;
    m_isQueueChanged = true;
    keepLater();
}

// The media worker's tracks.

void PlayerWorker::on_mediaRows_changed() {
    m_playlists.announceTracks();
    // Reading all tracks takes a while, and a scan changes them again and again.
    if (!m_awaitsMedia && !m_queue.lacksDurations())
        return;
    TrackFinder::findAll(PlayQueue::maximumRows, this,
                         [this](const QVector<PlayerTrack>& tracks) { useMediaTracks(tracks); });
}

void PlayerWorker::useMediaTracks(const QVector<PlayerTrack>& tracks) {
    if (m_awaitsMedia) {
        m_awaitsMedia = tracks.isEmpty();
        if (tracks.isEmpty())
            return;
        m_queue.fill(tracks);
        return restorePlace();
    }
    // Rows of the configuration may lack the durations of their tracks.
    QHash<QString, qint64> durations;
    for (const PlayerTrack& track : tracks)
        durations.insert(track.path, track.durationMs);
    m_player.learnDurations(durations);
}

// What is shown.

void PlayerWorker::showPosition() {
    PlayerNodes::showPosition(this, m_player.position(), m_player.isRunning());
}

void PlayerWorker::showState() {
    for (QTimer* timer : {&m_tick, &m_keepTick}) {
        if (m_player.state() == Player::State::Playing)
            timer->start();
        else
            timer->stop();
    }
    static const QString names[] = {QStringLiteral("stopped"), QStringLiteral("playing"),
                                    QStringLiteral("paused")};
    setValue(PlayerNodes::state, PlixValue::fromScalar(names[int(m_player.state())]));
    keepLater();
}

void PlayerWorker::on_replayGain_changed(const PlixValue& value) {
    m_player.engine().setReplayGain(value.string_());
}

void PlayerWorker::stored(const QString& path, const QString& role, const QVariant&) {
    if (role == PlixRolesType::Value() && keptNodes().contains(path)) {
        applyValues();
        keepLater();
    }
}

void PlayerWorker::applyValues() {
    const auto valueOf = [this](const QString& path) {
        return CMValues::scalar(role(path, PlixRolesType::Value()));
    };
    m_player.engine().setVolume(valueOf(PlayerNodes::volume).toInt());
    m_player.engine().setMute(valueOf(PlayerNodes::mute).toBool());
    const auto repeat = PlayOrder::repeatNamed(valueOf(PlayerNodes::repeat).toString());
    m_player.setRepeat(repeat.value_or(PlayOrder::Repeat::Off));
    m_player.setShuffle(valueOf(PlayerNodes::shuffle).toBool());
}

// What survives a restart.

// With the checks of a client's write, because the device files may have changed meanwhile.
void PlayerWorker::restoreValues(const QStringList& overrides) {
    m_volumeAtStart = CMValues::scalar(role(PlayerNodes::volume, PlixRolesType::Value()));
    const QVariantHash nodes = m_restored.value(nodesName).toHash();
    for (const QString& path : keptNodes()) {
        // A setting that has been changed since counts more than the last volume.
        const bool isOutdated =
            path == PlayerNodes::volume &&
            !CMValues::same(m_restored.value(volumeAtStartName), m_volumeAtStart);
        if (nodes.contains(path) && !overrides.contains(path) && !isOutdated)
            PlayerWorker::setDataRequest(
                {CMPath::fromEncoded(path), PlixRolesType::Value(), nodes.value(path), {}});
    }
    applyValues();
}

void PlayerWorker::restorePlace() {
    const QVariantHash place = m_restored.value(placeName).toHash();
    const QString path = place.value(QStringLiteral("path")).toString();
    int index = place.value(QStringLiteral("index")).toInt();
    if (index < 0 || index >= m_queue.size() || m_queue.at(index).path != path)
        index = m_queue.indexOfPath(path);
    if (index < 0)
        return m_player.restore(m_queue.isEmpty() ? -1 : 0, Player::State::Stopped, 0);
    const bool isStopped = place.value(QStringLiteral("stopped")).toBool();
    m_player.restore(index, isStopped ? Player::State::Stopped : Player::State::Paused,
                     place.value(QStringLiteral("position")).toLongLong());
}

void PlayerWorker::keepLater() {
    if (!m_keep.isActive())
        m_keep.start();
}

void PlayerWorker::keep() {
    if (m_isClaimed && std::exchange(m_isQueueChanged, false))
        m_store.keepQueue(m_queue.tracks());
    QVariantHash nodes;
    for (const QString& path : keptNodes())
        nodes.insert(path, role(path, PlixRolesType::Value()));
    // Until the media worker has given its tracks, the place is where it was.
    const QVariantHash place{
        {QStringLiteral("path"), m_queue.currentTrack().path},
        {QStringLiteral("index"), m_queue.current()},
        {QStringLiteral("position"), m_player.position()},
        {QStringLiteral("stopped"), m_player.state() == Player::State::Stopped}};
    m_store.keepValues({{nodesName, nodes},
                        {volumeAtStartName, m_volumeAtStart},
                        {placeName, m_awaitsMedia ? m_restored.value(placeName) : place}});
}
