// SPDX-License-Identifier: MIT
#include "connection/refusal.h"

#include "connection/responseframing.h"

std::string answerTo(const Refusal& refusal) {
    const std::string body = std::string(refusal.reason) + '\n';
    std::string text = "HTTP/1.1 " + std::to_string(refusal.status) + ' ' + refusal.phrase +
                       "\r\nDate: " + httpDate() +
                       "\r\nConnection: close\r\nX-Robots-Tag: noindex\r\n"
                       "Content-Type: text/plain\r\n";
    if (refusal.status == 503)
        text += "Retry-After: 5\r\n";
    return text + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}
