// SPDX-License-Identifier: MIT
#include "responsebody.h"

#include "connection/exchange.h"
#include "files/mappedfile.h"
#include "glibptr.h"

namespace {

using SoupBufferPtr = std::unique_ptr<SoupBuffer, GFree<soup_buffer_free>>;

// Makes a buffer of libsoup that keeps `owner` alive as long as it is in use.
template <typename Owner>
SoupBufferPtr share(const void* data, qint64 length, Owner* owner) {
    return SoupBufferPtr(
        soup_buffer_new_with_owner(data, static_cast<gsize>(length), owner,
                                   [](void* shared) { delete static_cast<Owner*>(shared); }));
}

} // namespace

ResponseBody::ResponseBody(SoupMessage* message) : m_message(message) {
    soup_message_body_set_accumulate(message->response_body, FALSE);
}

// libsoup's own chunk coding ends each body in a thread. The connection codes the chunks of a body
// that has no length, for clients that understand them.
void ResponseBody::setChunked() {
    soup_message_headers_set_encoding(m_message->response_headers, SOUP_ENCODING_EOF);
}

void ResponseBody::setSized() {
    soup_message_headers_set_encoding(m_message->response_headers, SOUP_ENCODING_CONTENT_LENGTH);
}

void ResponseBody::setLength(qint64 length) {
    soup_message_headers_set_content_length(m_message->response_headers, length);
}

bool ResponseBody::addCopy(const char* data, qint64 length) {
    if (!hasRoomFor(length))
        return false;
    soup_message_body_append(m_message->response_body, SOUP_MEMORY_COPY, data,
                             static_cast<gsize>(length));
    return true;
}

bool ResponseBody::add(const QByteArray& data) {
    // An empty piece would be the end of the body.
    if (data.isEmpty())
        return true;
    if (!hasRoomFor(data.size()))
        return false;
    auto* owner = new QByteArray(data);
    const SoupBufferPtr buffer = share(owner->constData(), owner->size(), owner);
    soup_message_body_append_buffer(m_message->response_body, buffer.get());
    return true;
}

void ResponseBody::add(const std::shared_ptr<const MappedFile>& file, qint64 start, qint64 length) {
    Q_ASSERT(start >= 0 && length > 0 && static_cast<size_t>(start + length) <= file->size());
    if (Exchange* exchange = Exchange::of(m_message))
        exchange->setBodyFile(file);
    const SoupBufferPtr buffer =
        share(file->data() + start, length, new std::shared_ptr<const MappedFile>(file));
    soup_message_body_append_buffer(m_message->response_body, buffer.get());
}

void ResponseBody::complete() {
    if (Exchange* exchange = Exchange::of(m_message))
        exchange->setAnswered();
    soup_message_body_complete(m_message->response_body);
}

// What a client does not read stays in memory.
bool ResponseBody::hasRoomFor(qint64 bytes) {
    Exchange* exchange = Exchange::of(m_message);
    return !exchange || exchange->addPending(bytes);
}
