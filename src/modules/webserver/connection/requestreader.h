// SPDX-License-Identifier: MIT
#pragma once

#include "connection/requestframing.h"
#include "connection/transport.h"

#include <string>
#include <string_view>

// The receiving side of a connection. Reads the client's bytes, validates them and passes on one
// request at a time. Pipelined bytes behind the current request wait here.
class RequestReader {
public:
    class Owner {
    public:
        virtual ~Owner() = default;
        // Whether a request may begin, or the one at hand may have more of its body.
        virtual bool isAwaitingRequest() const = 0;
        virtual bool isAwaitingBody() const = 0;
        // The first bytes of a request have come.
        virtual void on_reader_begun() = 0;
        // A head has ended; `vetted` holds it and what there is of the body. See RequestFraming.
        virtual void on_reader_request(std::string vetted, size_t headSize) = 0;
        // Where more of the body is appended to, and that this was done.
        virtual std::string& bodyInput() = 0;
        virtual void on_reader_body() = 0;
        // See refusal() of the framing.
        virtual void on_reader_refused() = 0;
        // The client has ended its side of the connection, and all it sent has been read.
        virtual void on_reader_end() = 0;
    };

    RequestReader(Transport& transport, Owner& owner)
        : m_transport(transport), m_owner(owner), m_framing(transport.isSecure()) {}
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;

    const RequestFraming& framing() const { return m_framing; }
    // Reads what the socket has. `false` when it is broken. The owner may have closed it meanwhile.
    bool receive();
    // Goes on with what waits.
    void resume();
    // To be called when the answer to a request has ended, before the next one.
    void next() { m_framing.next(); }

    // Whether something waits for which the socket does not become readable.
    bool hasMore() const { return !m_input.empty() || m_transport.hasBuffered(); }
    bool hasInput() const { return !m_input.empty(); }
    // Whether the client has ended its side.
    bool isAtEnd() const { return m_isAtEnd; }
    // Whether it is passing something on, and goes on by itself.
    bool isBusy() const { return m_isBusy; }
    // In memory.
    size_t heldBytes() const { return m_framing.headBytes() + m_input.size(); }

private:
    void consume(std::string_view bytes);
    bool takeHead(std::string_view* bytes);
    bool takeBody(std::string_view* bytes);
    void end();

    Transport& m_transport;
    Owner& m_owner;
    RequestFraming m_framing;
    // What has come behind the request at hand.
    std::string m_input;
    bool m_isBusy = false;
    bool m_isAtEnd = false;
};
