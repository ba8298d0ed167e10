#include "handlers/statichandler.h"

#include "byteranges.h"
#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "documentroot.h"
#include "glibptr.h"
#include "handlers/keptfiles.h"
#include "message.h"
#include "truncation.h"

#include <QCache>
#include <QDir>
#include <QFile>

#include <sys/stat.h>

namespace {

// As many files as a user interface has, with room to spare; an entry is a few hundred bytes.
constexpr int cachedFiles = 200;

void sendText(Message* message, int status, const QString& text) {
    // Responders have the message prepared for a stream: a refusal must not look different there.
    message->setEncoding(Message::ContentLength);
    message->setStatus(status, QString());
    message->setResponseBody(text, MimeTypes::Text::plain());
}

void sendNotFoundText(Message* message, int status) {
    sendText(message, status,
             QStringLiteral("The requested url '%1' was not found.").arg(message->fullUri()));
}

// Why a file counts as missing; null when it does not.
const char* reasonToHide(const QFileInfo& file, const QString& canonical,
                         const QString& documentRoot) {
    if (canonical.isEmpty() || !file.exists())
        return "non-existent";
    if (!isWithinDocumentRoot(canonical, documentRoot))
        return "out-of-document-root";
    // Opening a FIFO would wait for its writer, opening a device may do anything.
    if (!file.isFile() && !file.isDir())
        return "non-regular";
    return nullptr;
}

bool hasParentComponent(const QString& path) {
    return path.contains(QLatin1String("/../")) || path.endsWith(QLatin1String("/.."));
}

// The name to compare with the document root, and to open: without links and "..", so that it is
// the same file both times. Empty when there is no such file.
QString canonicalPath(const QFileInfo& file, const QString& documentRoot) {
    // The system's functions take a name to end at a NUL, so that they would see another file than
    // the one whose name was checked.
    if (file.filePath().contains(QChar::Null))
        return {};
    // To resolve links asks the system about every folder above, in vain without a root.
    if (documentRoot.isEmpty() && !hasParentComponent(file.filePath()))
        return file.filePath();
    return file.canonicalFilePath();
}

// Not QFileInfo's, which asks the system for its time zone each time.
QDateTime modificationTime(const QFileInfo& file) {
    struct stat status {};
    if (::stat(QFile::encodeName(file.filePath()).constData(), &status) != 0)
        return {};
    return QDateTime::fromMSecsSinceEpoch(
        qint64(status.st_mtim.tv_sec) * 1000 + status.st_mtim.tv_nsec / 1'000'000, Qt::UTC);
}

void redirect(Message* message, const QString& path) {
    PlixUrl location = message->url();
    location.setPath(path);
    message->setStatus(301, QString());
    message->setHeader(QByteArrayLiteral("Location"), location.toEncoded());
    message->setNoCache();
}

void serveDirectory(const QFileInfo& directory, const QString& canonical,
                    const QString& documentRoot, const QString& rootPage, Message* message,
                    const QString& contentType) {
    dbglog_debug("StaticHandler::serveFile: url is dir, serving index file:");
    const QString path = message->url().path();
    if (!path.endsWith(QLatin1Char('/'))) {
        dbglog_debug("StaticHandler::serveFile: url " << message->fullUri()
                                                      << " is dir without /, redirecting...");
        return redirect(message, path + QLatin1Char('/'));
    }
    if (canonical == documentRoot && !rootPage.isEmpty())
        return redirect(message, path + rootPage);
    const QFileInfo index(directory.absoluteFilePath() + QLatin1String("/index.html"));
    if (index.exists())
        return StaticHandler::serveFile(index, documentRoot, rootPage, message, contentType);
    redirect(message, path + QLatin1String("index.fcgi"));
}

// The header's list is searched for the bare digest, so that quoted and weak tags match too.
bool matchesETag(const QByteArray& list, const QByteArray& etag) {
    return list == "*" || list.contains(etag);
}

// Answers with 304 or 412 when a condition of the request asks for it.
bool answerConditions(Message* message, const QByteArray& method, const QByteArray& etag,
                      qint64 length) {
    if (method == "GET" || method == "HEAD") {
        if (matchesETag(message->headerList(QStringLiteral("If-None-Match")), etag)) {
            message->setStatus(304, QString());
            // The length that the file has, not that of the missing body, which caches would keep.
            message->setContentLength(length);
            return true;
        }
    }
    const QByteArray required = message->headerList(QStringLiteral("If-Match"));
    if (!required.isEmpty() && !matchesETag(required, etag)) {
        message->setStatus(412, QString());
        return true;
    }
    return false;
}

// The range to send; of the whole file when the one the client has a part of is another one.
RangeRequest requestedRange(const Message* message, const QByteArray& etag, qint64 length) {
    const QByteArray header = message->header(QStringLiteral("Range"));
    if (header.isNull() || length == 0)
        return {};
    RangeRequest range = parseRange(header, length);
    if (range.kind == RangeRequest::Whole)
        return {};
    dbglog_debug("got " << range.count << " ranges in the request");
    const QByteArray condition = message->header(QStringLiteral("If-Range"));
    if (!condition.isNull() && condition != etag)
        return {};
    if (range.kind == RangeRequest::Several)
        dbglog_info("Ignoring Range: header with multiple ranges: " << header);
    return range;
}

void sendContents(Message* message, const KeptFiles::File& contents, const QByteArray& etag) {
    const auto total = static_cast<qint64>(contents.entry.size);
    const RangeRequest range = requestedRange(message, etag, total);
    qint64 start = 0;
    qint64 length = total;
    if (range.kind == RangeRequest::Unsatisfiable) {
        dbglog_info("Unsatisfiable range: " << range.first << " " << range.last
                                            << " length: " << total);
        message->setHeader(QByteArrayLiteral("Content-Range"),
                           "bytes */" + QByteArray::number(total));
        // The text for a missing file, on purpose.
        return sendNotFoundText(message, 416);
    }
    if (range.kind == RangeRequest::Single) {
        dbglog_debug("got range request for " << range.first << " " << range.last
                                              << " entityLength=" << total);
        start = range.first;
        length = range.last - range.first + 1;
        message->setStatus(206, QString());
        message->setContentRange(range.first, range.last, total);
    }
    message->setHeader(QByteArrayLiteral("ETag"), etag);
    if (length > 0)
        message->responseBodyAdd(contents.mapped.get(), contents.mapping, start, length);
}

void answerMethod(const QFileInfo& file, Message* message, const QByteArray& method,
                  const KeptFiles::File& contents, const QByteArray& etag) {
    const auto logged = [&](const char* what) {
        dbglog_debug(what << " " << message->fullUri() << " " << file.absoluteFilePath());
    };
    message->setStatus(200, QString());
    if (method == "GET") {
        logged("Serving GET for");
        sendContents(message, contents, etag);
    } else if (method == "HEAD") {
        logged("Serving HEAD for");
        message->setHeader(QByteArrayLiteral("Content-Length"),
                           QByteArray::number(contents.entry.size));
    } else if (method == "POST") {
        logged("Serving POST for");
        message->setMethod("GET");
        sendContents(message, contents, etag);
    } else {
        dbglog_info("Unsupported method " << method << " for " << message->fullUri() << " "
                                          << file.absoluteFilePath());
        message->setStatus(405, QString());
        message->setHeader(QByteArrayLiteral("Allow"), QByteArrayLiteral("GET, HEAD, POST"));
    }
}

KeptFiles& keptFiles() {
    static KeptFiles files;
    return files;
}

void sendFile(const QFileInfo& file, const KeptFiles::File& contents, Message* message,
              const QString& contentType) {
    const StaticHandler::ETagCacheEntry& entry = contents.entry;
    const QByteArray etag = entry.etag.toLatin1();
    const QByteArray method = message->method();
    message->setContentType(contentType.isEmpty() ? entry.contentType : contentType);
    if (message->isHttps())
        message->setHeader(QByteArrayLiteral("Content-Security-Policy"),
                           QByteArrayLiteral("upgrade-insecure-requests"));
    if (!answerConditions(message, method, etag, static_cast<qint64>(entry.size)))
        answerMethod(file, message, method, contents, etag);
}

void sendOpenError(const QFileInfo& file, const QString& reason, Message* message) {
    dbglog_error("StaticHandler::handle: Error openning file: " << file.absoluteFilePath() << " "
                                                                << reason);
    sendText(message, 500, QStringLiteral("Error opening file: %1").arg(reason));
}

// Opens the canonical name, which is the one that was compared with the document root.
void serveRegularFile(const QFileInfo& file, const QString& canonical, const QString& documentRoot,
                      Message* message, const QString& contentType) {
    const QByteArray name = QFile::encodeName(canonical);
    struct stat before = {};
    stat(name.constData(), &before);
    GErrorPtr error;
    GMappedFilePtr mapped(g_mapped_file_new(name.constData(), FALSE, error.out()));
    if (!mapped)
        return sendOpenError(file, QString::fromUtf8(error.message()), message);
    const TruncationWatch mapping;
    const StaticHandler::ETagCacheEntry entry = StaticHandler::getCacheEntry(file, mapped.get());
    if (mapping.sawTruncation())
        return sendOpenError(file, QStringLiteral("It was truncated"), message);
    const auto contents =
        std::make_shared<const KeptFiles::File>(KeptFiles::File{std::move(mapped), mapping, entry});
    keptFiles().keep(file.filePath(), documentRoot, name, FileVersion::of(before), contents);
    sendFile(file, *contents, message, contentType);
}

} // namespace

