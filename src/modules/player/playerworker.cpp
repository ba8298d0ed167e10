#include "playerworker.h"

#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/plixconnect.h"
#include "playerarguments.h"

#include <QDateTime>

#include <algorithm>
#include <climits>

namespace {

// Clients count on by themselves; this is for those whose clocks run at another speed.
constexpr int tickMs = 10 * 1000;
constexpr qint64 restartAfterMs = 3000;
// The limit of a position in a track of unknown length: a year.
constexpr qint64 maximumPositionMs = 366LL * 24 * 3600 * 1000;

const QString statePath = QStringLiteral("player:player/state");
const QString volumePath = QStringLiteral("player:player/volume");
const QString mutePath = QStringLiteral("player:player/mute");
const QString positionPath = QStringLiteral("player:player/position");
const QString progressPath = QStringLiteral("player:player/progress");
const QString durationPath = QStringLiteral("player:player/duration");
const QString trackPath = QStringLiteral("player:player/track");
const QString afterName = QStringLiteral("after");
const QString queuePath = QStringLiteral("player:queue");

CMPath mediaPath() {
    return CMPath::fromEncoded(QStringLiteral("media:/"));
}

PlixValue textValue(const QString& text) {
    PlixValue value;
    value.setString_(text);
    return value;
}

PlixValue millisecondsValue(qint64 milliseconds) {
    PlixValue value;
    value.setI64_(milliseconds);
    return value;
}

CMError typeMismatch(const char* message) {
    return CMError::fromName(CMErrorNames::typeMismatch(), QString::fromLatin1(message));
}

CMError outOfRange(const char* message) {
    return CMError::fromName(CMErrorNames::outOfRange(), QString::fromLatin1(message));
}

// The volume of the device's settings.
int volumeAtStart() {
    constexpr int otherwise = 30;
    const PlixValue setting(
        CMRoot()
            ->getValue(CMPath::fromEncoded(QStringLiteral("settings:/player/volume")))
            .toHash());
    return setting.isEmpty() ? otherwise : qBound(0, setting.i32_(), 100);
}

} // namespace

PlayerWorker::PlayerWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("player")),
      m_idPrefix(QString::number(QDateTime::currentMSecsSinceEpoch(), 36) + '-') {
    m_tick.setInterval(tickMs);
    plixConnect(&m_tick, &QTimer::timeout, this, &PlayerWorker::publishPosition);
    m_trackEnd.setSingleShot(true);
    m_trackEnd.setTimerType(Qt::PreciseTimer);
    plixConnect(&m_trackEnd, &QTimer::timeout, this, &PlayerWorker::on_trackEnd_timeout);

    provideNodes();
    readConfiguredQueue();
    select(m_queue.isEmpty() ? -1 : 0, State::Stopped);

    connectRowsChange(mediaPath(), this, SLOT(on_mediaRows_changed()));
    // Later: the media worker may start after this one.
    QTimer::singleShot(0, this, &PlayerWorker::on_mediaRows_changed);
}

void PlayerWorker::provideNodes() {
    PlixValue volume;
    volume.setI32_(volumeAtStart());
    PlixValue mute;
    mute.setBool_(false);
    const QString title = PlixRoles::Title();
    const QString value = PlixRolesType::Value();
    const QString milliseconds = QStringLiteral("Milliseconds");
    provide(volumePath, {{title, QStringLiteral("Volume")},
                         {value, volume.__variant()},
                         {PlixRoles::Minimum(), 0},
                         {PlixRoles::Maximum(), 100}});
    provide(mutePath, {{title, QStringLiteral("Mute")}, {value, mute.__variant()}});
    provide(statePath, {{title, QStringLiteral("State")}});
    provide(positionPath,
            {{title, QStringLiteral("Position")}, {PlixRoles::Description(), milliseconds}});
    provide(durationPath,
            {{title, QStringLiteral("Duration")}, {PlixRoles::Description(), milliseconds}});
    provide(progressPath, {{title, QStringLiteral("Progress")}});
    provide(trackPath, {{title, QStringLiteral("Track")}});
    provide(queuePath, {{title, QStringLiteral("Queue")}});
    // Clients cannot write these nodes, which show the player's state.
    for (const QString& path :
         {statePath, positionPath, progressPath, durationPath, trackPath, queuePath})
        setRole(path, PlixRoles::Modifiable(), false);
    for (auto action = actions().begin(); action != actions().end(); ++action) {
        const QString name = action.key().section('/', 1);
        provide(action.key(), {{title, name.left(1).toUpper() + name.mid(1)},
                               {PlixRoles::Type(), QStringLiteral("action")},
                               {PlixRoles::Activate(), true},
                               {PlixRoles::Modifiable(), false}});
    }
}

