// SPDX-License-Identifier: MIT
#include "player.h"

#include "core/plixconnect.h"

#include <QRandomGenerator>

#include <algorithm>

namespace {

constexpr qint64 restartAfterMs = 3000;

} // namespace

Player::Player(PlayQueue* queue, std::unique_ptr<PlayerEngine> engine)
    : m_queue(queue), m_engine(std::move(engine)) {
    plixConnect(m_queue, &PlayQueue::changed, this, &Player::on_queue_changed);
    plixConnect(m_queue, &PlayQueue::currentReplaced, this, &Player::on_queue_currentReplaced);
    const PlayerEngine* from = m_engine.get();
    plixConnect(from, &PlayerEngine::ended, this, &Player::on_engine_ended);
    plixConnect(from, &PlayerEngine::followed, this, &Player::on_engine_followed);
    plixConnect(from, &PlayerEngine::sounded, this, &Player::on_engine_sounded);
    plixConnect(from, &PlayerEngine::moved, this, &Player::positionChanged);
    plixConnect(from, &PlayerEngine::durationFound, this, &Player::on_engine_durationFound);
    plixConnect(from, &PlayerEngine::titleFound, this, &Player::on_engine_titleFound);
    plixConnect(from, &PlayerEngine::interrupted, this, &Player::on_engine_interrupted);
    plixConnect(from, &PlayerEngine::failed, this, &Player::on_engine_failed);
}

Player::~Player() = default;

PlayerTrack Player::track() const {
    PlayerTrack track = m_queue->currentTrack();
    if (!m_streamTitle.isEmpty()) {
        track.artist = track.title;
        track.title = m_streamTitle;
    }
    return track;
}

qint64 Player::position() const {
    const qint64 duration = m_queue->currentTrack().durationMs;
    return duration > 0 ? std::min(m_engine->position(), duration) : m_engine->position();
}

// Commands.

void Player::play() {
    if (m_state == State::Stopped)
        return playRow(std::max(m_queue->current(), 0));
    Q_EMIT errorChanged({});
    setState(State::Playing);
}

void Player::playRow(int index) {
    m_failures = 0;
    Q_EMIT errorChanged({});
    select(index, State::Playing);
}

void Player::load(const QVector<PlayerTrack>& tracks, int index, bool plays) {
    const int any = m_order.isShuffling() ? QRandomGenerator::global()->bounded(tracks.size()) : 0;
    const int first = index < 0 ? any : index;
    m_queue->load(tracks, first);
    if (plays)
        playRow(first);
}

void Player::pause() {
    if (m_state == State::Playing)
        setState(State::Paused);
}

void Player::stop() {
    Q_EMIT errorChanged({});
    select(m_queue->current(), State::Stopped);
}

void Player::next() {
    m_failures = 0;
    Q_EMIT errorChanged({});
    advance(PlayOrder::Reason::Command);
}

void Player::previous() {
    const bool restarts = m_engine->position() >= restartAfterMs;
    if (!m_queue->isEmpty())
        playRow(std::max(0, restarts ? m_queue->current() : m_order.previous(*m_queue)));
}

void Player::seek(qint64 position) {
    m_engine->seek(position);
    Q_EMIT positionChanged();
}

void Player::restore(int index, State state, qint64 position) {
    select(index, state, position);
}

void Player::setRepeat(PlayOrder::Repeat repeat) {
    m_order.setRepeat(repeat);
    prepareNext();
}

void Player::setShuffle(bool isOn) {
    m_order.setShuffle(isOn, *m_queue);
    prepareNext();
}

void Player::learnDurations(const QHash<QString, qint64>& durations) {
    const qint64 before = m_queue->currentTrack().durationMs;
    m_queue->learnDurations(durations);
    const qint64 now = m_queue->currentTrack().durationMs;
    if (now == before)
        return;
    Q_EMIT trackChanged();
    m_engine->setDuration(now);
}

// What follows from others.

void Player::on_queue_changed() {
    prepareNext();
}

void Player::on_queue_currentReplaced(bool follows) {
    select(m_queue->current(), follows ? m_state : State::Stopped);
}

void Player::on_engine_ended() {
    Q_EMIT errorChanged({});
    advance(PlayOrder::Reason::TrackEnded);
}

void Player::on_engine_followed() {
    m_queue->setCurrent(m_queue->indexOf(m_preparedId));
    m_streamTitle.clear();
    Q_EMIT errorChanged({});
    Q_EMIT trackChanged();
    Q_EMIT positionChanged();
    prepareNext();
}

void Player::on_engine_sounded() {
    m_failures = 0;
    if (std::exchange(m_isInterrupted, false))
        Q_EMIT errorChanged({});
}

void Player::on_engine_durationFound(qint64 duration) {
    const PlayerTrack current = m_queue->currentTrack();
    if (current.durationMs <= 0)
        learnDurations({{current.path, duration}});
}

void Player::on_engine_titleFound(const QString& title) {
    m_streamTitle = title;
    Q_EMIT trackChanged();
}

void Player::on_engine_interrupted(const QString& reason) {
    m_isInterrupted = true;
    tellError(reason + QStringLiteral(". Trying again"));
}

void Player::on_engine_failed(const QString& reason, bool isTracksFault) {
    tellError(reason);
    // Whoever plays again goes on where it was.
    if (!isTracksFault)
        return setState(State::Paused);
    const bool skips = ++m_failures < std::min(m_queue->size(), int(maximumFailures));
    const int index = skips ? m_order.next(*m_queue, PlayOrder::Reason::Command) : -1;
    select(index < 0 ? m_queue->current() : index, index < 0 ? State::Stopped : m_state);
}

void Player::tellError(const QString& reason) {
    const QString title = m_queue->currentTrack().line();
    Q_EMIT errorChanged(title.isEmpty() ? reason : title + QStringLiteral(": ") + reason);
}

// What is being played.

void Player::select(int index, State state, qint64 position) {
    m_queue->setCurrent(index);
    m_streamTitle.clear();
    m_isInterrupted = false;
    if (index < 0 || state == State::Stopped)
        m_engine->stop();
    else
        m_engine->load(m_queue->currentTrack(), position);
    Q_EMIT trackChanged();
    setState(index < 0 ? State::Stopped : state);
    prepareNext();
}

void Player::setState(State state) {
    m_state = state;
    if (state == State::Playing)
        m_engine->play();
    else
        m_engine->pause();
    Q_EMIT positionChanged();
    Q_EMIT stateChanged();
}

void Player::advance(PlayOrder::Reason reason) {
    const int index = m_order.next(*m_queue, reason);
    if (index >= 0)
        return select(index, State::Playing);
    m_order.beginRound(*m_queue);
    select(m_queue->current(), State::Stopped);
}

// The engine is told in time what follows without a gap.
void Player::prepareNext() {
    m_order.follow(*m_queue);
    if (m_state == State::Stopped)
        return;
    const int index = m_order.next(*m_queue, PlayOrder::Reason::TrackEnded);
    const PlayerTrack track = index < 0 ? PlayerTrack() : m_queue->at(index);
    m_preparedId = track.id;
    m_engine->prepare(track);
}
