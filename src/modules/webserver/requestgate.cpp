#include "requestgate.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace {

// -1 unless the text consists of digits and fits.
qint64 parseLength(const char* text) {
    if (*text == '\0' || std::strspn(text, "0123456789") != std::strlen(text))
        return -1;
    errno = 0;
    const long long length = std::strtoll(text, nullptr, 10);
    return errno == 0 ? length : -1;
}

} // namespace

void RequestGate::addHeader(const char* name, const char* value) {
    ++m_headers;
    // Most headers are none of these.
    switch (*name | 0x20) {
    case 'h':
        if (strcasecmp(name, "Host") == 0) {
            ++m_hosts;
            m_host = value;
        }
        break;
    case 'c':
        if (strcasecmp(name, "Content-Length") == 0)
            addLength(value);
        break;
    case 't':
        if (strcasecmp(name, "Transfer-Encoding") == 0) {
            ++m_transferEncodings;
            m_otherEncoding = m_otherEncoding || strcasecmp(value, "chunked") != 0;
        }
        break;
    default:
        break;
    }
}

void RequestGate::addLength(const char* value) {
    const qint64 length = parseLength(value);
    if (length < 0)
        m_badLength = true;
    else if (m_lengths > 0 && length != m_length)
        m_lengthsDiffer = true;
    else
        m_length = length;
    ++m_lengths;
}

Refusal RequestGate::refusal() const {
    if (m_headers > maxHeaders)
        return {431, "Request Header Fields Too Large", "The request has more than 100 headers."};
    if (m_hosts > 1)
        return badRequest("The request names its host more than once.");
    if (m_lengths > 0 && m_transferEncodings > 0)
        return badRequest("The request gives a Content-Length and a Transfer-Encoding; only one of "
                          "them can say where its body ends.");
    if (m_badLength)
        return badRequest("The request's Content-Length is not a number.");
    if (m_lengthsDiffer)
        return badRequest("The request gives two different lengths for its body.");
    if (m_transferEncodings > 1)
        return badRequest("The request gives its Transfer-Encoding more than once.");
    if (m_otherEncoding)
        return {501, "Not Implemented",
                "The request's Transfer-Encoding is not supported; only \"chunked\" is."};
    return {};
}

Refusal RequestGate::bodyTooLarge() {
    return {413, "Payload Too Large",
            "The request's body is larger than 16 MiB, the most that is accepted here."};
}

Refusal RequestGate::hostDisagrees() {
    return badRequest(
        "The request's URI names another host than its Host header, or is no HTTP URI.");
}