// Does not change roles that the configuration has set.
void PlayerWorker::provide(const QString& path, const QVariantHash& roles) {
    QVariantHash missing;
    for (auto entry = roles.begin(); entry != roles.end(); ++entry) {
        if (!role(path, entry.key()).isValid())
            missing.insert(entry.key(), *entry);
    }
    setNode(path, missing);
}

void PlayerWorker::readConfiguredQueue() {
    const QStringList roles = PlayerTrack::roles();
    for (int i = 0; i < rowCount(queuePath); ++i) {
        QVariantList values;
        for (const QString& name : roles)
            values.append(row(queuePath, i).value(name));
        PlayerTrack track = PlayerTrack::fromValues(values);
        track.id = newId();
        QVariantHash named = row(queuePath, i);
        named.insert(PlayerTrack::idRole(), track.id);
        changeRow(queuePath, i, named);
        m_queue.append(track);
    }
    m_awaitsMedia = m_queue.isEmpty();
}

// Requests.

void PlayerWorker::getDataRequest(const CMGetDataRequest& request) {
    const QString path = request.path.toEncoded();
    if (path != positionPath && path != progressPath)
        return CMNodesWorker::getDataRequest(request);
    // A read returns the exact position, without announcing a change.
    const QVariantHash now =
        path == positionPath ? positionValue().__variant().toHash() : progressRecord();
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
        {QStringLiteral("player:queue/remove"), &PlayerWorker::remove},
        {QStringLiteral("player:queue/move"), &PlayerWorker::move},
        {QStringLiteral("player:queue/clear"), &PlayerWorker::clear},
        {QStringLiteral("player:queue/restore"), &PlayerWorker::restore},
    };
    return table;
}

void PlayerWorker::succeed(const Reply& reply) const {
    reply.finish(role(statePath, PlixRolesType::Value()));
}

void PlayerWorker::play(const QVariant& argument, const Reply& reply) {
    if (PlayerArguments::isBare(argument)) {
        if (m_queue.isEmpty())
            return reply.fail(outOfRange("The queue is empty"));
        if (m_state == State::Stopped)
            select(std::max(m_current, 0), State::Playing);
        else
            setState(State::Playing);
        return succeed(reply);
    }
    const QVariant path = PlayerArguments::member(argument, QStringLiteral("path"));
    if (const auto wanted = PlayerArguments::text(path.isValid() ? path : argument))
        return findTrack(*wanted, reply,
                         [this, reply](const PlayerTrack& track) { playTrack(track, reply); });
    CMError error;
    const auto index = rowNamed(argument, &error);
    if (!index)
        return reply.fail(error);
    select(*index, State::Playing);
    succeed(reply);
}

void PlayerWorker::pause(const QVariant&, const Reply& reply) {
    if (m_state == State::Playing)
        setState(State::Paused);
    succeed(reply);
}

void PlayerWorker::stop(const QVariant&, const Reply& reply) {
    select(m_current, State::Stopped);
    succeed(reply);
}

void PlayerWorker::next(const QVariant&, const Reply& reply) {
    endTrack();
    succeed(reply);
}

void PlayerWorker::previous(const QVariant&, const Reply& reply) {
    const bool restarts = m_clock.position() >= restartAfterMs;
    if (!m_queue.isEmpty())
        select(std::max(0, restarts ? m_current : m_current - 1), State::Playing);
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
    seekTo(*position);
    succeed(reply);
}

void PlayerWorker::insert(const QVariant& argument, const Reply& reply) {
    const auto path =
        PlayerArguments::text(PlayerArguments::member(argument, QStringLiteral("path")));
    if (!path)
        return reply.fail(typeMismatch("\"path\" is to be a text"));
    findTrack(*path, reply, [this, argument, reply](const PlayerTrack& track) {
        CMError error;
        const auto index = placeNamed(argument, &error);
        if (!index)
            return reply.fail(error);
        if (insertTrack(*index, track, reply))
            succeed(reply);
    });
}

