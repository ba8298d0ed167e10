// SPDX-License-Identifier: MIT
#pragma once

#include "library/covercache.h"
#include "library/libraryfiles.h"
#include "library/mediacatalogue.h"
#include "mediafolder.h"

#include <QVariantHash>

#include <memory>

class PlixHttpRequest;
class QIODevice;

// Answers the HTTP requests for nodes below media:/ with files, covers and the live stream.
class MediaServer : public QObject {
    Q_OBJECT

public:
    struct Options {
        // Of the tracks.
        QString folder;
        // For files that are made when they are asked for.
        QString cacheFolder;
        // The program that makes covers; empty for none.
        QString scanProgram;
    };

    explicit MediaServer(const Options& options, QObject* parent = nullptr);
    ~MediaServer() override;

    using Done = std::function<void(const QVariantHash& reply)>;
    // `name` is what follows "media:/" in the path. Answered once, not after the end of this
    // object.
    void answer(const QString& name, const MediaCatalogue& catalogue,
                const PlixHttpRequest& request, const Done& done);

private:
    QVariantHash answerTrack(const QString& name, const MediaCatalogue& catalogue,
                             const PlixHttpRequest& request);
    void answerCover(const QString& name, const MediaCatalogue& catalogue,
                     const PlixHttpRequest& request, const Done& done);
    QVariantHash answerFile(const QString& path, const QString& type,
                            const PlixHttpRequest& request);
    QVariantHash answerThroughPipe(const PlixHttpRequest& request, const QString& contentType,
                                   std::unique_ptr<QIODevice> source);

    MediaFolder m_folder;
    QByteArray m_root;
    LibraryFiles m_files;
    std::unique_ptr<CoverCache> m_covers;
};
