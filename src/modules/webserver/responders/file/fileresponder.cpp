// SPDX-License-Identifier: MIT
#include "responders/file/fileresponder.h"

#include "core/dbglog.h"
#include "core/plixpaths.h"
#include "request.h"
#include "responders/file/fileanswer.h"
#include "responders/file/fileserving.h"

#include <QPointer>
#include <QRegExp>

namespace {

constexpr int filePrefixLength = sizeof("/file/stream/") - 1;

// The only text that the regular expression matches; null when it matches others.
QString onlyText(const QString& expression) {
    static const QString special = QStringLiteral("$()*+.?[]^{|}");
    QString text;
    for (int i = 0; i < expression.size(); ++i) {
        bool isPlain = !special.contains(expression[i]);
        if (expression[i] == QLatin1Char('\\'))
            isPlain = ++i < expression.size() && !expression[i].isLetterOrNumber();
        if (!isPlain)
            return {};
        text += expression[i];
    }
    return text;
}

// The paths of the readable area: a prefix, which the platform gives as a regular expression, and a
// name without slashes.
class ReadableArea {
public:
    explicit ReadableArea(const QString& prefix)
        : m_prefix(prefix), m_folder(onlyText(prefix)),
          m_expression(prefix + QLatin1String("[^/]+")) {}

    const QString& prefix() const { return m_prefix; }
    bool contains(const QString& path) const {
        // Matching a regular expression takes longer than sending a small file.
        if (m_folder.isEmpty())
            return m_expression.exactMatch(path);
        return path.size() > m_folder.size() && path.startsWith(m_folder) &&
               path.indexOf(QLatin1Char('/'), m_folder.size()) < 0;
    }

private:
    QString m_prefix;
    QString m_folder;
    QRegExp m_expression;
};

bool isReadable(const QString& path) {
    static ReadableArea area{QString()};
    if (area.prefix() != PlixWebserverReadPathPrefix())
        area = ReadableArea(PlixWebserverReadPathPrefix());
    return area.contains(path);
}

} // namespace

FileResponder::FileResponder(Request& request, const QString& documentRoot, QObject* parent)
    : Responder(request, documentRoot, parent) {}

void FileResponder::respond() {
    dbglog_scopedFunction;
    dbglog_debug("FileResponder: request " << request().requestId() << " " << request().fullUri());
    const QString path = request().url().path().mid(filePrefixLength);
    if (!isReadable(path)) {
        dbglog_warning("Access to invalid path:" << path);
        FileAnswer::sendNotFound(&request());
        Q_EMIT finished(request().requestId());
        return;
    }
    // Without a document root: links in the readable area may lead anywhere.
    FileServing::serve({QFileInfo(path), {}, {}, {}}, &request(),
                       [self = QPointer<FileResponder>(this)] {
                           if (self)
                               Q_EMIT self->finished(self->request().requestId());
                       });
}
