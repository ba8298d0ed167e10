// SPDX-License-Identifier: MIT
#include "mediaserver.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/plixhttprequest.h"
#include "library/filenames.h"
#include "livesource.h"
#include "pipewriter.h"

#include <QFile>
#include <QUrlQuery>

#include <cerrno>
#include <cstring>

namespace {

QVariantHash statusOnly(int status) {
    PlixHttpRequestReply reply;
    reply.setStatus(status);
    return reply.__hash();
}

QVariantHash localFile(const QString& path, const QString& type) {
    PlixHttpRequestReply reply;
    reply.setStatus(200);
    reply.setContentType(type);
    reply.setLocalFile(path);
    return reply.__hash();
}

// Another picture has another hash, so that clients need not ask again.
QVariantHash lasting(const QVariantHash& answer) {
    PlixHttpRequestReply reply(answer);
    reply.setHeaders({{QStringLiteral("Cache-Control"),
                       QStringLiteral("private, max-age=31536000, immutable")}});
    return reply.__hash();
}

QString queryItem(const PlixHttpRequest& request, const char* name) {
    const QUrlQuery query(request.data().variable(QStringLiteral("QUERY_STRING")).toString());
    return query.queryItemValue(QLatin1String(name));
}

QString fileType(const QString& name) {
    return MimeTypes::URIToMimeType(name, MimeTypes::Application::octetStream());
}

// Of the pictures that the scan program passes on.
QString pictureType(const QString& path) {
    QFile file(path);
    const QByteArray begin = file.open(QIODevice::ReadOnly) ? file.read(4) : QByteArray();
    return begin.startsWith("\xff\xd8")  ? QStringLiteral("image/jpeg")
           : begin.startsWith("\x89PNG") ? QStringLiteral("image/png")
           : begin.startsWith("GIF8")    ? QStringLiteral("image/gif")
           : begin.startsWith("RIFF")    ? QStringLiteral("image/webp")
                                         : MimeTypes::Application::octetStream();
}

} // namespace

MediaServer::MediaServer(const Options& options, QObject* parent)
    : QObject(parent), m_folder(options.folder), m_root(FileNames::toBytes(options.folder)) {
    if (options.cacheFolder.isEmpty()) {
        m_files = LibraryFiles(m_root, {});
        return;
    }
    m_files = LibraryFiles(m_root, options.cacheFolder + QStringLiteral("/links"));
    if (!options.scanProgram.isEmpty())
        m_covers = std::make_unique<CoverCache>(options.cacheFolder + QStringLiteral("/covers"),
                                                options.scanProgram);
}

MediaServer::~MediaServer() = default;

void MediaServer::answer(const QString& name, const MediaCatalogue& catalogue,
                         const PlixHttpRequest& request, const Done& done) {
    const QString covers = QStringLiteral("covers/");
    if (name == QLatin1String("live"))
        return done(answerThroughPipe(request, QStringLiteral("audio/wav"),
                                      std::make_unique<LiveSource>()));
    if (name.startsWith(covers) && !FileNames::isAudio(name.toUtf8()))
        return answerCover(name.mid(covers.size()), catalogue, request, done);
    done(answerTrack(name, catalogue, request));
}

QVariantHash MediaServer::answerTrack(const QString& name, const MediaCatalogue& catalogue,
                                      const PlixHttpRequest& request) {
    const QByteArray path = FileNames::toBytes(name);
    const int known = catalogue.find(path);
    const QString file = m_files.find(known < 0 ? path : catalogue.track(known).path);
    return file.isNull() ? statusOnly(404) : answerFile(file, fileType(file), request);
}

void MediaServer::answerCover(const QString& name, const MediaCatalogue& catalogue,
                              const PlixHttpRequest& request, const Done& done) {
    const QString named = m_folder.findCover(name);
    if (!named.isNull())
        return done(answerFile(named, fileType(named), request));
    const QByteArray hash = name.toLatin1();
    const QByteArray source = catalogue.coverFile(hash);
    if (source.isNull() || !m_covers)
        return done(statusOnly(404));
    const int size = CoverCache::sizeFor(queryItem(request, "size").toInt());
    m_covers->get(hash, size, m_root + '/' + source, [done](const QString& file) {
        done(file.isNull() ? statusOnly(404) : lasting(localFile(file, pictureType(file))));
    });
}

QVariantHash MediaServer::answerFile(const QString& path, const QString& type,
                                     const PlixHttpRequest& request) {
    if (queryItem(request, "via") != QLatin1String("pipe"))
        return localFile(path, type);
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

QVariantHash MediaServer::answerThroughPipe(const PlixHttpRequest& request,
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
    // It deletes itself, at the latest with this object.
    static_cast<void>(writer.release());
    PlixHttpRequestReply reply;
    reply.setStatus(200);
    reply.setContentType(contentType);
    return reply.__hash();
}
