// SPDX-License-Identifier: MIT
#pragma once

#include "libraryindexer.h"

#include <QThread>

// The library of a folder for the event loop: what it contains and where it stands, kept up to date
// on a thread of its own, which ends with this object.
class MediaLibrary : public QObject {
    Q_OBJECT

public:
    explicit MediaLibrary(const LibraryIndexer::Options& options, QObject* parent = nullptr);
    ~MediaLibrary() override;

    // Looks through the whole folder again.
    void scan();
    // Ends a scan. What was read so far stays; the next scan goes on from there.
    void cancel();

Q_SIGNALS:
    void catalogueChanged(const MediaCataloguePtr& catalogue);
    void progressChanged(const LibraryProgress& progress);

private:
    QThread m_thread;
    // Deleted on its thread.
    LibraryIndexer* m_indexer;
};
