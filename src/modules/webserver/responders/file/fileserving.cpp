// SPDX-License-Identifier: MIT
#include "responders/file/fileserving.h"

#include "core/dbglog.h"
#include "files/etagcache.h"
#include "files/filehash.h"
#include "files/mappedfile.h"
#include "files/recentfiles.h"
#include "message.h"
#include "responders/file/awaitedhash.h"
#include "responders/file/fileanswer.h"
#include "responders/file/filelookup.h"

#include <QFile>

namespace {

using FileRequest = FileServing::Request;
using HashPtr = std::shared_ptr<FileHash>;

// The number of times that a file may change while it is hashed. A file that is written to all the
// time, such as a recording, is then sent with its length at the beginning of the last computation.
constexpr int maxAttempts = 3;

void redirect(Message* message, const QString& path) {
    PlixUrl location = message->url();
    if (!location.path().endsWith(QLatin1Char('/')))
        dbglog_debug("StaticHandler::serveFile: url " << message->fullUri()
                                                      << " is dir without /, redirecting...");
    location.setPath(path);
    message->setStatus(301, QString());
    message->setHeader(QByteArrayLiteral("Location"), location.toEncoded());
    message->setNoCache();
}

FileRequest withFile(FileRequest request, const QFileInfo& file) {
    request.file = file;
    return request;
}

void send(const FileRequest& request, const std::shared_ptr<const MappedFile>& contents,
          const ETagCache::Entry& entry, Message* message) {
    RecentFiles::instance().add(request.file.filePath(), request.documentRoot, {contents, entry});
    FileAnswer::send(request.file, contents, entry, message, request.contentType);
}

// The digest of the contents if it is available at once; null when it is not, or when they have
// changed.
QString digestOf(const std::shared_ptr<const MappedFile>& contents, const HashPtr& hash) {
    if (hash && hash->file() == contents)
        return hash->digest();
    return contents->size() <= FileHash::sliceBytes ? FileHash::now(contents) : QString();
}

bool sendRecent(const FileRequest& request, Message* message) {
    const auto recent = RecentFiles::instance().find(request.file.filePath(), request.documentRoot);
    if (recent)
        FileAnswer::send(request.file, recent->contents, recent->entry, message,
                         request.contentType);
    return bool(recent);
}

// Returns null when the message has been answered, otherwise the computation to wait for. `hash`: a
// computation that has finished.
HashPtr answerFromFile(const FileRequest& request, const QString& canonical, Message* message,
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

void refuse(const FileLookup& lookup, Message* message) {
    if (lookup.result == FileLookup::Missing) {
        dbglog_info("StaticHandler::handle: request for "
                    << lookup.reason << " file url: " << message->fullUri()
                    << " local file: " << lookup.file.absoluteFilePath());
        return FileAnswer::sendNotFound(message);
    }
    dbglog_info("StaticHandler::handle: request for forbidden file: "
                << message->fullUri() << " " << lookup.file.absoluteFilePath());
    FileAnswer::sendText(
        message, 403,
        QStringLiteral("You don't have permission to access '%1'.").arg(message->fullUri()));
}

// As answerFromFile().
HashPtr answer(const FileRequest& request, Message* message, const HashPtr& hash) {
    if (sendRecent(request, message))
        return nullptr;
    const FileLookup lookup = FileLookup::find(request.file, request.documentRoot, request.rootPage,
                                               message->url().path());
    switch (lookup.result) {
    case FileLookup::Missing:
    case FileLookup::Forbidden:
        refuse(lookup, message);
        return nullptr;
    case FileLookup::Redirect:
        redirect(message, lookup.location);
        return nullptr;
    case FileLookup::Found:
        break;
    }
    const bool isAnother = lookup.file.filePath() != request.file.filePath();
    const FileRequest forFile = withFile(request, lookup.file);
    if (isAnother && sendRecent(forFile, message))
        return nullptr;
    return answerFromFile(forFile, lookup.canonicalName, message, hash);
}

// `hash`: the computation of the last attempt, which has finished; null at the first attempt.
void attempt(const FileRequest& request, Message* message, const FileServing::Done& done,
             const HashPtr& hash, int attempts) {
    message->setEncoding(Message::ContentLength);
    const HashPtr awaited = answer(request, message, hash);
    if (awaited && attempts < maxAttempts) {
        new AwaitedHash(awaited, message, [=](const HashPtr& finished) {
            // A new QFileInfo, because the old one caches the file's status.
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
