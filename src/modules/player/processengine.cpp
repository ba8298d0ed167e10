// SPDX-License-Identifier: MIT
#include "processengine.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "trackfinder.h"

namespace {

// Clients count on by themselves; smaller differences come from rounding and from waiting.
constexpr qint64 jumpMs = 100;

QProcessEnvironment environmentFor(const QString& stateDirectory) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // A service has no home folder, and would look through all plug-ins at each start.
    if (!stateDirectory.isEmpty())
        environment.insert(QStringLiteral("GST_REGISTRY"),
                           stateDirectory + QStringLiteral("/gstreamer-plugins.bin"));
    return environment;
}

} // namespace

ProcessEngine::ProcessEngine(const QString& program, const QString& output,
                             const QString& stateDirectory)
    : m_process(program, {output}, environmentFor(stateDirectory)) {
    m_retry.setSingleShot(true);
    plixConnect(&m_retry, &QTimer::timeout, this, &ProcessEngine::start);
    plixConnect(&m_process, &PlaybackProcess::received, this, &ProcessEngine::on_process_received);
    plixConnect(&m_process, &PlaybackProcess::lost, this, &ProcessEngine::on_process_lost);
}

void ProcessEngine::load(const PlayerTrack& track, qint64 position) {
    rest();
    m_track = track;
    m_duration = track.durationMs;
    m_next.reset();
    m_nextUri.reset();
    m_retryDelay.succeeded();
    m_clock.setPosition(position);
    if (m_isWanted)
        start();
}

void ProcessEngine::play() {
    m_isWanted = true;
    if (m_phase == Phase::Idle)
        return start();
    m_progress.start();
    m_process.setWatched(true);
    send("play");
}

void ProcessEngine::pause() {
    m_isWanted = false;
    m_retry.stop();
    m_clock.stand();
    m_process.setWatched(false);
    send("pause");
}

void ProcessEngine::stop() {
    pause();
    rest();
    m_track = {};
    m_clock.setPosition(0);
    send("stop");
}

void ProcessEngine::seek(qint64 position) {
    m_clock.setPosition(position);
    m_clock.stand();
    m_progress.start();
    if (m_phase != Phase::Loaded)
        return;
    m_jumpNumber = ++m_lastId;
    send("seek",
         {{QStringLiteral("position"), position}, {QStringLiteral("number"), m_jumpNumber}});
}

void ProcessEngine::setVolume(int percent) {
    setValue("volume", percent);
}

void ProcessEngine::setMute(bool isMute) {
    setValue("mute", isMute);
}

void ProcessEngine::setReplayGain(const QString& mode) {
    setValue("replayGain", mode);
}

void ProcessEngine::setValue(const char* command, const QVariant& value) {
    m_values.insert(command, value);
    send(command, {{QStringLiteral("value"), value}});
}

void ProcessEngine::send(const char* command, QVariantHash members) {
    members.insert(QStringLiteral("do"), QString::fromLatin1(command));
    m_process.send(members);
}

bool ProcessEngine::isStream() const {
    return m_duration <= 0 && TrackFinder::isRemote(m_uri);
}

// The program's present track, if any, is not ours any more.
void ProcessEngine::rest() {
    m_phase = Phase::Idle;
    m_id = 0;
    m_nextId = 0;
    m_hasSounded = false;
    m_retry.stop();
    m_clock.stand();
    m_pipe.reset();
}

void ProcessEngine::start() {
    m_retry.stop();
    m_phase = Phase::Locating;
    m_id = ++m_lastId;
    m_progress.start();
    m_process.setWatched(true);
    TrackFinder::locate(m_track.path, this,
                        [this, id = m_id](const QString& uri, const QString& reason) {
                            if (id != m_id || m_phase != Phase::Locating)
                                return;
                            m_uri = uri;
                            if (uri.isEmpty())
                                failLater(reason);
                            else if (uri == TrackFinder::producedUri())
                                openPipe();
                            else
                                sendLoad();
                        });
}

void ProcessEngine::openPipe() {
    m_pipe = std::make_unique<TrackPipe>();
    m_uri = TrackFinder::fileUri(m_pipe->fileName());
    m_pipe->open(m_track.path, [this](bool isOpen) {
        if (isOpen)
            sendLoad();
        else
            failLater(QStringLiteral("It is nothing that could be played here"));
    });
}

// The worker of the track may have answered within start().
void ProcessEngine::failLater(const QString& reason) {
    QMetaObject::invokeMethod(
        this,
        [this, id = m_id, reason] {
            if (id == m_id)
                fail(reason, true);
        },
        Qt::QueuedConnection);
}

void ProcessEngine::sendLoad() {
    if (!m_process.isRunning()) {
        m_process.start();
        for (auto value = m_values.begin(); value != m_values.end(); ++value)
            send(value.key().constData(), {{QStringLiteral("value"), *value}});
    }
    m_phase = Phase::Loaded;
    m_jumpNumber = 0;
    send("load", {{QStringLiteral("id"), m_id},
                  {QStringLiteral("uri"), m_uri},
                  {QStringLiteral("position"), isStream() || m_pipe ? 0 : m_clock.position()},
                  {QStringLiteral("play"), m_isWanted}});
    sendNext();
}