void PlayerWorker::remove(const QVariant& argument, const Reply& reply) {
    CMError error;
    const auto index = rowNamed(argument, &error);
    if (!index)
        return reply.fail(error);
    m_awaitsMedia = false;
    remember(*index, {m_queue.at(*index)});
    removeTrack(*index);
    succeed(reply);
}

void PlayerWorker::move(const QVariant& argument, const Reply& reply) {
    CMError error;
    const auto from = rowNamed(argument, &error);
    if (!from)
        return reply.fail(error);
    const auto to = targetNamed(argument, *from, &error);
    if (!to)
        return reply.fail(error);
    m_awaitsMedia = false;
    m_queue.move(*from, *to);
    if (m_current == *from)
        m_current = *to;
    else if (*from < m_current && *to >= m_current)
        --m_current;
    else if (*from > m_current && *to <= m_current)
        ++m_current;
    moveRow(queuePath, *from, *to);
    succeed(reply);
}

void PlayerWorker::clear(const QVariant&, const Reply& reply) {
    m_awaitsMedia = false;
    if (!m_queue.isEmpty())
        remember(0, m_queue);
    m_queue.clear();
    select(-1, State::Stopped);
    setRows(queuePath, {});
    succeed(reply);
}

void PlayerWorker::restore(const QVariant& argument, const Reply& reply) {
    CMError error;
    const auto id = PlayerArguments::name(argument, PlayerTrack::idRole(), &error);
    if (!id)
        return reply.fail(error);
    const auto removal =
        std::find_if(m_removals.begin(), m_removals.end(), [&](const Removal& one) {
            return std::any_of(one.tracks.begin(), one.tracks.end(),
                               [&](const PlayerTrack& track) { return track.id == *id; });
        });
    if (removal == m_removals.end())
        return reply.fail(outOfRange("Nothing that could be restored has this id"));
    if (m_queue.size() + removal->tracks.size() > maximumQueueRows)
        return reply.fail(outOfRange("The queue is full"));
    const Removal restored = *removal;
    m_removals.erase(removal);
    putBack(restored);
    succeed(reply);
}

std::optional<int> PlayerWorker::rowNamed(const QVariant& argument, CMError* error) const {
    if (!isForThisVersion(argument, error))
        return std::nullopt;
    const QString name = PlayerTrack::idRole();
    if (!PlayerArguments::member(argument, name).isValid())
        return PlayerArguments::index(argument, QStringLiteral("index"), m_queue.size(), error);
    const auto id = PlayerArguments::name(argument, name, error);
    const int index = id ? indexOf(*id) : -1;
    if (id && index < 0)
        *error = outOfRange("The queue has no row with this id");
    return index < 0 ? std::nullopt : std::optional(index);
}

bool PlayerWorker::isForThisVersion(const QVariant& argument, CMError* error) const {
    const QVariant version = PlayerArguments::member(argument, QStringLiteral("version"));
    if (!version.isValid() || PlayerArguments::integer(version) == rowsVersion(queuePath))
        return true;
    *error =
        CMError::fromName(CMErrorNames::versionMismatch(),
                          QStringLiteral("The list has version %1").arg(rowsVersion(queuePath)));
    return false;
}

std::optional<int> PlayerWorker::placeBehind(const QVariant& id, CMError* error) const {
    const auto name = PlayerArguments::text(id);
    if (name && name->isEmpty())
        return 0;
    const int index = name ? indexOf(*name) : -1;
    if (index >= 0)
        return index + 1;
    *error = name ? outOfRange("The queue has no row with the id \"after\"")
                  : typeMismatch("\"after\" is to be a text");
    return std::nullopt;
}

std::optional<int> PlayerWorker::placeNamed(const QVariant& argument, CMError* error) const {
    if (!isForThisVersion(argument, error))
        return std::nullopt;
    const QVariant after = PlayerArguments::member(argument, afterName);
    if (after.isValid())
        return placeBehind(after, error);
    const QString name = QStringLiteral("index");
    if (!PlayerArguments::member(argument, name).isValid())
        return m_queue.size();
    return PlayerArguments::index(argument, name, m_queue.size() + 1, error);
}

