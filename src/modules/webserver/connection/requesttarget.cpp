// SPDX-License-Identifier: MIT
#include "connection/requesttarget.h"

#include "connection/fieldgrammar.h"

#include <algorithm>

namespace {

constexpr int noPort = -1;

struct HostAndPort {
    std::string_view host;
    // With the colon; empty without.
    std::string_view port;
};

HostAndPort split(std::string_view authority) {
    const std::size_t bracket = authority.rfind(']');
    const std::size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
    if (colon == std::string_view::npos)
        return {authority, {}};
    return {authority.substr(0, colon), authority.substr(colon)};
}

// Of 1 to 5 digits; noPort unless it is one.
int portNumber(std::string_view digits) {
    constexpr int maxPort = 65535;
    constexpr std::size_t maxDigits = 5;
    if (digits.empty() || digits.size() > maxDigits ||
        !std::all_of(digits.begin(), digits.end(), isDigit))
        return noPort;
    int number = 0;
    for (const char c : digits)
        number = number * 10 + (c - '0');
    return number <= maxPort ? number : noPort;
}

// The scheme's own port when none is given, be it after a colon.
int effectivePort(std::string_view port, bool isSecure) {
    if (port.size() <= 1)
        return isSecure ? 443 : 80;
    return portNumber(port.substr(1));
}

bool isAddressByte(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == ':' || c == '.' ||
           c == '%';
}

bool isNameByte(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '_' ||
           c == '-';
}

Refusal readAbsolute(std::string_view text, bool isSecure, RequestTarget& target) {
    const std::string_view prefix = isSecure ? "https://" : "http://";
    if (!equalsIgnoringCase(text.substr(0, prefix.size()), prefix))
        return badRequest("The request's target is neither a path nor a URI of this server.");
    text.remove_prefix(prefix.size());
    const std::size_t end = std::min(text.find_first_of("/?"), text.size());
    target = {text.substr(0, end), text.substr(end), true};
    if (target.authority.find('@') != std::string_view::npos)
        return badRequest("The URI of the request has a user name.");
    if (split(target.authority).host.empty())
        return badRequest("The URI of the request names no host.");
    return {};
}

} // namespace

Refusal readTarget(std::string_view method, std::string_view text, bool isSecure,
                   RequestTarget& target) {
    if (text.find('\t') != std::string_view::npos)
        return badRequest("The request's target has a tab.");
    if (text == "*") {
        if (method != "OPTIONS")
            return badRequest("The request's target is \"*\", which only OPTIONS may have.");
    } else if (text.empty() || text.front() != '/') {
        return readAbsolute(text, isSecure, target);
    }
    target = {{}, text, false};
    return {};
}

Refusal checkHost(std::string_view host) {
    if (host.find_first_of(" \t/@#?\\<>,") != std::string_view::npos)
        return badRequest("The request's Host header has a character that no host may have.");
    return {};
}

bool namesSameHost(std::string_view authority, std::string_view host, bool isSecure) {
    const HostAndPort a = split(authority);
    const HostAndPort b = split(host);
    const int port = effectivePort(a.port, isSecure);
    return equalsIgnoringCase(a.host, b.host) && port != noPort &&
           port == effectivePort(b.port, isSecure);
}

bool isPlainHost(std::string_view host) {
    const HostAndPort parts = split(host);
    std::string_view name = parts.host;
    if (!parts.port.empty() && portNumber(parts.port.substr(1)) == noPort)
        return false;
    if (name.size() > 2 && name.front() == '[' && name.back() == ']') {
        name = name.substr(1, name.size() - 2);
        return std::all_of(name.begin(), name.end(), isAddressByte);
    }
    return !name.empty() && std::all_of(name.begin(), name.end(), isNameByte);
}
