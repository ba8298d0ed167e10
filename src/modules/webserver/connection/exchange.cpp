// SPDX-License-Identifier: MIT
#include "connection/exchange.h"

#include "connection/connections.h"
#include "connection/hangupnotifier.h"
#include "connection/patience.h"
#include "files/mappedfile.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace {

// libsoup's overhead for each piece of a body in memory.
constexpr qint64 keptPerPiece = 128;
// For one fast client, and the most of a file that one system call sends, so that others get their
// turn of the main loop.
constexpr size_t bytesPerTurn = size_t(1) << 20;

GQuark exchangeQuark() {
    static const GQuark quark = g_quark_from_static_string("plix-exchange");
    return quark;
}

gssize fail(GError** error, GIOErrorEnum code, const char* text) {
    g_set_error_literal(error, G_IO_ERROR, code, text);
    return -1;
}

ResponseFraming::Request requestOf(const RequestFraming& framing) {
    return {framing.isHttp11(), framing.isHead(), framing.keepsAlive()};
}

} // namespace

Exchange::Exchange(Connection& connection, std::string vetted, size_t headSize)
    : m_connection(connection), m_stream(this), m_response(requestOf(connection.framing())),
      m_input(std::move(vetted)), m_headLeft(headSize) {}

Exchange::~Exchange() {
    if (m_message)
        g_object_set_qdata(G_OBJECT(m_message.get()), exchangeQuark(), nullptr);
}

Exchange* Exchange::of(SoupMessage* message) {
    return static_cast<Exchange*>(g_object_get_qdata(G_OBJECT(message), exchangeQuark()));
}

void Exchange::begin(SoupMessage* message, SoupClientContext* client) {
    m_message = GObjectPtr<SoupMessage>::share(message);
    m_client = client;
    g_object_set_qdata(G_OBJECT(message), exchangeQuark(), this);
    // libsoup cuts the ranges that a client asks for out of an answer that it has in memory, and
    // does so without looking at their bounds.
    soup_message_body_set_accumulate(message->response_body, FALSE);
}

bool Exchange::isReadable() const {
    return m_connection.sender().isBroken() || m_inputRead < m_input.size() ||
           m_connection.framing().phase() != RequestFraming::Phase::Body;
}

gssize Exchange::on_stream_read(char* buffer, gsize size, GError** error) {
    if (m_connection.sender().isBroken())
        return fail(error, G_IO_ERROR_CLOSED, "The connection has ended");
    if (m_headLeft == 0)
        return readBody(buffer, size, error);
    // Nothing beyond the head: libsoup would read ahead, and the body may have to be refused.
    const size_t count = std::min(size, m_headLeft);
    std::memcpy(buffer, m_input.data() + m_inputRead, count);
    m_inputRead += count;
    m_headLeft -= count;
    return static_cast<gssize>(count);
}

// Called after the early handlers, which may stream the body instead of keeping it in memory.
bool Exchange::admitBody(GError** error) {
    const SoupMessage* message = m_message.get();
    if (!m_isBodyAdmitted) {
        m_isBodyAdmitted = true;
        m_isBodyKept = soup_message_body_get_accumulate(message->request_body);
        // libsoup would read the whole body before it says so.
        if (message->status_code == SOUP_STATUS_FORBIDDEN && message->response_body->length == 0)
            return refuse({403, "Forbidden", "This request is not accepted from there."}, error);
    }
    const qint64 limit = m_connection.owner().budget().limits().bodyBytes;
    const qint64 announced = m_connection.framing().contentLength();
    if (!m_isBodyKept || (std::max(announced, m_bodyRead) <= limit && m_kept <= 2 * limit))
        return true;
    return refuse({413, "Payload Too Large", "The request's body is larger than is accepted here."},
                  error);
}

bool Exchange::refuse(const Refusal& refusal, GError** error) {
    m_connection.refuseExchange(refusal);
    fail(error, G_IO_ERROR_FAILED, refusal.phrase);
    return false;
}

gssize Exchange::readBody(char* buffer, gsize size, GError** error) {
    if (!admitBody(error))
        return -1;
    const size_t count = std::min(size, inputSize());
    if (count == 0) {
        if (m_connection.framing().refusal())
            return fail(error, G_IO_ERROR_FAILED, "The body is broken");
        if (m_connection.framing().phase() != RequestFraming::Phase::Body)
            return 0;
        m_connection.wantInput();
        return fail(error, G_IO_ERROR_WOULD_BLOCK, "The rest of the body has not come yet");
    }
    std::memcpy(buffer, m_input.data() + m_inputRead, count);
    m_inputRead += count;
    if (m_inputRead == m_input.size()) {
        m_input.clear();
        m_inputRead = 0;
    }
    m_bodyRead += static_cast<qint64>(count);
    if (m_isBodyKept)
        m_kept += static_cast<qint64>(count) + keptPerPiece;
    m_connection.on_body_read(count);
    return static_cast<gssize>(count);
}

qint64 Exchange::heldBytes() const {
    return static_cast<qint64>(m_input.capacity()) + m_kept + m_pending;
}

