#include "responders/fileresponder.h"

#include "core/dbglog.h"
#include "core/plixpaths.h"
#include "handlers/statichandler.h"
#include "request.h"

#include <QRegExp>

namespace {

constexpr int urlPrefixLength = sizeof("/file/stream/") - 1;

} // namespace

FileResponder::FileResponder(Request& request, const QString& documentRoot, QObject* parent)
    : Responder(request, documentRoot, parent) {}

void FileResponder::respond() {
    dbglog_scopedFunction;
    dbglog_debug("FileResponder: request " << request().requestId() << " " << request().fullUri());
    const QString path = request().url().path().mid(urlPrefixLength);
    // The prefix is a part of the expression, as the platform gives it.
    const QRegExp readable(PlixWebserverReadPathPrefix() + QLatin1String("[^/]+"));
    if (readable.exactMatch(path)) {
        // Without a root to compare with, because the match has chosen the directory: links in
        // the readable area may point anywhere.
        StaticHandler::serveFile(QFileInfo(path), QString(), QString(), &request(), QString());
    } else {
        dbglog_warning("Access to invalid path: " << path);
        StaticHandler::sendNotFound(&request());
    }
    Q_EMIT finished(request().requestId());
}
