// SPDX-License-Identifier: MIT
#pragma once

// The limits of one fetch.
class HttpClientOptions {
public:
    // The maximum size of the body in bytes. The fetch fails if the source sends more.
    int readSizeLimit() const { return m_readSizeLimit; }
    void setReadSizeLimit(int bytes) { m_readSizeLimit = bytes; }

    // From the name look-up to the last byte.
    int timeoutMs() const { return m_timeoutMs; }
    void setTimeoutMs(int milliseconds) { m_timeoutMs = milliseconds; }

private:
    int m_readSizeLimit = 1024 * 1024;
    int m_timeoutMs = 30000;
};
