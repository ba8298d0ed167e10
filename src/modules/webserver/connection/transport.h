#pragma once

#include <string_view>
#include <sys/types.h>

// The bytes of one accepted connection, to and from the socket: as they are, or through TLS.
// Nothing here waits. Owns the descriptor.
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

    // To be repeated when the socket has become readable or writable, as it says.
    virtual Handshake handshake() { return Handshake::Done; }

    // The number of bytes, 0 at the end of what the client sends, or one of the above.
    virtual ssize_t read(char* buffer, size_t size);
    // Whether something was read from the socket that read() has not given yet: the socket does not
    // become readable for it.
    virtual bool hasBuffered() const { return false; }
    // What was not taken has to be offered again, first and at least as long. Of two parts the
    // second one is left to the next call where they cannot go together.
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
