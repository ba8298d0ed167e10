#include "responders/file/fileserving.h"

#include "core/dbglog.h"
#include "files/documentroot.h"
#include "files/etagcache.h"
#include "files/filehash.h"
#include "files/mappedfile.h"
#include "files/recentfiles.h"
#include "message.h"
#include "responders/file/awaitedhash.h"
#include "responders/file/fileanswer.h"

#include <QFile>

namespace {

using FileServing::Request;
using HashPtr = std::shared_ptr<FileHash>;

// How often a file may change while it is hashed. One that is written to all the time, such as a
// recording, is then sent as long as it was when the last hash began.
constexpr int maxAttempts = 3;

// Why a file counts as missing; null when it does not.
const char* reasonToHide(const QFileInfo& file, const QString& canonical,
                         const QString& documentRoot) {
    if (canonical.isEmpty() || !file.exists())
        return "non-existent";
    if (!isWithinDocumentRoot(canonical, documentRoot))
        return "out-of-document-root";
    // Opening a device may do anything.
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

void redirect(Message* message, const QString& path) {
    PlixUrl location = message->url();
    location.setPath(path);
    message->setStatus(301, QString());
    message->setHeader(QByteArrayLiteral("Location"), location.toEncoded());
    message->setNoCache();
}

Request withFile(Request request, const QFileInfo& file) {
    request.file = file;
    return request;
}

HashPtr answer(const Request& request, Message* message, const HashPtr& hash);

HashPtr answerFromFolder(const Request& request, const QString& canonical, Message* message,
                         const HashPtr& hash) {
    dbglog_debug("StaticHandler::serveFile: url is dir, serving index file:");
    const QString path = message->url().path();
    const QFileInfo index(request.file.absoluteFilePath() + QLatin1String("/index.html"));
    if (!path.endsWith(QLatin1Char('/'))) {
        dbglog_debug("StaticHandler::serveFile: url " << message->fullUri()
                                                      << " is dir without /, redirecting...");
        redirect(message, path + QLatin1Char('/'));
    } else if (canonical == request.documentRoot && !request.rootPage.isEmpty()) {
        redirect(message, path + request.rootPage);
    } else if (index.exists()) {
        return answer(withFile(request, index), message, hash);
    } else {
        redirect(message, path + QLatin1String("index.fcgi"));
    }
    return nullptr;
}

void send(const Request& request, const std::shared_ptr<const MappedFile>& contents,
          const ETagCache::Entry& entry, Message* message) {
    RecentFiles::instance().add(request.file.filePath(), request.documentRoot, {contents, entry});
    FileAnswer::send(request.file, contents, entry, message, request.contentType);
}

// The digest of the contents if it takes no waiting; null when it does, or when they have changed.
QString digestOf(const std::shared_ptr<const MappedFile>& contents, const HashPtr& hash) {
    if (hash && hash->file() == contents)
        return hash->digest();
    return contents->size() <= FileHash::sliceBytes ? FileHash::now(contents) : QString();
}

// Opens the canonical name, which is the one that was compared with the document root.
HashPtr answerFromFile(const Request& request, const QString& canonical, Message* message,
                       const HashPtr& hash) {
    GErrorPtr error;
    const auto contents = MappedFile::open(QFile::encodeName(canonical), error.out());
    if (!contents) {
        FileAnswer::sendOpenError(request.file, QString::fromUtf8(error.message()), message);
        return nullptr;
    }
    ETagCache& cache = ETagCache::instance();
    if (const ETagCache::Entry* entry = cache.find(request.file, *contents)) {
        send(request, contents, ETagCache::Entry(*entry), message);
        return nullptr;
    }
    const QString digest = digestOf(contents, hash);
    if (digest.isNull())
        return FileHash::of(contents);
    send(request, contents, cache.add(request.file, *contents, digest), message);
    return nullptr;
}

// Null when the message has been answered, otherwise the hash to wait for. `hash`: one that has
// been waited for.
HashPtr answer(const Request& request, Message* message, const HashPtr& hash) {
    const QFileInfo& file = request.file;
    const auto recent = RecentFiles::instance().find(file.filePath(), request.documentRoot);
    if (recent) {
        FileAnswer::send(file, recent->contents, recent->entry, message, request.contentType);
        return nullptr;
    }
    const QString canonical = canonicalPath(file, request.documentRoot);
    if (const char* reason = reasonToHide(file, canonical, request.documentRoot)) {
        dbglog_info("StaticHandler::handle: request for "
                    << reason << " file url: " << message->fullUri()
                    << " local file: " << file.absoluteFilePath());
        FileAnswer::sendNotFound(message);
        return nullptr;
    }
    if (!file.isReadable()) {
        dbglog_info("StaticHandler::handle: request for forbidden file: "
                    << message->fullUri() << " " << file.absoluteFilePath());
        FileAnswer::sendText(
            message, 403,
            QStringLiteral("You don't have permission to access '%1'.").arg(message->fullUri()));
        return nullptr;
    }
    // The absolute path of a QFileInfo drops ".." with the name before it; the system goes to the
    // parent of what that name links to. Without ".." both mean the same file.
    if (hasParentComponent(file.filePath()))
        return answer(withFile(request, QFileInfo(canonical)), message, hash);
    if (file.isDir())
        return answerFromFolder(request, canonical, message, hash);
    return answerFromFile(request, canonical, message, hash);
}

// `hash`: one that has been waited for, the last one of so many attempts.
void attempt(const Request& request, Message* message, const FileServing::Done& done,
             const HashPtr& hash, int attempts) {
    message->setEncoding(Message::ContentLength);
    const HashPtr awaited = answer(request, message, hash);
    if (awaited && attempts < maxAttempts) {
        new AwaitedHash(awaited, message, [=](const HashPtr& finished) {
            // What was known of the file may be out of date.
            attempt(withFile(request, QFileInfo(request.file.filePath())), message, done, finished,
                    attempts + 1);
        });
        return;
    }
    const bool isWritten = awaited && hash && !hash->digest().isNull() && hash->file()->isIntact();
    if (isWritten)
        send(request, hash->file(),
             ETagCache::instance().add(request.file, *hash->file(), hash->digest()), message);
    else if (awaited)
        FileAnswer::sendOpenError(request.file, QStringLiteral("It changed while it was read"),
                                  message);
    if (done)
        done();
}

} // namespace

void FileServing::serve(const Request& request, Message* message, const Done& done) {
    attempt(request, message, done, nullptr, 0);
}
