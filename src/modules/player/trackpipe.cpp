// SPDX-License-Identifier: MIT
#include "trackpipe.h"

#include "core/dbglog.h"
#include "core/plixhttprequest.h"
#include "trackfinder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

TrackPipe::TrackPipe()
    : m_pipe(PlixHttpRequest::pipePrefix() + QString::number(random()), PlixNamedPipe::Read,
             nullptr, true) {
    m_pipe.setNonBlock(true);
}

void TrackPipe::open(const QString& path, const std::function<void(bool isOpen)>& done) {
    // With a writing end too, so that a reader does not wait for the worker in open().
    if (!m_pipe.create() || !m_pipe.open(true)) {
        dbglog_error("Unable to create " << m_pipe.name() << ": " << strerror(errno));
        return done(false);
    }
    TrackFinder::askForSound(path, m_pipe.name(), this,
                             [done](const PlixHttpRequestReply& answer, const CMError& error) {
                                 done(!error && answer.status() == 200);
                             });
}
