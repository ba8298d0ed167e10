// SPDX-License-Identifier: MIT
#include "mediaworker.h"

#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmvalueitem.h"
#include "core/model/cmvalues.h"
#include "core/plixconnect.h"
#include "core/plixhttprequest.h"
#include "library/filenames.h"
#include "library/medialibrary.h"
#include "mediachanges.h"
#include "mediarows.h"
#include "mediaserver.h"
#include "trackgenerator.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

namespace {

// A folder changes many times while files are copied into it.
constexpr int rescanDelayMs = 300;
// Longer answers are not cached: they take more memory than they save time.
constexpr int maximumCachedRows = 1000;

QString livePath() {
    return QStringLiteral("media:/live");
}
QString scanPath() {
    return QStringLiteral("media:scan");
}
QString startPath() {
    return QStringLiteral("media:scan/start");
}
QString cancelPath() {
    return QStringLiteral("media:scan/cancel");
}

CMPath directoryPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/media/directory"));
}
CMPath stationsPath() {
    return CMPath::fromEncoded(QStringLiteral("settings:/media/stations"));
}

// Empty when it is not there.
QString scanProgram(const QVariantHash& config) {
    const QString configured = config.value(QStringLiteral("scanProgram")).toString();
    // In a build folder beside the host program, otherwise where it is installed.
    const QString folder = QCoreApplication::applicationDirPath();
    return configured.isEmpty()
               ? QStandardPaths::findExecutable(
                     QStringLiteral("plix-media-scan"),
                     {folder, folder + QStringLiteral("/" PLIX_INSTALLED_PROGRAMS)})
               : QStandardPaths::findExecutable(configured);
}

QVariantHash container(const QString& title) {
    return {{PlixRoles::Title(), title},
            {PlixRoles::Type(), QStringLiteral("container")},
            {PlixRoles::Modifiable(), false}};
}

QVariantHash action(const QString& title) {
    return {{PlixRoles::Title(), title},
            {PlixRoles::Modifiable(), false},
            {PlixRoles::Activate(), true}};
}

QSet<QString> internalNodes(const QVariantHash& nodes) {
    QSet<QString> internal;
    for (auto node = nodes.cbegin(); node != nodes.cend(); ++node) {
        if (CMValues::scalar(node->toHash().value(PlixRoles::Internal())).toBool())
            internal.insert(node.key());
    }
    return internal;
}

} // namespace

MediaWorker::MediaWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("media")), m_config(config),
      m_stateDirectory(config.value(QStringLiteral("stateDir")).toString()),
      m_scanProgram(scanProgram(config)),
      m_internal(internalNodes(config.value(QStringLiteral("nodes")).toHash())),
      m_found(std::make_shared<const MediaCatalogue>()), m_catalogue(m_found) {
    provideNodes();
    m_rescan.setSingleShot(true);
    m_rescan.setInterval(rescanDelayMs);
    plixConnect(&m_rescan, &QTimer::timeout, this, &MediaWorker::readFolder);
    plixConnect(&m_watcher, SIGNAL(directoryChanged(QString)), this,
                SLOT(on_watcher_directoryChanged()));

    CMAbstractWorker* root = CMRoot();
    readStations();
    useDirectory(root ? PlixValue(root->getValue(directoryPath()).toHash()).string_() : QString());
    new CMValueItem(this, directoryPath(), this, SLOT(on_directory_changed(PlixValue)));
    if (root)
        root->connectDataChange(stationsPath(), this, SLOT(on_stations_dataChanged()));
}

MediaWorker::~MediaWorker() = default;

void MediaWorker::provideNodes() {
    provide(CatalogueLists::root(), container(QStringLiteral("Media")));
    for (const auto& list : CatalogueLists::titles())
        provide(CatalogueLists::root() + list.first, container(list.second));
    PlixValue live;
    live.setString_(livePath());
    provide(livePath(), {{PlixRoles::Title(), QStringLiteral("Live")},
                         {PlixRoles::Type(), QStringLiteral("audio")},
                         {PlixRoles::Modifiable(), false},
                         {PlixRolesType::Value(), live.__variant()}});
    provide(scanPath(), {{PlixRoles::Title(), QStringLiteral("Media library")},
                         {PlixRoles::Modifiable(), false}});
    provide(startPath(), action(QStringLiteral("Look for changes")));
    provide(cancelPath(), action(QStringLiteral("Stop looking")));
}

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
    m_library.reset();
    if (!m_watcher.directories().isEmpty())
        m_watcher.removePaths(m_watcher.directories());
    tell({});
    if (!directory.isEmpty())
        return canHaveLibrary() ? useLibrary(directory) : useFolder(directory);
    if (m_stateDirectory.isEmpty())
        return useFolder({});
    // Until the tracks are there, which takes a moment at the first start.
    setServer({});
    m_generator =
        std::make_unique<TrackGenerator>(m_stateDirectory + QStringLiteral("/media"), nullptr);
    plixConnect(m_generator.get(), SIGNAL(finished()), this, SLOT(on_generator_finished()));
    m_generator->start();
}

bool MediaWorker::canHaveLibrary() const {
    if (m_scanProgram.isEmpty())
        dbglog_info("Without plix-media-scan there is no library");
    else if (!MediaStore::isAvailable())
        dbglog_info("Without Qt's SQLite driver there is no library");
    return !m_scanProgram.isEmpty() && !m_stateDirectory.isEmpty() && MediaStore::isAvailable();
}

void MediaWorker::on_generator_finished() {
    useFolder(m_stateDirectory + QStringLiteral("/media"));
}