std::optional<int> PlayerWorker::targetNamed(const QVariant& argument, int from,
                                             CMError* error) const {
    const QVariant after = PlayerArguments::member(argument, afterName);
    if (!after.isValid())
        return PlayerArguments::index(argument, QStringLiteral("toIndex"), m_queue.size(), error);
    auto place = placeBehind(after, error);
    // The row itself leaves its place.
    if (place && *place > from)
        --*place;
    return place;
}

// The queue.

int PlayerWorker::indexOf(const QString& id) const {
    const auto found = std::find_if(m_queue.begin(), m_queue.end(),
                                    [&](const PlayerTrack& track) { return track.id == id; });
    return found == m_queue.end() ? -1 : int(found - m_queue.begin());
}

QString PlayerWorker::newId() {
    return m_idPrefix + QString::number(++m_lastId);
}

void PlayerWorker::remember(int index, const QVector<PlayerTrack>& tracks) {
    m_removals.append({index, tracks, m_current});
    if (m_removals.size() > maximumRemovals)
        m_removals.removeFirst();
}

void PlayerWorker::putBack(const Removal& removal) {
    const int index = std::min(removal.index, m_queue.size());
    QVector<QVariantHash> rows;
    for (int i = 0; i < m_queue.size(); ++i)
        rows.append(row(queuePath, i));
    for (int i = 0; i < removal.tracks.size(); ++i) {
        m_queue.insert(index + i, removal.tracks.at(i));
        rows.insert(index + i, removal.tracks.at(i).row());
    }
    if (index <= m_current)
        m_current += removal.tracks.size();
    setRows(queuePath, rows);
    if (m_current < 0)
        select(removal.current - removal.index, State::Stopped);
}

void PlayerWorker::on_mediaRows_changed() {
    if (!CMRoot())
        return;
    const CMReply<PlixRowsRoles> reply;
    reply.onFinished(this, [this](const CMReply<PlixRowsRoles>& finished) {
        if (finished.error())
            return;
        QVector<PlayerTrack> tracks;
        const QVariantList rows = finished.value().rows().toList();
        for (const QVariant& values : rows) {
            const PlayerTrack track = PlayerTrack::fromValues(values.toList());
            if (!track.isInternal)
                tracks.append(track);
        }
        if (m_awaitsMedia)
            fillQueue(tracks);
        else
            learnDurations(tracks);
    });
    CMRoot()->getRows(mediaPath(), 0, maximumQueueRows - 1, -1, PlayerTrack::roles(), reply);
}

void PlayerWorker::fillQueue(const QVector<PlayerTrack>& tracks) {
    if (tracks.isEmpty())
        return;
    m_awaitsMedia = false;
    m_queue = tracks;
    QVector<QVariantHash> rows;
    for (PlayerTrack& track : m_queue) {
        track.id = newId();
        rows.append(track.row());
    }
    setRows(queuePath, rows);
    select(0, State::Stopped);
}

// Rows of the configuration may lack the durations of their tracks.
void PlayerWorker::learnDurations(const QVector<PlayerTrack>& tracks) {
    QHash<QString, qint64> durations;
    for (const PlayerTrack& track : tracks)
        durations.insert(track.path, track.durationMs);
    for (int i = 0; i < m_queue.size(); ++i) {
        const qint64 duration = durations.value(m_queue.at(i).path);
        if (m_queue.at(i).durationMs > 0 || duration <= 0)
            continue;
        m_queue[i].durationMs = duration;
        QVariantHash changed = row(queuePath, i);
        changed.insert(PlixRoles::Maximum(), duration);
        changeRow(queuePath, i, changed);
        if (i == m_current)
            showTrack();
    }
    armEndTimer();
}

void PlayerWorker::findTrack(const QString& path, const Reply& reply,
                             const std::function<void(const PlayerTrack&)>& found) {
    const CMReply<QVariantList> data;
    data.onFinished(this, [path, reply, found](const CMReply<QVariantList>& finished) {
        if (const CMError error = finished.error())
            return reply.fail(error);
        PlayerTrack track = PlayerTrack::fromValues(finished.value().mid(1));
        if (track.isInternal)
            return reply.fail(CMError::fromName(QStringLiteral("setData failed"),
                                                QStringLiteral("Node is internal")));
        if (finished.value().value(0) != QLatin1String("audio"))
            return reply.fail(typeMismatch("The path names no track"));
        track.path = path;
        found(track);
    });
    CMRoot()->getData(CMPath::fromEncoded(path),
                      QStringList(PlixRoles::Type()) + PlayerTrack::roles(), data);
}