StaticHandler::StaticHandler(const QString& documentRoot, const QString& rootPage,
                             const QString& urlPrefix, QObject* parent)
    : Handler(documentRoot, parent), m_rootPage(rootPage), m_urlPrefix(urlPrefix) {
    if (documentRoot.isEmpty() || !QDir(documentRoot).exists())
        dbglog_warning("StaticHandler::StaticHandler: document root (" << documentRoot
                                                                       << ") doesn't exists");
}

void StaticHandler::handle(Message* message) {
    dbglog_scopedFunction;
    QString path = message->url().path();
    if (!path.startsWith(m_urlPrefix)) {
        dbglog_error("Url: " << message->fullUri() << " does not start with " << m_urlPrefix);
        message->setStatus(500, QString());
        return;
    }
    // A QDir of nothing is the working directory of the host, which nobody chose to publish.
    if (documentRoot().isEmpty())
        return sendNotFound(message);
    const QString root = QDir(documentRoot()).absolutePath();
    path.remove(0, m_urlPrefix.length());
    serveFile(QFileInfo(root + QLatin1Char('/') + path), root, m_rootPage, message, QString());
}

void StaticHandler::sendNotFound(Message* message) {
    sendNotFoundText(message, 404);
}

void StaticHandler::serveFile(const QFileInfo& file, const QString& documentRoot,
                              const QString& rootPage, Message* message,
                              const QString& contentType) {
    dbglog_scopedFunction;
    message->setEncoding(Message::ContentLength);
    if (const KeptFiles::FilePtr kept = keptFiles().find(file.filePath(), documentRoot))
        return sendFile(file, *kept, message, contentType);
    const QString canonical = canonicalPath(file, documentRoot);
    if (const char* reason = reasonToHide(file, canonical, documentRoot)) {
        dbglog_info("StaticHandler::handle: request for "
                    << reason << " file url: " << message->fullUri()
                    << " local file: " << file.absoluteFilePath());
        return sendNotFound(message);
    }
    if (!file.isReadable()) {
        dbglog_info("StaticHandler::handle: request for forbidden file: "
                    << message->fullUri() << " " << file.absoluteFilePath());
        return sendText(
            message, 403,
            QStringLiteral("You don't have permission to access '%1'.").arg(message->fullUri()));
    }
    // The absolute path of a QFileInfo drops ".." with the name before it; the system goes to the
    // parent of what that name links to. Without ".." both mean the same file.
    if (hasParentComponent(file.filePath()))
        return serveFile(QFileInfo(canonical), documentRoot, rootPage, message, contentType);
    if (file.isDir())
        return serveDirectory(file, canonical, documentRoot, rootPage, message, contentType);
    serveRegularFile(file, canonical, documentRoot, message, contentType);
}

