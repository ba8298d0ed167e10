// SPDX-License-Identifier: MIT
#include "connection/requesthead.h"

#include "connection/fieldgrammar.h"
#include "connection/headscanner.h"
#include "connection/requesttarget.h"

#include <algorithm>
#include <array>
#include <limits>

namespace {

// What Connection names is compared with every header; clients name one or two.
constexpr int maxConnectionOptions = 32;

enum class Header : std::uint8_t {
    Other,
    Host,
    ContentLength,
    TransferEncoding,
    Expect,
    ContentType,
    Connection,
    // Others that mean the connection and not the request.
    HopByHop,
};

struct KnownHeader {
    std::string_view name;
    Header header;
};

constexpr KnownHeader knownHeaders[] = {
    {"Host", Header::Host},
    {"Content-Length", Header::ContentLength},
    {"Transfer-Encoding", Header::TransferEncoding},
    {"Expect", Header::Expect},
    {"Content-Type", Header::ContentType},
    {"Connection", Header::Connection},
    {"Keep-Alive", Header::HopByHop},
    {"Proxy-Connection", Header::HopByHop},
    {"TE", Header::HopByHop},
    {"Trailer", Header::HopByHop},
    {"Upgrade", Header::HopByHop},
    {"HTTP2-Settings", Header::HopByHop},
};

Header headerOf(std::string_view name) {
    for (const KnownHeader& known : knownHeaders) {
        if (known.name.size() == name.size() && equalsIgnoringCase(known.name, name))
            return known.header;
    }
    return Header::Other;
}

// -1 unless the text consists of digits and fits.
std::int64_t parseLength(std::string_view text) {
    constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
    if (text.empty() || !std::all_of(text.begin(), text.end(), isDigit))
        return -1;
    std::int64_t length = 0;
    for (const char c : text) {
        const int digit = c - '0';
        if (length > (greatest - digit) / 10)
            return -1;
        length = length * 10 + digit;
    }
    return length;
}

// Takes the first element off a comma-separated list.
std::string_view takeElement(std::string_view* list) {
    const std::size_t comma = std::min(list->find(','), list->size());
    const std::string_view element = trimmed(list->substr(0, comma));
    list->remove_prefix(std::min(comma + 1, list->size()));
    return element;
}

class HeadReader {
public:
    HeadReader(bool isSecure, RequestHead& request) : m_request(request), m_isSecure(isSecure) {}

    Refusal read(std::string_view head);
    void write(std::string& vetted) const;

private:
    // Trivial, so that a hundred of them cost nothing until they are used.
    struct Line {
        const char* begin;
        std::uint32_t size; // with its line end
        std::uint32_t nameSize;
        Header header;
        bool isDropped;

        std::string_view name() const { return {begin, nameSize}; }
    };

    Refusal readRequestLine(std::string_view line);
    Refusal readVersion(std::string_view version);
    Refusal readHeader(std::string_view line);
    Refusal readValue(std::string_view value, Line& line);
    Refusal readLength(std::string_view value, Line& line);
    Refusal readConnection(std::string_view value);
    Refusal checkFraming() const;
    Refusal checkTarget();
    void dropExpectations();
    void dropNamedByConnection();

