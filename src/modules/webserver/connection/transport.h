// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <sys/types.h>

// Reads and writes the bytes of one accepted connection, plain or through TLS. Never blocks. Owns
// the descriptor.
class Transport {
public:
    static constexpr ssize_t wouldBlock = -1;
    static constexpr ssize_t failed = -2;

    enum class Handshake { Done, NeedsInput, NeedsRoom, Failed };

    explicit Transport(int descriptor) : m_descriptor(descriptor) {}
    // Closes the connection at once; what was sent still goes out, but see endOutput().
    virtual ~Transport();
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;

    int descriptor() const { return m_descriptor; }
    virtual bool isSecure() const { return false; }

    // To be repeated when the socket is readable or writable, according to the result.
    virtual Handshake handshake() { return Handshake::Done; }

    // The number of bytes, 0 at the end of what the client sends, or one of the above.
    virtual ssize_t read(char* buffer, size_t size);
    // Whether something was read from the socket that read() has not given yet: the socket does not
    // become readable for it.
    virtual bool hasBuffered() const { return false; }
    // Bytes that were not accepted have to be passed again first, by a write that is at least as
    // long. The second part may be left to the next call.
    virtual ssize_t write(std::string_view first, std::string_view second = {});
    // Sends a part of a file, without reading it into memory where that is possible. 0 at the end
    // of the file, which is where it was truncated.
    virtual ssize_t sendFile(int file, off_t offset, size_t length);
    // Nothing more is sent; the client sees the end behind all that was. `false`: to be repeated
    // when the socket has room.
    virtual bool endOutput();

private:
    int m_descriptor;
};