StaticHandler::ETagCacheEntry StaticHandler::getCacheEntry(const QFileInfo& file,
                                                           GMappedFile* mapped) {
    dbglog_scopedFunction;
    static QCache<QString, ETagCacheEntry> cache(cachedFiles);
    const quint64 length = g_mapped_file_get_length(mapped);
    const QString key = file.absoluteFilePath();
    const QDateTime lastModified = modificationTime(file);
    const ETagCacheEntry* cached = cache.object(key);
    if (cached && cached->size == length && cached->lastModified == lastModified) {
        dbglog_debug("StaticHandler::getCacheEntry: matching cache entry for " << key);
        return *cached;
    }
    dbglog_debug("StaticHandler::getCacheEntry: "
                 << (cached ? "outdated cache entry for " : "not found cache entry for ") << key);

    const char* contents = g_mapped_file_get_contents(mapped);
    TruncationWatch::guard(contents, length);
    const ETagCacheEntry entry{length, lastModified, calculateETag(file, contents, length),
                               getMimeType(file, contents, length)};
    dbglog_debug("StaticHandler::getCacheEntry: creating new cache entry for "
                 << key << " autodetected content-type: " << entry.contentType);
    cache.insert(key, new ETagCacheEntry(entry));
    return entry;
}

QString StaticHandler::calculateETag(const QFileInfo& file, const char* data, size_t size) {
    dbglog_scopedFunction;
    if (file.isDir())
        return {};
    const GCharPtr digest(
        g_compute_checksum_for_data(G_CHECKSUM_MD5, reinterpret_cast<const guchar*>(data), size));
    return QString::fromLatin1(digest.get());
}

QString StaticHandler::getMimeType(const QFileInfo& file, const char* data, size_t size) {
    dbglog_scopedFunction;
    const QString path = file.absoluteFilePath();
    gboolean uncertain = FALSE;
    QString result;
    const GCharPtr type(g_content_type_guess(QFile::encodeName(path).constData(),
                                             reinterpret_cast<const guchar*>(data), size,
                                             &uncertain));
    if (type)
        result = QString::fromUtf8(GCharPtr(g_content_type_get_mime_type(type.get())).get());
    if (uncertain || result == MimeTypes::Text::plain()) {
        dbglog_debug("getMimeType: g_content_type_guess uncertain ("
                     << result << ") trying our extension / mimetype map");
        result = MimeTypes::URIToMimeType(path, result);
    }
    dbglog_debug("getMimeType: got " << result);
    return result;
}