    RequestHead& m_request;
    const bool m_isSecure;
    std::string_view m_method;
    RequestTarget m_target;
    std::string_view m_host;
    int m_hosts = 0;
    int m_lengths = 0;
    int m_transferEncodings = 0;
    int m_expectations = 0;
    bool m_isOtherEncoding = false;
    bool m_closes = false;
    bool m_isHostPlain = true;
    std::size_t m_lineCount = 0;
    std::array<Line, HeadScanner::maxHeaderLines> m_lines;
    int m_optionCount = 0;
    std::array<std::string_view, maxConnectionOptions> m_options;
};

Refusal HeadReader::read(std::string_view head) {
    std::size_t end = head.find('\n') + 1;
    Refusal refusal = readRequestLine(head.substr(0, end - 2));
    head.remove_prefix(end);
    // The last line is the empty one.
    while (!refusal && head.size() > 2) {
        end = head.find('\n') + 1;
        refusal = readHeader(head.substr(0, end - 2));
        head.remove_prefix(end);
    }
    if (!refusal)
        refusal = checkFraming();
    if (!refusal)
        refusal = checkTarget();
    if (refusal)
        return refusal;
    m_request.isHead = m_method == "HEAD";
    m_request.isChunked = m_transferEncodings > 0;
    m_request.keepsAlive = m_request.isHttp11 && !m_closes;
    dropExpectations();
    dropNamedByConnection();
    return {};
}

Refusal HeadReader::readRequestLine(std::string_view line) {
    const std::size_t methodEnd = line.find(' ');
    m_method = line.substr(0, methodEnd);
    if (!isToken(m_method))
        return badRequest("The request begins with no method.");
    if (methodEnd == std::string_view::npos)
        return badRequest("The request line has no target.");
    line.remove_prefix(methodEnd + 1);
    const std::size_t targetEnd = line.find(' ');
    if (targetEnd == std::string_view::npos)
        return badRequest("The request line has no version.");
    if (const Refusal refusal = readVersion(line.substr(targetEnd + 1)))
        return refusal;
    if (m_method == "CONNECT")
        return {405, "Method Not Allowed", "This server is no proxy; it connects to no others."};
    return readTarget(m_method, line.substr(0, targetEnd), m_isSecure, m_target);
}

Refusal HeadReader::readVersion(std::string_view version) {
    constexpr std::string_view name = "HTTP/";
    if (version.size() != 8 || version.substr(0, name.size()) != name || !isDigit(version[5]) ||
        version[6] != '.' || !isDigit(version[7]))
        return badRequest("The request line does not end with a version of HTTP after one space.");
    if (version[5] != '1')
        return {505, "HTTP Version Not Supported",
                "This server speaks HTTP/1.1 and HTTP/1.0 only."};
    m_request.isHttp11 = version[7] != '0';
    return {};
}

Refusal HeadReader::readHeader(std::string_view line) {
    Field field;
    if (const Refusal refusal = readField(line, field))
        return refusal;
    Line& entry = m_lines[m_lineCount++];
    entry = {line.data(), static_cast<std::uint32_t>(line.size() + 2),
             static_cast<std::uint32_t>(field.name.size()), headerOf(field.name), false};
    return entry.header == Header::Other ? Refusal() : readValue(field.value, entry);
}

Refusal HeadReader::readValue(std::string_view value, Line& line) {
    switch (line.header) {
    case Header::Host:
        if (m_hosts++ > 0)
            return badRequest("The request names its host more than once.");
        m_host = value;
        return checkHost(value);
    case Header::ContentLength:
        return readLength(value, line);
    case Header::TransferEncoding:
        ++m_transferEncodings;
        m_isOtherEncoding = m_isOtherEncoding || !equalsIgnoringCase(value, "chunked");
        break;
    case Header::Expect:
        if (!equalsIgnoringCase(value, "100-continue"))
            return {417, "Expectation Failed",
                    "The request expects something else than \"100-continue\"."};
        line.isDropped = m_expectations++ > 0;
        break;
    case Header::Connection:
        line.isDropped = true;
        return readConnection(value);
    case Header::HopByHop:
        line.isDropped = true;
        break;
    case Header::Other:
    case Header::ContentType:
        break;
    }
    return {};
}

Refusal HeadReader::readLength(std::string_view value, Line& line) {
    const std::int64_t length = parseLength(value);
    if (length < 0)
        return badRequest("The request's Content-Length is not a number, or too large.");
    if (m_lengths > 0 && length != m_request.contentLength)
        return badRequest("The request gives two different lengths for its body.");
    m_request.contentLength = length;
    line.isDropped = m_lengths++ > 0;
    return {};
}

Refusal HeadReader::readConnection(std::string_view value) {
    while (!value.empty()) {
        const std::string_view option = takeElement(&value);
        if (equalsIgnoringCase(option, "close"))
            m_closes = true;
        else if (m_optionCount == maxConnectionOptions)
            return {431, "Request Header Fields Too Large",
                    "The request's Connection header names more than 32 options."};
        else
            m_options[static_cast<std::size_t>(m_optionCount++)] = option;
    }
    return {};
}

Refusal HeadReader::checkFraming() const {
    if (m_transferEncodings == 0)
        return {};
    if (m_lengths > 0)
        return badRequest("The request gives a Content-Length and a Transfer-Encoding; only one of "
                          "them can say where its body ends.");
    if (m_transferEncodings > 1)
        return badRequest("The request gives its Transfer-Encoding more than once.");
    if (!m_request.isHttp11)
        return badRequest("The request has a Transfer-Encoding, which HTTP/1.0 does not know.");
    if (m_isOtherEncoding)
        return {501, "Not Implemented",
                "The request's Transfer-Encoding is not supported; only \"chunked\" is."};
    return {};
}

Refusal HeadReader::checkTarget() {
    if (m_hosts == 0 && m_request.isHttp11)
        return badRequest("The request has no Host header.");
    if (m_target.isAbsolute &&
        (m_hosts == 0 || !namesSameHost(m_target.authority, m_host, m_isSecure)))
        return badRequest("The request's URI names another host than its Host header.");
    m_isHostPlain = m_hosts == 0 || isPlainHost(m_host);
    return {};
}

// HTTP/1.0 does not know them, and without a body there is nothing to wait for.
void HeadReader::dropExpectations() {
    const bool hasBody = m_request.isChunked || m_request.contentLength > 0;
    if (m_expectations == 0 || (m_request.isHttp11 && hasBody))
        return;
    for (std::size_t i = 0; i < m_lineCount; ++i)
        m_lines[i].isDropped = m_lines[i].isDropped || m_lines[i].header == Header::Expect;
}

void HeadReader::dropNamedByConnection() {
    for (int option = 0; option < m_optionCount; ++option) {
        const std::string_view name = m_options[static_cast<std::size_t>(option)];
        for (std::size_t i = 0; i < m_lineCount; ++i) {
            Line& line = m_lines[i];
            if (line.header == Header::Other && equalsIgnoringCase(line.name(), name))
                line.isDropped = true;
        }
    }
}

void HeadReader::write(std::string& vetted) const {
    vetted.append(m_method).append(" ");
    // The engine builds the URI of a path from the Host header and refuses what is none. Whether
    // the host is accepted is decided later, by the header.
    if (!m_isHostPlain && m_target.path != "*")
        vetted.append("http://localhost");
    if (m_target.isAbsolute && (m_target.path.empty() || m_target.path.front() != '/'))
        vetted.append("/");
    vetted.append(m_target.path).append(m_request.isHttp11 ? " HTTP/1.1\r\n" : " HTTP/1.0\r\n");
    for (std::size_t i = 0; i < m_lineCount; ++i) {
        if (!m_lines[i].isDropped)
            vetted.append(m_lines[i].begin, m_lines[i].size);
    }
    vetted.append("Connection: close\r\n\r\n");
}

} // namespace

Refusal readHead(std::string_view head, bool isSecure, RequestHead& request, std::string& vetted) {
    HeadReader reader(isSecure, request);
    const Refusal refusal = reader.read(head);
    if (!refusal)
        reader.write(vetted);
    return refusal;
}
