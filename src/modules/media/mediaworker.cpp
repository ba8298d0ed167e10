#include "mediaworker.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmvalueitem.h"
#include "core/plixconnect.h"
#include "core/plixhttprequest.h"
#include "livesource.h"
#include "pipewriter.h"
#include "trackgenerator.h"

#include <QFile>
#include <QUrlQuery>

#include <cerrno>
#include <cstring>

namespace {

// A folder changes many times while files are copied into it.
constexpr int rescanDelayMs = 300;

QString rootPath() {
    return QStringLiteral("media:/");
}
QString livePath() {
    return QStringLiteral("media:/live");
}

CMPath directoryPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/media/directory"));
}

QVariant textRecord(const QString& text) {
    PlixValue value;
    value.setString_(text);
    return value.__variant();
}

QVariantHash trackRoles(const MediaFolder::Track& track) {
    QVariantHash roles{
        {PlixRoles::Title(), track.title},
        {PlixRoles::Type(), QStringLiteral("audio")},
        {PlixRoles::Description(), track.artist},
        {PlixRoles::Modifiable(), false},
        {PlixRolesType::Value(), textRecord(rootPath() + track.fileName)},
        {PlixRoles::Maximum(), QVariant()},
        {PlixRoles::Icon(), QVariant()},
    };
    if (track.durationMs > 0)
        roles.insert(PlixRoles::Maximum(), track.durationMs);
    if (!track.cover.isEmpty())
        roles.insert(PlixRoles::Icon(), rootPath() + QStringLiteral("covers/") + track.cover);
    return roles;
}

QVariantHash statusOnly(int status) {
    PlixHttpRequestReply reply;
    reply.setStatus(status);
    return reply.__hash();
}

bool wantsPipe(const PlixHttpRequest& request) {
    const QUrlQuery query(request.data().variable(QStringLiteral("QUERY_STRING")).toString());
    return query.queryItemValue(QStringLiteral("via")) == QLatin1String("pipe");
}

} // namespace

MediaWorker::MediaWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("media")),
      m_stateDirectory(config.value(QStringLiteral("stateDir")).toString()) {
    provide(rootPath(), {{PlixRoles::Title(), QStringLiteral("Media")},
                         {PlixRoles::Type(), QStringLiteral("container")},
                         {PlixRoles::Modifiable(), false}});
    provide(livePath(), {{PlixRoles::Title(), QStringLiteral("Live")},
                         {PlixRoles::Type(), QStringLiteral("audio")},
                         {PlixRoles::Modifiable(), false},
                         {PlixRolesType::Value(), textRecord(livePath())}});

    m_rescan.setSingleShot(true);
    m_rescan.setInterval(rescanDelayMs);
    plixConnect(&m_rescan, &QTimer::timeout, this, &MediaWorker::publish);
    plixConnect(&m_watcher, SIGNAL(directoryChanged(QString)), this,
                SLOT(on_watcher_directoryChanged()));

    CMAbstractWorker* root = CMRoot();
    useDirectory(root ? PlixValue(root->getValue(directoryPath()).toHash()).string_() : QString());
    new CMValueItem(this, directoryPath(), this, SLOT(on_directory_changed(PlixValue)));
}

MediaWorker::~MediaWorker() = default;

// Does not change roles that the configuration has set.
void MediaWorker::provide(const QString& path, const QVariantHash& roles) {
    QVariantHash missing;
    for (auto entry = roles.begin(); entry != roles.end(); ++entry) {
        if (!role(path, entry.key()).isValid())
            missing.insert(entry.key(), *entry);
    }
    setNode(path, missing);
}

void MediaWorker::on_directory_changed(const PlixValue& value) {
    if (value.string_() != m_directory)
        useDirectory(value.string_());
}