void PlayerWorker::playTrack(const PlayerTrack& track, const Reply& reply) {
    int index = 0;
    while (index < m_queue.size() && m_queue.at(index).path != track.path)
        ++index;
    if (index == m_queue.size() && !insertTrack(index, track, reply))
        return;
    select(index, State::Playing);
    succeed(reply);
}

bool PlayerWorker::insertTrack(int index, const PlayerTrack& track, const Reply& reply) {
    if (m_queue.size() >= maximumQueueRows) {
        reply.fail(outOfRange("The queue is full"));
        return false;
    }
    m_awaitsMedia = false;
    PlayerTrack inserted = track;
    inserted.id = newId();
    m_queue.insert(index, inserted);
    if (index <= m_current)
        ++m_current;
    insertRow(queuePath, index, inserted.row());
    if (m_current < 0)
        select(index, State::Stopped);
    return true;
}

void PlayerWorker::removeTrack(int index) {
    const bool wasCurrent = index == m_current;
    m_queue.remove(index);
    if (index < m_current || m_current == m_queue.size())
        --m_current;
    removeRow(queuePath, index);
    if (wasCurrent)
        select(m_current, index < m_queue.size() ? m_state : State::Stopped);
}

// What is being played.

void PlayerWorker::select(int index, State state) {
    m_current = index;
    m_clock.setPosition(0);
    showTrack();
    setState(index < 0 ? State::Stopped : state);
}

void PlayerWorker::showTrack() {
    const PlayerTrack track = m_current < 0 ? PlayerTrack() : m_queue.at(m_current);
    setRole(trackPath, PlixRolesType::Value(), track.record());
    setRole(trackPath, PlixRoles::Description(), track.line());
    setValue(durationPath, millisecondsValue(currentDuration()));
}

void PlayerWorker::setState(State state) {
    m_state = state;
    if (state == State::Playing) {
        m_clock.run();
        m_tick.start();
    } else {
        m_clock.stand();
        m_tick.stop();
    }
    armEndTimer();
    static const QString names[] = {QStringLiteral("stopped"), QStringLiteral("playing"),
                                    QStringLiteral("paused")};
    publishPosition();
    setValue(statePath, textValue(names[int(state)]));
}

void PlayerWorker::seekTo(qint64 position) {
    m_clock.setPosition(position);
    armEndTimer();
    publishPosition();
}

void PlayerWorker::endTrack() {
    const bool hasNext = m_current + 1 < m_queue.size();
    if (hasNext)
        select(m_current + 1, State::Playing);
    else
        select(m_current, State::Stopped);
}

void PlayerWorker::on_trackEnd_timeout() {
    // The interval of the timer is limited, and the timer may fire early.
    if (m_clock.position() < currentDuration())
        armEndTimer();
    else
        endTrack();
}

void PlayerWorker::armEndTimer() {
    if (m_state != State::Playing || currentDuration() <= 0)
        return m_trackEnd.stop();
    const qint64 remaining = currentDuration() - m_clock.position();
    m_trackEnd.start(int(std::min<qint64>(std::max<qint64>(remaining, 0), INT_MAX)));
}

void PlayerWorker::publishPosition() {
    setValue(positionPath, positionValue());
    setRole(progressPath, PlixRolesType::Value(), progressRecord());
}

QVariantHash PlayerWorker::progressRecord() const {
    return {{QStringLiteral("position"), positionValue().i64_()},
            {QStringLiteral("time"), QDateTime::currentMSecsSinceEpoch()},
            {QStringLiteral("running"), m_clock.isRunning()}};
}

PlixValue PlayerWorker::positionValue() const {
    const qint64 position = m_clock.position();
    return millisecondsValue(currentDuration() > 0 ? std::min(position, currentDuration())
                                                   : position);
}

qint64 PlayerWorker::currentDuration() const {
    return m_current < 0 ? 0 : m_queue.at(m_current).durationMs;
}
