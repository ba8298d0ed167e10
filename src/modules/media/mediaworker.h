#pragma once

#include "core/model/cmnodesworker.h"
#include "mediafolder.h"

#include <QFileSystemWatcher>
#include <QTimer>

class PlixHttpRequest;
class QIODevice;
class TrackGenerator;

// The device's audio files: those of the folder that settings:/media/directory names, or, while it
// names none, tracks that are generated below the state directory.
//
//   media:/            rows: the tracks, with the roles of their nodes
//   media:/NAME        a track: title, description (the artist), icon (the path of its cover),
//                      value (its own path), maximum (its duration in milliseconds, when known)
//   media:/covers/NAME a cover
//   media:/live        an endless tune
//
// All nodes but the list answer HTTP requests: with the local name of a file or, with "via=pipe" in
// the query, through the pipe. A name that does not exist is answered with status 404.
//
// Configuration: "nodes"; "stateDir", the state directory.
class MediaWorker : public CMNodesWorker {
    Q_OBJECT

public:
    explicit MediaWorker(const QVariantHash& config);
    ~MediaWorker() override;

    void setDataRequest(const CMSetDataRequest& request) override;

private Q_SLOTS:
    void on_directory_changed(const PlixValue& value);
    void on_generator_finished();
    void on_watcher_directoryChanged();

private:
    void provide(const QString& path, const QVariantHash& roles);
    void useDirectory(const QString& directory);
    void useFolder(const QString& path);
    void publish();
    QVariantHash answer(const QString& name, const PlixHttpRequest& request);
    QVariantHash answerFile(const QString& file, const PlixHttpRequest& request);
    QVariantHash answerThroughPipe(const PlixHttpRequest& request, const QString& contentType,
                                   std::unique_ptr<QIODevice> source);

    QString m_stateDirectory;
    QString m_directory;
    MediaFolder m_folder;
    QStringList m_trackPaths;
    std::unique_ptr<TrackGenerator> m_generator;
    QFileSystemWatcher m_watcher;
    QTimer m_rescan;
};
