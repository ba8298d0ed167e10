#include "playerworker.h"

#include "clockengine.h"
#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/plixconnect.h"
#include "playerarguments.h"
#include "playernodes.h"
#include "trackfinder.h"

#include <algorithm>

namespace {

// Clients count on by themselves; this is for those whose clocks run at another speed.
constexpr int tickMs = 10 * 1000;
constexpr qint64 restartAfterMs = 3000;
// The limit of a position in a track of unknown length: a year.
constexpr qint64 maximumPositionMs = 366LL * 24 * 3600 * 1000;

CMError typeMismatch(const char* message) {
    return CMError::fromName(CMErrorNames::typeMismatch(), QString::fromLatin1(message));
}

CMError outOfRange(const char* message) {
    return CMError::fromName(CMErrorNames::outOfRange(), QString::fromLatin1(message));
}

} // namespace

PlayerWorker::PlayerWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("player")), m_queue(this, PlayerNodes::queue),
      m_commands(&m_queue), m_engine(std::make_unique<ClockEngine>()),
      m_awaitsMedia(m_queue.isEmpty()) {
    m_tick.setInterval(tickMs);
    plixConnect(&m_tick, &QTimer::timeout, this, &PlayerWorker::publishPosition);
    plixConnect(m_engine.get(), &PlayerEngine::ended, this, &PlayerWorker::on_engine_ended);
    plixConnect(&m_queue, &PlayQueue::currentReplaced, this,
                &PlayerWorker::on_queue_currentReplaced);

    PlayerNodes::provide(this, actions().keys());
    select(m_queue.current(), State::Stopped);

    TrackFinder::follow(this, SLOT(on_mediaRows_changed()));
    // Later: the media worker may start after this one.
    QTimer::singleShot(0, this, &PlayerWorker::on_mediaRows_changed);
}

PlayerWorker::~PlayerWorker() = default;

// Requests.

void PlayerWorker::getDataRequest(const CMGetDataRequest& request) {
    const QString path = request.path.toEncoded();
    if (path != PlayerNodes::position && path != PlayerNodes::progress)
        return CMNodesWorker::getDataRequest(request);
    // A read returns the exact position, without announcing a change.
    const QVariantHash now = path == PlayerNodes::position
                                 ? PlayerNodes::positionValue(position()).__variant().toHash()
                                 : PlayerNodes::progressRecord(position(), m_engine->isRunning());
    QVariantList values;
    for (const QString& name : request.roles)
        values.append(name == PlixRolesType::Value() ? QVariant(now) : role(path, name));
    request.reply.finish(values);
}

void PlayerWorker::setDataRequest(const CMSetDataRequest& request) {
    const Action action =
        request.role == PlixRoles::Activate() ? actions().value(request.path.toEncoded()) : nullptr;
    if (!action)
        return CMNodesWorker::setDataRequest(request);
    dbglog_debug("Activating " << request.path);
    (this->*action)(request.value, request.reply);
}

const QHash<QString, PlayerWorker::Action>& PlayerWorker::actions() {
    static const QHash<QString, Action> table{
        {QStringLiteral("player:player/play"), &PlayerWorker::play},
        {QStringLiteral("player:player/pause"), &PlayerWorker::pause},
        {QStringLiteral("player:player/stop"), &PlayerWorker::stop},
        {QStringLiteral("player:player/next"), &PlayerWorker::next},
        {QStringLiteral("player:player/previous"), &PlayerWorker::previous},
        {QStringLiteral("player:player/seek"), &PlayerWorker::seek},
        {QStringLiteral("player:queue/insert"), &PlayerWorker::insert},
        {QStringLiteral("player:queue/remove"), &PlayerWorker::change<&QueueCommands::remove>},
        {QStringLiteral("player:queue/move"), &PlayerWorker::change<&QueueCommands::move>},
        {QStringLiteral("player:queue/clear"), &PlayerWorker::change<&QueueCommands::clear>},
        {QStringLiteral("player:queue/restore"), &PlayerWorker::change<&QueueCommands::restore>},
    };
    return table;
}

void PlayerWorker::succeed(const Reply& reply) const {
    reply.finish(role(PlayerNodes::state, PlixRolesType::Value()));
}

void PlayerWorker::play(const QVariant& argument, const Reply& reply) {
    if (PlayerArguments::isBare(argument)) {
        if (m_queue.isEmpty())
            return reply.fail(outOfRange("The queue is empty"));
        if (m_state == State::Stopped)
            select(std::max(m_queue.current(), 0), State::Playing);
        else
            setState(State::Playing);
        return succeed(reply);
    }
    const QVariant path = PlayerArguments::member(argument, QStringLiteral("path"));
    if (const auto wanted = PlayerArguments::text(path.isValid() ? path : argument))
        return playPath(*wanted, reply);
    CMError error;
    const auto index = m_commands.rowNamed(argument, &error);
    if (!index)
        return reply.fail(error);
    select(*index, State::Playing);
    succeed(reply);
}

