#pragma once

#include "connection/refusal.h"

#include <QtGlobal>

// What the headers of a request say about where it ends and whom it is meant for. The engine
// believes the last of several such headers; a request that could be read in two ways is refused
// here instead. Feed every header in its order, then ask.
class RequestGate {
public:
    // Every client in use sends far fewer; each costs memory and time before anybody is asked.
    static constexpr int maxHeaders = 100;
    // The largest body that is kept in memory for a handler. Forms and JSON are a few kilobytes;
    // uploads are streamed and have no limit.
    static constexpr qint64 maxBodyBytes = qint64(16) * 1024 * 1024;

    // Both texts must stay alive as long as the gate.
    void addHeader(const char* name, const char* value);

    Refusal refusal() const;
    // Null without a Host header.
    const char* host() const { return m_host; }
    bool isChunked() const { return m_transferEncodings > 0; }
    bool hasBody() const { return isChunked() || m_length > 0; }
    // 0 unless a length has been given.
    qint64 contentLength() const { return m_length; }

    static Refusal bodyTooLarge();
    static Refusal hostDisagrees();

private:
    void addLength(const char* value);

    int m_headers = 0;
    int m_hosts = 0;
    int m_lengths = 0;
    int m_transferEncodings = 0;
    bool m_otherEncoding = false;
    bool m_badLength = false;
    bool m_lengthsDiffer = false;
    qint64 m_length = 0;
    const char* m_host = nullptr;
};
