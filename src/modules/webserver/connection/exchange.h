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
class HangUpWatch;
class MappedFile;

// One request of a connection and its answer, as long as libsoup has them: what libsoup reads of
// the request, and what becomes of the answer that it writes.
//
// Owned by the connection. Ends when libsoup lets go of the stream, which is at the end of the
// answer or when the connection drops the exchange.
class Exchange : private ExchangeStream::Peer {
public:
    // `vetted`: the head and what there is of the body; see RequestFraming.
    Exchange(Connection& connection, std::string vetted, size_t headSize);
    ~Exchange() override;
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    // The one of a message that a server has received; null after its end.
    static Exchange* of(SoupMessage* message);

    GIOStream* stream() const { return m_stream.get(); }
    // libsoup has made these for it.
    void begin(SoupMessage* message, SoupClientContext* client);
    SoupClientContext* client() const { return m_client; }
    // libsoup has written the answer to its end.
    void setWritten() { m_isWritten = true; }

    // From the message's side. The body of the answer is a part of this file, and the buffer that
    // libsoup is given lies in its mapping; the file itself is sent, nobody reads the mapping.
    void setBodyFile(std::shared_ptr<const MappedFile> file) { m_file = std::move(file); }
    // So many more bytes of the answer are to wait in memory. `false`: there is no room, and the
    // connection is going to say so to its client, or to end.
    bool addPending(qint64 bytes);
    // The whole answer has been given to libsoup, which should get on by itself from here.
    void setAnswered();
    // Told when the client ends its side of the connection, or at once; null takes it back.
    void setHangUpWatch(HangUpWatch* watch);

    // From the connection's side. Body bytes that have been vetted are appended to input().
    std::string& input() { return m_input; }
    size_t inputSize() const { return m_input.size() - m_inputRead; }
    // Of the request and the answer, in memory.
    qint64 heldBytes() const;
    bool isWaitingForInput() const { return m_stream.hasReader(); }
    void wakeReader() { m_stream.wakeReader(); }
    void wakeWriter();
    // The client has ended its side of the connection.
    void on_hangUp();
    const ResponseFraming& response() const { return m_response; }
    bool isWhole() const { return m_response.isWhole(m_isWritten); }
    // Since when libsoup could have written more of an answer that it has whole, in ms; 0 while it
    // has not.
    qint64 idleSince() const { return m_idleSince; }

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
    HangUpWatch* m_hangUpWatch = nullptr;
};