void MediaWorker::useDirectory(const QString& directory) {
    m_directory = directory;
    m_generator.reset();
    if (!directory.isEmpty())
        return useFolder(directory);
    if (m_stateDirectory.isEmpty())
        return useFolder({});
    m_generator =
        std::make_unique<TrackGenerator>(m_stateDirectory + QStringLiteral("/media"), nullptr);
    plixConnect(m_generator.get(), SIGNAL(finished()), this, SLOT(on_generator_finished()));
    m_generator->start();
}

void MediaWorker::on_generator_finished() {
    useFolder(m_stateDirectory + QStringLiteral("/media"));
}

void MediaWorker::useFolder(const QString& path) {
    if (!m_watcher.directories().isEmpty())
        m_watcher.removePaths(m_watcher.directories());
    m_folder = MediaFolder(path);
    if (!path.isEmpty() && !m_watcher.addPath(path))
        dbglog_warning("There is no folder " << path);
    publish();
}

void MediaWorker::on_watcher_directoryChanged() {
    m_rescan.start();
}

void MediaWorker::publish() {
    QVector<QVariantHash> rows;
    QStringList paths;
    const QVector<MediaFolder::Track> tracks = m_folder.tracks();
    for (const MediaFolder::Track& track : tracks) {
        rows.append(trackRoles(track));
        paths.append(rootPath() + track.fileName);
        setNode(paths.last(), rows.last());
    }
    const QSet<QString> present(paths.begin(), paths.end());
    for (const QString& path : qAsConst(m_trackPaths)) {
        if (!present.contains(path))
            removeNode(path);
    }
    m_trackPaths = paths;
    setRows(rootPath(), rows);
    dbglog_info("Offering " << rows.size() << " tracks of " << m_folder.path());
}

void MediaWorker::setDataRequest(const CMSetDataRequest& request) {
    if (request.role != PlixRoles::HttpRequest())
        return CMNodesWorker::setDataRequest(request);
    const QString path = request.path.toEncoded();
    const QString name = path.startsWith(rootPath()) ? path.mid(rootPath().size()) : QString();
    request.reply.finish(answer(name, PlixHttpRequest(request.value.toHash())));
}

QVariantHash MediaWorker::answer(const QString& name, const PlixHttpRequest& request) {
    if (rootPath() + name == livePath())
        return answerThroughPipe(request, QStringLiteral("audio/wav"),
                                 std::make_unique<LiveSource>());
    const QString file = m_folder.find(name);
    return file.isNull() ? statusOnly(404) : answerFile(file, request);
}

QVariantHash MediaWorker::answerFile(const QString& path, const PlixHttpRequest& request) {
    const QString type = MimeTypes::URIToMimeType(path, MimeTypes::Application::octetStream());
    if (!wantsPipe(request)) {
        PlixHttpRequestReply reply;
        reply.setStatus(200);
        reply.setContentType(type);
        reply.setLocalFile(path);
        return reply.__hash();
    }
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly)) {
        dbglog_warning("Cannot read " << path << ": " << file->errorString());
        return statusOnly(403);
    }
    const qint64 length = file->size();
    PlixHttpRequestReply reply(answerThroughPipe(request, type, std::move(file)));
    if (reply.status() == 200)
        reply.setContentLength(length);
    return reply.__hash();
}

QVariantHash MediaWorker::answerThroughPipe(const PlixHttpRequest& request,
                                            const QString& contentType,
                                            std::unique_ptr<QIODevice> source) {
    if (!request.hasStreamPipe()) {
        dbglog_warning("Not writing into the pipe \"" << request.pipe() << "\"");
        return statusOnly(400);
    }
    auto writer = std::make_unique<PipeWriter>(request.pipe(), std::move(source), this);
    if (!writer->start()) {
        dbglog_warning("Cannot write to " << request.pipe() << ": " << strerror(errno));
        return statusOnly(503);
    }
    // It deletes itself, at the latest with this worker.
    static_cast<void>(writer.release());
    PlixHttpRequestReply reply;
    reply.setStatus(200);
    reply.setContentType(contentType);
    return reply.__hash();
}
