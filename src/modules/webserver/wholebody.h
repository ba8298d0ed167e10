#pragma once

#include "glibptr.h"

#include <QByteArray>
#include <libsoup/soup.h>

#include <memory>

using SoupBufferPtr = std::unique_ptr<SoupBuffer, GFree<soup_buffer_free>>;

// One piece of a chunked body with the marks of a chunk around it, and the body's end behind it.
//
// libsoup writes each of these by itself, and has a thread write the end, for every answer, because
// it might have to wait; a thread that waits for a slow client is then kept from all others. A
// piece that proves to be the whole body goes out at once, with all its marks, and the end of any
// other body is written from the event loop when the connection takes it.
class WholeBody {
public:
    // Above this the copy costs more than the writes that it spares.
    static constexpr qint64 maxLength = 65536;

    // A piece for libsoup, which holds a copy of the data. `piece`, which ends with it, is null
    // until libsoup has written the first body of all.
    static SoupBufferPtr newBuffer(const char* data, qint64 length,
                                   std::weak_ptr<WholeBody>* piece);
    // To be called before libsoup writes a body. Takes effect once it has written a first one.
    static void prepareLibsoup();

    // To be called when the body is complete, with its length: no other piece follows. Of a piece
    // that libsoup has begun to write, the client may have a mark already.
    void setComplete(qint64 bodyLength) { m_isWhole = !m_isBegun && bodyLength == m_length; }
    ~WholeBody();

private:
    friend struct BodyStreamHooks;

    WholeBody(const char* data, int length);

    QByteArray m_text;  // with the marks
    const char* m_data; // within the text
    int m_length;
    gssize m_written = 0;
    bool m_isBegun = false;
    bool m_isWhole = false;
};