void PlayerWorker::playPath(const QString& path, const Reply& reply) {
    TrackFinder::find(path, this, [this, reply](const PlayerTrack& track, const CMError& error) {
        if (error)
            return reply.fail(error);
        if (m_queue.indexOfPath(track.path) < 0) {
            if (!m_queue.insert(m_queue.size(), track))
                return reply.fail(QueueCommands::queueIsFull());
            m_awaitsMedia = false;
        }
        select(m_queue.indexOfPath(track.path), State::Playing);
        succeed(reply);
    });
}

void PlayerWorker::pause(const QVariant&, const Reply& reply) {
    if (m_state == State::Playing)
        setState(State::Paused);
    succeed(reply);
}

void PlayerWorker::stop(const QVariant&, const Reply& reply) {
    select(m_queue.current(), State::Stopped);
    succeed(reply);
}

void PlayerWorker::next(const QVariant&, const Reply& reply) {
    endTrack();
    succeed(reply);
}

void PlayerWorker::previous(const QVariant&, const Reply& reply) {
    const bool restarts = m_engine->position() >= restartAfterMs;
    if (!m_queue.isEmpty())
        select(std::max(0, m_queue.current() - (restarts ? 0 : 1)), State::Playing);
    succeed(reply);
}

void PlayerWorker::seek(const QVariant& argument, const Reply& reply) {
    const auto position = PlayerArguments::integer(argument);
    if (!position)
        return reply.fail(typeMismatch("Seeking takes a whole number of milliseconds"));
    if (m_state == State::Stopped)
        return reply.fail(outOfRange("Nothing is being played"));
    const qint64 end = currentDuration() > 0 ? currentDuration() : maximumPositionMs;
    if (*position < 0 || *position > end)
        return reply.fail(outOfRange("The position lies outside the track"));
    m_engine->seek(*position);
    publishPosition();
    succeed(reply);
}

void PlayerWorker::insert(const QVariant& argument, const Reply& reply) {
    const auto path =
        PlayerArguments::text(PlayerArguments::member(argument, QStringLiteral("path")));
    if (!path)
        return reply.fail(typeMismatch("\"path\" is to be a text"));
    TrackFinder::find(*path, this,
                      [this, argument, reply](const PlayerTrack& track, const CMError& error) {
                          finishChange(error ? error : m_commands.insert(argument, track), reply);
                      });
}

template <PlayerWorker::QueueAction action>
void PlayerWorker::change(const QVariant& argument, const Reply& reply) {
    finishChange((m_commands.*action)(argument), reply);
}

void PlayerWorker::finishChange(const CMError& error, const Reply& reply) {
    if (error)
        return reply.fail(error);
    m_awaitsMedia = false;
    succeed(reply);
}

// The queue.

void PlayerWorker::on_mediaRows_changed() {
    TrackFinder::findAll(PlayQueue::maximumRows, this,
                         [this](const QVector<PlayerTrack>& tracks) { useMediaTracks(tracks); });
}

void PlayerWorker::useMediaTracks(const QVector<PlayerTrack>& tracks) {
    if (m_awaitsMedia) {
        m_awaitsMedia = tracks.isEmpty();
        if (!tracks.isEmpty())
            m_queue.fill(tracks);
        return;
    }
    // Rows of the configuration may lack the durations of their tracks.
    const qint64 before = currentDuration();
    QHash<QString, qint64> durations;
    for (const PlayerTrack& track : tracks)
        durations.insert(track.path, track.durationMs);
    m_queue.learnDurations(durations);
    if (currentDuration() == before)
        return;
    PlayerNodes::showTrack(this, m_queue.currentTrack());
    m_engine->setDuration(currentDuration());
}

void PlayerWorker::on_queue_currentReplaced(bool follows) {
    select(m_queue.current(), follows ? m_state : State::Stopped);
}

// What is being played.

void PlayerWorker::select(int index, State state) {
    m_queue.setCurrent(index);
    if (index < 0 || state == State::Stopped)
        m_engine->stop();
    else
        m_engine->load(m_queue.currentTrack(), 0);
    PlayerNodes::showTrack(this, m_queue.currentTrack());
    setState(index < 0 ? State::Stopped : state);
}

void PlayerWorker::setState(State state) {
    m_state = state;
    if (state == State::Playing) {
        m_engine->play();
        m_tick.start();
    } else {
        m_engine->pause();
        m_tick.stop();
    }
    static const QString names[] = {QStringLiteral("stopped"), QStringLiteral("playing"),
                                    QStringLiteral("paused")};
    publishPosition();
    setValue(PlayerNodes::state, PlixValue::fromScalar(names[int(state)]));
}

void PlayerWorker::on_engine_ended() {
    endTrack();
}

void PlayerWorker::endTrack() {
    const bool hasNext = m_queue.current() + 1 < m_queue.size();
    if (hasNext)
        select(m_queue.current() + 1, State::Playing);
    else
        select(m_queue.current(), State::Stopped);
}

void PlayerWorker::publishPosition() {
    PlayerNodes::showPosition(this, position(), m_engine->isRunning());
}

qint64 PlayerWorker::position() const {
    const qint64 position = m_engine->position();
    return currentDuration() > 0 ? std::min(position, currentDuration()) : position;
}

qint64 PlayerWorker::currentDuration() const {
    return m_queue.currentTrack().durationMs;
}
