#pragma once

#include "glibptr.h"

#include <QByteArray>
#include <libsoup/soup.h>

#include <memory>

using SoupBufferPtr = std::unique_ptr<SoupBuffer, GFree<soup_buffer_free>>;

// A piece of a body, which may prove to be all of it.
//
// libsoup writes an answer's header, its body's chunks and their marks each by itself, and has a
// thread write the end of chunked bodies, because it might have to wait; a thread that waits for a
// slow client is then kept from all others. Here a chunk goes out in one write with its marks. One
// that is the whole body takes the body's end along, and goes behind the header in the same write,
// as far as it fits. The end of any other body is written from the event loop when the connection
// takes it.
class BodyPiece {
public:
    // Above this the copy of a chunk costs more than the writes that it spares.
    static constexpr qint64 maxChunk = 65536;

    // For libsoup: a chunk, which is copied. `made` ends with the buffer; it stays null until
    // libsoup has written the first body of all.
    static SoupBufferPtr newChunk(const char* data, qint64 length, std::weak_ptr<BodyPiece>* made);
    // To be called before libsoup writes a body. Takes effect once it has written a first one.
    static void prepareLibsoup();

    // To be called when the body is complete, with its length: no other piece follows. Whether it
    // was the whole of a chunked body: one of which nothing has been written yet.
    bool setComplete(qint64 bodyLength);
    // Has it go out together with the header that is written to this client next. The status and
    // all that decides whether the answer has a body must be settled.
    void followHeader(SoupClientContext* client);
    // Has nothing follow, for a socket whose answer is another one now.
    static void stopFollowing(GSocket* socket);
    ~BodyPiece();

private:
    friend struct BodyStreamHooks;
    friend struct HeaderHooks;

    // Of a socket and of the stream that its answers are written to.
    struct Outlet {
        const bool isSecure;
        BodyPiece* next = nullptr;
    };

    BodyPiece() = default;
    static SoupBufferPtr newBuffer(std::shared_ptr<BodyPiece> piece,
                                   std::weak_ptr<BodyPiece>* made);

    QByteArray m_text;            // of a chunk, with the marks
    const char* m_data = nullptr; // what libsoup is given to write
    qint64 m_length = 0;
    const char* m_begin = nullptr; // what the client gets
    gssize m_size = 0;
    gssize m_written = 0;
    bool m_isWhole = false;
    std::shared_ptr<Outlet> m_outlet;
};
