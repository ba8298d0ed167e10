// SPDX-License-Identifier: MIT

// The bytes of a connection, cut into requests in one piece and in many, and by another parser:
// what both accept ends at the same byte and has the same body.
#include "connection/requestframing.h"
#include "property.h"

#include <algorithm>
#include <http_parser.h>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Phase = RequestFraming::Phase;

struct Accepted {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::string vetted;
};

// All requests of a connection, until one is refused or missing.
struct Reading {
    std::vector<Accepted> requests;
    Refusal refusal;
    std::string rest;
};

// `pieces`: where the sizes of the pieces come from; 0 for a single one.
Reading read(std::string_view bytes, bool isSecure, unsigned pieces) {
    Reading reading;
    RequestFraming framing(isSecure);
    Accepted request;
    std::size_t taken = 0;
    std::size_t end = pieces == 0 ? bytes.size() : 0;
    while (taken < bytes.size() && framing.phase() != Phase::Refused) {
        if (taken == end) {
            pieces = pieces * 1103515245U + 12345U;
            end = std::min(bytes.size(), end + 1 + (pieces >> 16U) % 13);
        }
        const std::size_t before = request.vetted.size();
        const std::size_t count = framing.take(bytes.substr(taken, end - taken), request.vetted);
        FUZZ_CHECK(count <= end - taken && (count > 0 || framing.phase() == Phase::Refused));
        taken += count;
        if (framing.phase() == Phase::Head)
            FUZZ_CHECK(before == 0 && request.vetted.empty());
        if (framing.phase() != Phase::Complete)
            continue;
        request.end = taken;
        reading.requests.push_back(request);
        request = {taken, taken, {}};
        framing.next();
        FUZZ_CHECK(framing.isIdle());
    }
    const bool isIdle = framing.isIdle();
    framing.takeEnd();
    reading.refusal = framing.refusal();
    FUZZ_CHECK(isIdle == !reading.refusal && (!isIdle || request.vetted.empty()));
    reading.rest = request.vetted;
    return reading;
}

// What the other parser makes of one request.
struct Parsed {
    bool isComplete = false;
    std::size_t end = 0;
    http_errno error = HPE_OK;
    std::string method;
    std::string body;
};

Parsed parse(std::string_view bytes) {
    Parsed parsed;
    http_parser_settings settings;
    http_parser_settings_init(&settings);
    settings.on_body = [](http_parser* parser, const char* at, std::size_t length) {
        static_cast<Parsed*>(parser->data)->body.append(at, length);
        return 0;
    };
    settings.on_message_complete = [](http_parser* parser) {
        auto& self = *static_cast<Parsed*>(parser->data);
        self.isComplete = true;
        self.method = http_method_str(static_cast<http_method>(parser->method));
        http_parser_pause(parser, 1);
        return 0;
    };
    http_parser parser;
    http_parser_init(&parser, HTTP_REQUEST);
    parser.data = &parsed;
    parsed.end = http_parser_execute(&parser, &settings, bytes.data(), bytes.size());
    parsed.error = HTTP_PARSER_ERRNO(&parser);
    return parsed;
}

bool isKnownMethod(std::string_view method) {
    static const std::string_view known[] = {
#define NAME(number, name, text) #text,
        HTTP_METHOD_MAP(NAME)
#undef NAME
    };
    return std::find(std::begin(known), std::end(known), method) != std::end(known);
}

QByteArray lowered(std::string_view text) {
    return QByteArray(text.data(), static_cast<int>(text.size())).toLower();
}

// The other parser takes Transfer-EncodingX for Transfer-Encoding, except for its value.
bool hasLongerEncoding(const QByteArray& request) {
    return request.count("\r\ntransfer-encoding") > request.count("\r\ntransfer-encoding:");
}

// Why the other parser may refuse what we accept.
bool isExplained(http_errno error, std::string_view request, std::string_view vetted) {
    const std::string_view method = vetted.substr(0, vetted.find(' '));
    const QByteArray text = lowered(request);
    switch (error) {
    case HPE_INVALID_METHOD:
        // It has a list of methods; we leave it to the handlers.
        return !isKnownMethod(method);
    case HPE_UNEXPECTED_CONTENT_LENGTH:
        // It refuses a repeated length even if it is the same; RFC 9110, 8.6 lets us accept it.
        // Nor does it take one beside an encoding.
        return text.count("\r\ncontent-length:") > 1 || hasLongerEncoding(text);
    case HPE_INVALID_TRANSFER_ENCODING:
        return text.contains('\t') || hasLongerEncoding(text);
    case HPE_INVALID_CONTENT_LENGTH:
    case HPE_INVALID_CHUNK_SIZE:
        // It takes spaces for white space there, but no tabs; RFC 9110, 5.6.3 has both.
        return text.contains('\t');
    case HPE_INVALID_URL:
        // Of an absolute target it checks the host; we compare it with the Host header, and leave
        // strange ones to the host check. The engine gets "localhost" for them.
        return vetted.substr(method.size(), 8) == " http://";
    default:
        return false;
    }
}

// What is passed on is one request for everybody.
void checkVetted(const std::string& vetted, bool isSecure, const Parsed& original) {
    const std::size_t methodEnd = vetted.find(' ');
    const std::string method = vetted.substr(0, methodEnd);
    const bool isKnown = isKnownMethod(method);
    const std::string known = isKnown ? vetted : "POST" + vetted.substr(methodEnd);
    const Parsed parsed = parse(known);
    if (!parsed.isComplete) {
        FUZZ_CHECK(isExplained(parsed.error, known, known));
        return;
    }
    FUZZ_CHECK(parsed.end == known.size());
    FUZZ_CHECK(parsed.method == (isKnown ? method : "POST"));
    if (original.isComplete)
        FUZZ_CHECK(parsed.method == original.method && parsed.body == original.body);
    // An absolute target stands for a host that it does not name.
    if (vetted[methodEnd + 1] == 'h')
        return;
    const Reading again = read(vetted, isSecure, 0);
    // The line that has been added may be the one too many.
    if (again.refusal.status != 431)
        FUZZ_CHECK(again.requests.size() == 1 && again.requests[0].vetted == vetted);
}

} // namespace

// The kind of connection and the sizes of the pieces, then the connection's bytes.
void fuzz(const QByteArray& input) {
    if (input.isEmpty())
        return;
    const auto first = static_cast<unsigned char>(input[0]);
    const bool isSecure = (first & 1U) != 0;
    const std::string_view bytes(input.constData() + 1, static_cast<std::size_t>(input.size() - 1));
    const Reading whole = read(bytes, isSecure, 0);
    const Reading pieces = read(bytes, isSecure, first + 1U);
    FUZZ_CHECK(whole.refusal.reason == pieces.refusal.reason && whole.rest == pieces.rest);
    FUZZ_CHECK(whole.requests.size() == pieces.requests.size());

    for (std::size_t i = 0; i < whole.requests.size(); ++i) {
        const Accepted& request = whole.requests[i];
        FUZZ_CHECK(request.end == pieces.requests[i].end);
        FUZZ_CHECK(request.vetted == pieces.requests[i].vetted);
        // With what follows: the other one might go on beyond the end.
        const Parsed parsed = parse(bytes.substr(request.begin));
        if (parsed.isComplete)
            FUZZ_CHECK(request.begin + parsed.end == request.end);
        else
            FUZZ_CHECK(isExplained(parsed.error,
                                   bytes.substr(request.begin, request.end - request.begin),
                                   request.vetted));
        checkVetted(request.vetted, isSecure, parsed);
    }
}
