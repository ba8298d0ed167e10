// SPDX-License-Identifier: MIT
#pragma once

#include "folderwalk.h"
#include "folderwatcher.h"
#include "libraryindex.h"
#include "libraryprogress.h"
#include "scanprocess.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <atomic>

// Keeps the index of a folder up to date: walks through it, has new and changed files read, and
// watches it. Lives on a thread of its own, which may wait for disks; only stop() is for others.
class LibraryIndexer : public QObject {
    Q_OBJECT

public:
    // What reads files at a time. More than two make a disk slower and leave no processor for the
    // rest of a small device.
    static constexpr int maximumProcesses = 2;

    struct Options {
        QByteArray folder;
        QString databasePath;
        QString scanProgram;
        // A file that was written to more recently is left alone: it is being copied.
        int settleMs = 5000;
        int deadlineMs = ScanProcess::defaultDeadlineMs;
    };

    explicit LibraryIndexer(const Options& options);
    ~LibraryIndexer() override;

    // Ends a walk that is under way. For any thread.
    void stop() { m_isStopped = true; }

public Q_SLOTS:
    // To be called once.
    void begin();
    void scan();
    void cancel();

Q_SIGNALS:
    void catalogueChanged(const MediaCataloguePtr& catalogue);
    void progressChanged(const LibraryProgress& progress);

private Q_SLOTS:
    void on_watcher_folderChanged(const QByteArray& folder);
    void on_changes_timeout();
    void on_unsettled_timeout();
    void on_save_timeout();
    void on_process_answered(const QByteArray& fileName, const QVariantHash& record);
    void on_process_died(const QByteArray& fileName, const QString& reason);
    void on_process_broken(const QString& reason);

private:
    void startTimers();
    void startReaders();
    void startProcess();
    bool isAway(MediaStore::Source* source) const;
    void beAway();
    void scan(const QSet<QByteArray>& folders);
    bool visit(const QByteArray& folder, int found);
    void takeOver(const FolderContent& content);
    void readOrWait(const QByteArray& path, const FolderContent::File& file);
    LibraryTrack taken(const QByteArray& fileName);
    void changed();
    void publish();
    void rest();
    void tell(LibraryProgress::State state);
    void tellNumbers();

    Options m_options;
    std::atomic<bool> m_isStopped{false};
    std::unique_ptr<LibraryIndex> m_index;
    std::unique_ptr<FolderWatcher> m_watcher;
    std::vector<std::unique_ptr<ScanProcess>> m_processes;
    LibraryProgress m_progress;
    // What is being read, and what waits until it is not written to any more.
    QHash<QByteArray, FolderContent::File> m_reading;
    QSet<QByteArray> m_unsettled;
    QSet<QByteArray> m_changedFolders;
    bool m_isPartlyWatched = false;
    // Whether the last scan of everything was cancelled.
    bool m_isIncomplete = false;
    QTimer m_changes{this};
    QTimer m_unsettledCheck{this};
    QTimer m_save{this};
    QTimer m_rescan{this};
    QTimer m_numbers{this};
    // Since the numbers were told last.
    QElapsedTimer m_told;
};
