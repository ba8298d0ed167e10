// SPDX-License-Identifier: MIT
#pragma once

#include "connection/exchangestream.h"
#include "connection/refusal.h"
#include "connection/responseframing.h"
#include "glibptr.h"

#include <QtGlobal>
#include <libsoup/soup.h>

#include <memory>
#include <string>

class Connection;
class HangUpNotifier;
class MappedFile;

// One request of a connection and its answer, while libsoup processes them. It supplies the bytes
// that libsoup reads of the request, and frames and sends the answer that libsoup writes.
//
// Owned by the connection. Ends when libsoup closes the stream: at the end of the answer, or when
// the connection aborts the exchange.
class Exchange : private ExchangeStream::Peer {
public:
    // `vetted`: the head and the part of the body that has arrived; see RequestFraming.
    Exchange(Connection& connection, std::string vetted, size_t headSize);
    ~Exchange() override;
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    // The one of a message that a server has received; null after its end.
    static Exchange* of(SoupMessage* message);

    GIOStream* stream() const { return m_stream.get(); }
    // Sets what libsoup has created for it.
    void begin(SoupMessage* message, SoupClientContext* client);
    SoupClientContext* client() const { return m_client; }
    // Called when libsoup has written the whole answer.
    void setWritten() { m_isWritten = true; }

    // Called by the message. The body of the answer is a part of this file. libsoup gets a buffer
    // within the mapping, whose bytes are never read: they are sent from the file's descriptor.
    void setBodyFile(std::shared_ptr<const MappedFile> file) { m_file = std::move(file); }
    // Adds to the bytes of the answer that wait in memory. `false`: they exceed the budget. The
    // connection will then answer 503 or end.
    bool addPending(qint64 bytes);
    // Called when libsoup has the whole answer and needs nothing more than room to send it.
    void setAnswered();
    // The notifier for a half-close or reset; it is notified at once if that has happened already.
    // Null removes it.
    void setHangUpNotifier(HangUpNotifier* watch);

    // Called by the connection, which appends validated body bytes to input().
    std::string& input() { return m_input; }
    size_t inputSize() const { return m_input.size() - m_inputRead; }
    // Bytes of the request and the answer in memory.
    qint64 heldBytes() const;
    bool isWaitingForInput() const { return m_stream.hasReader(); }
    void wakeReader() { m_stream.wakeReader(); }
    void wakeWriter();
    // The client has ended its side of the connection.
    void on_hangUp();
    const ResponseFraming& response() const { return m_response; }
    bool isWhole() const { return m_response.isWhole(m_isWritten); }
    // The time in ms of the last progress of an answer that libsoup has whole; 0 before it has.
    qint64 idleSince() const { return m_idleSince; }
    // Null before begin().
    const SoupMessage* message() const { return m_message.get(); }
    qint64 bodyRead() const { return m_bodyRead; }
    // In microseconds of GLib's monotonic clock.
    gint64 begunAt() const { return m_begunAt; }

private:
    gssize on_stream_read(char* buffer, gsize size, GError** error) override;
    gssize on_stream_write(const char* data, gsize size, GError** error) override;
    bool isReadable() const override;
    bool isWritable() const override;
    void on_stream_closed() override;

    bool admitBody(GError** error);
    bool refuse(const Refusal& refusal, GError** error);
    gssize readBody(char* buffer, gsize size, GError** error);
    gssize writeBody(const char* data, gsize size);
    gssize writeChunk(const char* data, gsize size);
    gssize writeBytes(const char* data, gsize size);
    gssize writeFile(size_t offset, gsize size);
    bool isOfFile(const char* data) const;
    bool hasTurn() const;
    void on_progress();

    Connection& m_connection;
    ExchangeStream m_stream;
    ResponseFraming m_response;
    // The request: its head, then what libsoup has not read yet of its body.
    std::string m_input;
    size_t m_inputRead = 0;
    size_t m_headLeft;
    const gint64 m_begunAt = g_get_monotonic_time();
    bool m_isBodyAdmitted = false;
    bool m_isBodyKept = false;
    qint64 m_bodyRead = 0;
    // The same in memory, with what each piece takes besides.
    qint64 m_kept = 0;
    qint64 m_pending = 0;
    // Of the turn of the main loop in which something was written last.
    unsigned m_turn = 0;
    size_t m_writtenInTurn = 0;
    bool m_isWritten = false;
    qint64 m_idleSince = 0;
    GObjectPtr<SoupMessage> m_message;
    SoupClientContext* m_client = nullptr;
    std::shared_ptr<const MappedFile> m_file;
    HangUpNotifier* m_hangUpNotifier = nullptr;
};
