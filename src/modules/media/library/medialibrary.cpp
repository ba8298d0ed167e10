// SPDX-License-Identifier: MIT
#include "medialibrary.h"

#include "core/plixconnect.h"

MediaLibrary::MediaLibrary(const LibraryIndexer::Options& options, QObject* parent)
    : QObject(parent), m_indexer(new LibraryIndexer(options)) {
    qRegisterMetaType<MediaCataloguePtr>();
    qRegisterMetaType<LibraryProgress>();
    m_thread.setObjectName(QStringLiteral("media library"));
    m_indexer->moveToThread(&m_thread);
    plixConnect(&m_thread, &QThread::started, m_indexer, &LibraryIndexer::begin);
    plixConnect(&m_thread, &QThread::finished, m_indexer, &QObject::deleteLater);
    plixConnect(m_indexer, &LibraryIndexer::catalogueChanged, this,
                &MediaLibrary::catalogueChanged);
    plixConnect(m_indexer, &LibraryIndexer::progressChanged, this, &MediaLibrary::progressChanged);
    m_thread.start();
}

MediaLibrary::~MediaLibrary() {
    m_indexer->stop();
    m_thread.quit();
    m_thread.wait();
}

void MediaLibrary::scan() {
    QMetaObject::invokeMethod(m_indexer, [indexer = m_indexer] { indexer->scan(); });
}

void MediaLibrary::cancel() {
    m_indexer->stop();
    QMetaObject::invokeMethod(m_indexer, [indexer = m_indexer] { indexer->cancel(); });
}
