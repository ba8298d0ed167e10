// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

// Measures how long a client has been waited for, and whether it still exists after a half-close.
class Patience {
public:
    Patience() { restart(); }

    static qint64 now();
    void restart();
    // Counts bytes of a body. True when enough have come since the last restart to restart the
    // time limit; a client that sends less wants to hold the connection (slowloris).
    bool hasProgress(size_t bytes);
    qint64 waited(qint64 now) const { return now - m_since; }
    // A closed connection looks like a half-close. The client counts as gone when nothing was sent
    // to it for a while and the socket's send queue is empty: a short operation is still answered,
    // a long wait ends.
    bool hasLeft(qint64 now, int descriptor) const;

private:
    qint64 m_since = 0;
    size_t m_progress = 0;
};
