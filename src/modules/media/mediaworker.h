// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"
#include "library/cataloguelists.h"
#include "library/libraryprogress.h"
#include "mediafolder.h"

#include <QFileSystemWatcher>
#include <QSet>
#include <QTimer>

class MediaLibrary;
class MediaServer;
class TrackGenerator;

// The device's audio files: those below the folder that settings:/media/directory names, or, while
// it names none, tracks that are generated below the state directory; and radio stations.
//
//   media:/            rows: the tracks, with the roles of their nodes
//   media:/PATH        a track: title, description (the artist), icon (the path of its cover),
//                      value (its own path), maximum (its duration in milliseconds, when known),
//                      and its other tags
//   media:/albums, artists, genres, recent, folders, stations
//                      lists whose rows lead on: value is the path of another list or of a track
//   media:/search/TEXT what the text finds
//   media:/covers/NAME a cover
//   media:/live        an endless tune
//   media:scan         where the library stands; media:scan/start, media:scan/cancel
//
// Tracks, covers and the tune answer HTTP requests: with the local name of a file or, with
// "via=pipe" in the query, through the pipe. A name that does not exist is answered with status
// 404.
//
// A folder of one's own is a library if there is the program that reads tags, and a database to
// keep them in. Otherwise it has the files directly in it, by their names.
//
// Configuration: "nodes"; "stateDir", the state directory; "scanProgram", in place of the one
// beside the host program; "settleMs" and "deadlineMs", see LibraryIndexer::Options.
class MediaWorker : public CMNodesWorker {
    Q_OBJECT

public:
    explicit MediaWorker(const QVariantHash& config);
    ~MediaWorker() override;

    void getDataRequest(const CMGetDataRequest& request) override;
    void getRowsRequest(const CMGetRowsRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

private Q_SLOTS:
    void on_directory_changed(const PlixValue& value);
    void on_stations_dataChanged();
    void on_generator_finished();
    void on_watcher_directoryChanged();

private:
    void provide(const QString& path, const QVariantHash& roles);
    void provideNodes();
    bool canHaveLibrary() const;
    void useDirectory(const QString& directory);
    void useFolder(const QString& path);
    void useLibrary(const QString& path);
    void setServer(const QString& folder);
    void readFolder();
    void readStations();
    void publish();
    void tell(const LibraryProgress& progress);
    bool activate(const QString& path);

    QVariantHash m_config;
    QString m_stateDirectory;
    QString m_scanProgram;
    // Paths that the device file hides.
    QSet<QString> m_internal;
    QString m_directory;
    MediaFolder m_folder;
    std::unique_ptr<MediaLibrary> m_library;
    std::unique_ptr<MediaServer> m_server;
    std::unique_ptr<TrackGenerator> m_generator;
    QFileSystemWatcher m_watcher;
    QTimer m_rescan;
    // As it comes from the folder, and with the stations of the settings; never null.
    MediaCataloguePtr m_found;
    MediaCataloguePtr m_catalogue;
    QVector<Station> m_stations;
    LibraryProgress m_progress;
    qint64 m_version = 0;
    CMRowsAnswers m_answers;
};
