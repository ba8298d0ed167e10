// SPDX-License-Identifier: MIT
#include "responders/stream/stalepipes.h"

#include "core/dbglog.h"
#include "core/plixhttprequest.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Twice the time that a stream waits for its worker's answer and for the first byte. A younger FIFO
// may not have a reader yet. If its writer is still to come, opening and closing it here would look
// like the end of the stream.
constexpr time_t minimumAgeSeconds = 120;

bool isOldFifo(const QByteArray& name) {
    struct stat state = {};
    return lstat(name.constData(), &state) == 0 && S_ISFIFO(state.st_mode) &&
           state.st_uid == geteuid() && state.st_mtime < time(nullptr) - minimumAgeSeconds;
}

bool hasReader(const QByteArray& name) {
    const int descriptor = ::open(name.constData(), O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        return errno != ENXIO;
    ::close(descriptor);
    return true;
}

} // namespace

void removeStalePipes() {
    dbglog_scopedFunction;
    const QFileInfo prefix(PlixHttpRequest::pipePrefix());
    const QDir folder(prefix.path());
    const QStringList names =
        folder.entryList({prefix.fileName() + QStringLiteral("[0-9]*")}, QDir::System);
    for (const QString& name : names) {
        const QByteArray path = QFile::encodeName(folder.filePath(name));
        // The name cannot be that of another FIFO by now, because a new FIFO needs a free name.
        if (isOldFifo(path) && !hasReader(path) && ::unlink(path.constData()) == 0)
            dbglog_info("Removed a stale pipe: " << name);
    }
}
