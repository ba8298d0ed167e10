#pragma once

// The limits of one fetch.
class HttpClientOptions {
public:
    // Bytes of the body; a source that sends more is cut off there and the fetch fails.
    int readSizeLimit() const { return m_readSizeLimit; }
    void setReadSizeLimit(int bytes) { m_readSizeLimit = bytes; }

    // For everything from looking up the name to the last byte.
    int timeoutMs() const { return m_timeoutMs; }
    void setTimeoutMs(int milliseconds) { m_timeoutMs = milliseconds; }

private:
    int m_readSizeLimit = 1024 * 1024;
    int m_timeoutMs = 30000;
};
