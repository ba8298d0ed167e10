// SPDX-License-Identifier: MIT
#pragma once

#include "core/plixnamedpipe.h"

#include <functional>

// The FIFO for what a worker produces of a track that is no file. It is made as the web server
// makes those for its clients, and is removed with this object.
class TrackPipe : public QObject {
    Q_OBJECT

public:
    TrackPipe();

    // Asks the track's worker to write. Called back with false when it does not; not after the end
    // of this object.
    void open(const QString& path, const std::function<void(bool isOpen)>& done);
    QString fileName() const { return m_pipe.name(); }
    // Somebody else has opened it to read. From then on the worker notices when nobody does any
    // more.
    void handOver() { m_pipe.close(); }

private:
    PlixNamedPipe m_pipe;
};