void ProcessEngine::prepare(const PlayerTrack& track) {
    if (m_next && track.id == m_next->id)
        return;
    m_next = track;
    m_nextUri.reset();
    const auto use = [this, track](const QString& uri, const QString&) {
        if (!m_next || track.id != m_next->id)
            return;
        // What is nowhere says so when it is loaded; a stream has no beginning to be in time for.
        const bool isFile = !TrackFinder::isRemote(uri) && uri != TrackFinder::producedUri();
        m_nextUri = isFile ? uri : QString();
        sendNext();
    };
    if (track.id.isEmpty())
        use({}, {});
    else
        TrackFinder::locate(track.path, this, use);
}

void ProcessEngine::sendNext() {
    if (m_phase != Phase::Loaded || !m_nextUri)
        return;
    m_nextId = m_nextUri->isEmpty() ? 0 : ++m_lastId;
    if (m_nextId == 0)
        return send("next");
    send("next", {{QStringLiteral("id"), m_nextId}, {QStringLiteral("uri"), *m_nextUri}});
}

// Reports.

void ProcessEngine::on_process_received(const QVariantHash& report) {
    static const QHash<QString, Handler> handlers{
        {QStringLiteral("position"), &ProcessEngine::handlePosition},
        {QStringLiteral("duration"), &ProcessEngine::handleDuration},
        {QStringLiteral("tags"), &ProcessEngine::handleTags},
        {QStringLiteral("started"), &ProcessEngine::handleStarted},
        {QStringLiteral("ended"), &ProcessEngine::handleEnded},
        {QStringLiteral("failed"), &ProcessEngine::handleFailed},
    };
    const QString what = report.value(QStringLiteral("is")).toString();
    if (what == QLatin1String("ready"))
        m_progress.start();
    const Handler handler = handlers.value(what);
    const qint64 id = report.value(QStringLiteral("id")).toLongLong();
    if (handler && m_phase == Phase::Loaded &&
        (id == m_id || handler == &ProcessEngine::handleStarted))
        (this->*handler)(report);
    if (m_phase == Phase::Loaded && m_isWanted && m_progress.elapsed() > stallMs)
        breakOff(QStringLiteral("It does not go on"));
}

void ProcessEngine::handlePosition(const QVariantHash& report) {
    // One from before the jump.
    if (report.value(QStringLiteral("jump")).toLongLong() != m_jumpNumber)
        return;
    if (m_pipe)
        m_pipe->handOver();
    const qint64 position = report.value(QStringLiteral("position")).toLongLong();
    const bool runs = report.value(QStringLiteral("running")).toBool() && m_isWanted;
    const bool isNews = runs != m_clock.isRunning() || qAbs(position - m_clock.position()) > jumpMs;
    const bool goesOn = runs && position != m_reported;
    m_reported = position;
    m_clock.setPosition(position);
    runs ? m_clock.run() : m_clock.stand();
    if (goesOn) {
        m_progress.start();
        m_retryDelay.succeeded();
    }
    if (goesOn && !std::exchange(m_hasSounded, true))
        Q_EMIT sounded();
    if (isNews)
        Q_EMIT moved();
}

void ProcessEngine::handleDuration(const QVariantHash& report) {
    // What is produced goes on for as long as it likes, whatever its header says.
    if (m_pipe)
        return;
    m_duration = report.value(QStringLiteral("duration")).toLongLong();
    Q_EMIT durationFound(m_duration);
}

void ProcessEngine::handleTags(const QVariantHash& report) {
    const QString title = report.value(QStringLiteral("title")).toString();
    if (isStream() && !title.isEmpty())
        Q_EMIT titleFound(title);
}

void ProcessEngine::handleStarted(const QVariantHash& report) {
    const qint64 id = report.value(QStringLiteral("id")).toLongLong();
    if (id < m_id)
        return;
    // Something else is to follow by now, but the program had begun with this one already.
    if (id != m_nextId) {
        rest();
        return ended();
    }
    m_id = id;
    m_pipe.reset();
    m_track = m_next.value_or(PlayerTrack());
    m_uri = m_nextUri.value_or(QString());
    m_duration = m_track.durationMs;
    m_next.reset();
    m_nextUri.reset();
    m_nextId = 0;
    m_jumpNumber = 0;
    m_reported = 0;
    m_clock.setPosition(0);
    m_progress.start();
    Q_EMIT followed();
}

void ProcessEngine::handleEnded(const QVariantHash&) {
    if (isStream())
        return breakOff(QStringLiteral("The station has ended the connection"));
    rest();
    Q_EMIT ended();
}

void ProcessEngine::handleFailed(const QVariantHash& report) {
    const QString reason = report.value(QStringLiteral("reason")).toString();
    if (report.value(QStringLiteral("output")).toBool())
        fail(reason, false);
    else
        breakOff(reason);
}

void ProcessEngine::on_process_lost(const QString& reason) {
    if (m_phase != Phase::Idle && m_isWanted)
        fail(reason, false);
    else
        rest();
}

// A stream is tried again, everything else fails.
void ProcessEngine::breakOff(const QString& reason) {
    const bool isOver = !isStream();
    const auto delay = isOver ? std::nullopt : m_retryDelay.next();
    if (!delay)
        return fail(reason, true);
    send("stop");
    rest();
    Q_EMIT moved();
    // What is paused is begun anew when it is played.
    if (!m_isWanted)
        return;
    m_retry.start(*delay);
    Q_EMIT interrupted(reason);
}

void ProcessEngine::fail(const QString& reason, bool isTracksFault) {
    dbglog_info("Cannot play " << m_track.path << ": " << reason);
    send("stop");
    rest();
    Q_EMIT failed(reason, isTracksFault);
}
