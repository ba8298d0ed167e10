#pragma once

#include <QtGlobal>

// How long a client has been waited for, and whether one that ended its side of the connection is
// still there.
class Patience {
public:
    Patience() { restart(); }

    static qint64 now();
    void restart();
    // So much of a body was read. Whether it is enough since the last restart to go on waiting:
    // less is a client that wants to hold the connection.
    bool hasProgress(size_t bytes);
    qint64 waited(qint64 now) const { return now - m_since; }
    // A client that has closed its connection looks like one that has only finished sending. It is
    // taken for gone when it has been sent nothing for a while and nothing is on its way to it:
    // short work is answered, a long wait is not for somebody who might be there.
    bool hasLeft(qint64 now, int descriptor) const;

private:
    qint64 m_since = 0;
    size_t m_progress = 0;
};