bool Exchange::addPending(qint64 bytes) {
    m_pending += bytes;
    if (m_connection.hasRoomInMemory())
        return true;
    m_pending -= bytes;
    return false;
}

void Exchange::setAnswered() {
    m_idleSince = Patience::now();
}

void Exchange::on_progress() {
    if (m_idleSince > 0)
        m_idleSince = Patience::now();
}

void Exchange::wakeWriter() {
    on_progress();
    m_stream.wakeWriter();
}

bool Exchange::isWritable() const {
    return m_connection.sender().isBroken() || !m_connection.sender().isBlocked();
}

bool Exchange::hasTurn() const {
    return m_turn != m_connection.owner().turn() || m_writtenInTurn < bytesPerTurn;
}

gssize Exchange::on_stream_write(const char* data, gsize size, GError** error) {
    if (m_connection.sender().isBroken())
        return fail(error, G_IO_ERROR_CLOSED, "The connection has ended");
    if (!m_response.hasHead()) {
        m_connection.sender().buffer().append(m_response.head({data, size}));
        m_connection.sender().flushLater();
        return static_cast<gssize>(size);
    }
    const gssize count = hasTurn() ? writeBody(data, size) : Transport::wouldBlock;
    if (count == Transport::wouldBlock)
        return fail(error, G_IO_ERROR_WOULD_BLOCK, "The client has no room");
    if (count < 0)
        return fail(error, G_IO_ERROR_FAILED, "The answer cannot be sent");
    if (std::exchange(m_turn, m_connection.owner().turn()) != m_connection.owner().turn())
        m_writtenInTurn = 0;
    m_writtenInTurn += static_cast<size_t>(count);
    m_pending = std::max<qint64>(m_pending - count, 0);
    m_response.count(static_cast<size_t>(count));
    m_connection.sender().flushLater();
    on_progress();
    return count;
}

gssize Exchange::writeBody(const char* data, gsize size) {
    if (m_response.body() == ResponseFraming::Body::Chunked)
        return writeChunk(data, size);
    if (isOfFile(data))
        return writeFile(static_cast<size_t>(data - m_file->data()), size);
    return writeBytes(data, size);
}

gssize Exchange::writeChunk(const char* data, gsize size) {
    OutputBuffer& output = m_connection.sender().buffer();
    if (output.room() <= ResponseFraming::chunkOverhead && !m_connection.sender().flush())
        return m_connection.sender().isBroken() ? Transport::failed : Transport::wouldBlock;
    const size_t count = std::min(size, output.room() - ResponseFraming::chunkOverhead);
    output.append(ResponseFraming::chunkHead(count));
    output.append({data, count});
    output.append(ResponseFraming::chunkEnd);
    return static_cast<gssize>(count);
}

gssize Exchange::writeBytes(const char* data, gsize size) {
    OutputBuffer& output = m_connection.sender().buffer();
    if (size > output.room() && !m_connection.sender().isSecure())
        return m_connection.sender().send({data, size});
    if (output.room() == 0 && !m_connection.sender().flush())
        return m_connection.sender().isBroken() ? Transport::failed : Transport::wouldBlock;
    const size_t count = std::min(size, output.room());
    output.append({data, count});
    return static_cast<gssize>(count);
}

bool Exchange::isOfFile(const char* data) const {
    return m_file && !std::less<>()(data, m_file->data()) &&
           std::less<>()(data, m_file->data() + m_file->size());
}

// Short parts, and the part behind the head, are read into the output buffer. The kernel sends the
// rest from the file.
gssize Exchange::writeFile(size_t offset, gsize size) {
    OutputBuffer& output = m_connection.sender().buffer();
    if ((!output.isEmpty() || size <= OutputBuffer::capacity) && output.room() > 0) {
        const size_t wanted = std::min(size, output.room());
        const qint64 count =
            m_file->read(static_cast<qint64>(offset), output.reserve(wanted), wanted);
        output.setReserved(static_cast<size_t>(std::max<qint64>(count, 0)));
        // 0: the file was truncated.
        return count > 0 ? count : Transport::failed;
    }
    if (!m_connection.sender().flush())
        return m_connection.sender().isBroken() ? Transport::failed : Transport::wouldBlock;
    return m_connection.sender().sendFile(m_file->descriptor(), static_cast<off_t>(offset),
                                          std::min(size, bytesPerTurn));
}

void Exchange::on_stream_closed() {
    m_connection.on_exchange_ended();
}

void Exchange::setHangUpNotifier(HangUpNotifier* watch) {
    m_hangUpNotifier = watch;
    ConnectionBudget& budget = m_connection.owner().budget();
    if (watch)
        budget.setAwaitingDevice(m_connection);
    else if (budget.isAwaitingDevice(m_connection))
        budget.setWorking(m_connection);
    if (watch && m_connection.hasHungUp())
        QMetaObject::invokeMethod(watch, &HangUpNotifier::hungUp, Qt::QueuedConnection);
}

void Exchange::on_hangUp() {
    // Last, because the receiver may end the exchange.
    if (m_hangUpNotifier)
        Q_EMIT m_hangUpNotifier->hungUp();
}
