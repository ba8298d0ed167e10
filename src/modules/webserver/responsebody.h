// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <libsoup/soup.h>

#include <memory>

class MappedFile;

// The body of a response: how its end is framed, and its pieces, which wait in memory until the
// client has read them. Does not resume the exchange. Every function may be called only while the
// SoupMessage lives; it is not owned.
class ResponseBody {
public:
    // libsoup drops each piece once it is written, instead of keeping the whole body.
    explicit ResponseBody(SoupMessage* message);

    // Of unknown length: in chunks for HTTP/1.1, otherwise until the connection ends.
    void setChunked();
    // Without a length given, it is that of what the body has when its head is written.
    void setSized();
    void setLength(qint64 length);

    // These append a piece. `false`: the device has no memory left for it, and the connection is
    // going to end or to say so.
    bool addCopy(const char* data, qint64 length);
    // Shares the bytes.
    bool add(const QByteArray& data);
    // Shares a part of the file, which must lie within it. It is sent from the file itself.
    void add(const std::shared_ptr<const MappedFile>& file, qint64 start, qint64 length);
    // Nothing follows.
    void complete();
    // Bytes that were added.
    qint64 length() const { return m_message->response_body->length; }

private:
    bool hasRoomFor(qint64 bytes);

    SoupMessage* m_message;
};