void MediaWorker::setServer(const QString& folder) {
    const QString cache =
        m_stateDirectory.isEmpty() ? QString() : m_stateDirectory + QStringLiteral("/media/cache");
    m_server = std::make_unique<MediaServer>(MediaServer::Options{folder, cache, m_scanProgram});
}

void MediaWorker::useFolder(const QString& path) {
    m_folder = MediaFolder(path);
    setServer(path);
    if (!path.isEmpty() && !m_watcher.addPath(path))
        dbglog_warning("There is no folder " << path);
    readFolder();
}

void MediaWorker::useLibrary(const QString& path) {
    setServer(path);
    m_found = std::make_shared<const MediaCatalogue>();
    publish();
    LibraryIndexer::Options options;
    options.folder = FileNames::toBytes(QDir::cleanPath(path));
    options.databasePath = m_stateDirectory + QStringLiteral("/media/library.db");
    options.scanProgram = m_scanProgram;
    options.settleMs = m_config.value(QStringLiteral("settleMs"), options.settleMs).toInt();
    options.deadlineMs = m_config.value(QStringLiteral("deadlineMs"), options.deadlineMs).toInt();
    m_library = std::make_unique<MediaLibrary>(options);
    plixConnect(m_library.get(), &MediaLibrary::progressChanged, this, &MediaWorker::tell);
    QObject::connect(m_library.get(), &MediaLibrary::catalogueChanged, this,
                     [this](const MediaCataloguePtr& catalogue) {
                         m_found = catalogue;
                         publish();
                     });
}

void MediaWorker::on_watcher_directoryChanged() {
    m_rescan.start();
}

void MediaWorker::readFolder() {
    m_found = std::make_shared<const MediaCatalogue>(m_folder.content());
    publish();
    dbglog_info("Offering " << m_found->size() << " tracks of " << m_folder.path());
}

void MediaWorker::on_stations_dataChanged() {
    readStations();
    publish();
}

// The stations of an internal setting are internal themselves.
void MediaWorker::readStations() {
    if (!CMRoot())
        return;
    const CMReply<QList<QVariant>> reply;
    CMRoot()->getData(stationsPath(), {PlixRolesType::Value(), PlixRoles::Internal()}, reply);
    reply.onFinished(this, [this](const CMReply<QList<QVariant>>& finished) {
        const QList<QVariant> values = finished.value();
        m_stations = Stations::fromSetting(values.value(0).toList(),
                                           CMValues::scalar(values.value(1)).toBool());
    });
}

void MediaWorker::publish() {
    const MediaCataloguePtr before = m_catalogue;
    m_catalogue = m_found->withStations(m_stations);
    ++m_version;
    // A receiver of the changes may delete this worker.
    const MediaCataloguePtr after = m_catalogue;
    announceChanges(*before, *after);
}

void MediaWorker::tell(const LibraryProgress& progress) {
    m_progress = progress;
    setRole(scanPath(), PlixRolesType::Value(), progress.value());
}

void MediaWorker::getDataRequest(const CMGetDataRequest& request) {
    const QString path = request.path.toEncoded();
    const QVariantHash roles = CatalogueLists::node(*m_catalogue, path);
    if (roles.isEmpty())
        return CMNodesWorker::getDataRequest(request);
    QVariantList values;
    for (const QString& wanted : request.roles)
        values.append(roles.contains(wanted) ? roles.value(wanted) : role(path, wanted));
    request.reply.finish(values);
}

void MediaWorker::getRowsRequest(const CMGetRowsRequest& request) {
    const QString path = request.path.toEncoded();
    const std::optional<CatalogueLists::List> list = CatalogueLists::find(*m_catalogue, path);
    if (!list)
        return CMNodesWorker::getRowsRequest(request);
    if (request.version != -1 && request.version != m_version)
        return request.reply.fail(
            CMError::fromName(CMErrorNames::versionMismatch(),
                              QStringLiteral("The list has version %1").arg(m_version)));

    const auto make = [&] { return MediaRows::answer(*list, request, m_version, m_internal); };
    const bool isLong = qint64(request.to) - request.from >= maximumCachedRows;
    request.reply.finish(isLong ? make() : m_answers.answer(request, m_version, make));
}

void MediaWorker::setDataRequest(const CMSetDataRequest& request) {
    const QString path = request.path.toEncoded();
    if (request.role == PlixRoles::Activate() && activate(path))
        return request.reply.finish(true);
    if (request.role == PlixRoles::HttpRequest()) {
        const QString root = CatalogueLists::root();
        const QString name = path.startsWith(root) ? path.mid(root.size()) : QString();
        return m_server->answer(
            name, *m_catalogue, PlixHttpRequest(request.value.toHash()),
            [reply = request.reply](const QVariantHash& answer) { reply.finish(answer); });
    }
    if (CatalogueLists::node(*m_catalogue, path).isEmpty())
        return CMNodesWorker::setDataRequest(request);
    request.reply.fail(CMError::fromName(
        CMErrorNames::notModifiable(),
        QStringLiteral("Role \"%1\" of \"%2\" cannot be modified").arg(request.role, path)));
}

// False when the path is no action. Without a library there is nothing to do.
bool MediaWorker::activate(const QString& path) {
    const bool isStart = path == startPath();
    if (!isStart && path != cancelPath())
        return false;
    if (!m_library)
        return true;
    if (!isStart) {
        m_library->cancel();
        return true;
    }
    // At once, so that who has started it does not take the rest before for its end.
    m_progress.state = LibraryProgress::State::Scanning;
    tell(m_progress);
    m_library->scan();
    return true;
}
