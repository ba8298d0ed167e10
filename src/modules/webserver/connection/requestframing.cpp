// SPDX-License-Identifier: MIT
#include "connection/requestframing.h"

#include <algorithm>

std::size_t RequestFraming::take(std::string_view bytes, std::string& vetted) {
    if (m_phase == Phase::Head)
        return takeHead(bytes, vetted);
    if (m_phase == Phase::Body)
        return m_request.isChunked ? takeChunks(bytes, vetted) : takeBody(bytes, vetted);
    return 0;
}

void RequestFraming::takeEnd() {
    if (m_phase == Phase::Body)
        refuse(badRequest("The connection ended within the body of the request."));
    else if (m_phase == Phase::Head && !isIdle())
        refuse(badRequest("The connection ended within the head of the request."));
}

std::size_t RequestFraming::takeHead(std::string_view bytes, std::string& vetted) {
    const std::size_t skipped = m_head.empty() ? skipEmptyLines(bytes) : 0;
    bytes = bytes.substr(skipped, HeadScanner::maxHeadBytes - m_head.size());
    if (m_phase == Phase::Refused || bytes.empty())
        return skipped;

    // The usual head comes in one piece and is read where it is.
    const std::size_t known = m_head.size();
    if (known > 0)
        m_head.append(bytes);
    const std::string_view head = known > 0 ? std::string_view(m_head) : bytes;
    Refusal refusal;
    const std::size_t end = m_scanner.findEnd(head, refusal);
    if (refusal) {
        refuse(refusal);
        return skipped + bytes.size();
    }
    if (end == 0) {
        if (known == 0)
            m_head = bytes;
        return skipped + bytes.size();
    }
    endHead(head.substr(0, end), vetted);
    return skipped + end - known;
}

std::size_t RequestFraming::skipEmptyLines(std::string_view bytes) {
    std::size_t skipped = 0;
    for (; skipped < bytes.size(); ++skipped) {
        const char c = bytes[skipped];
        if (!m_afterCr && c != '\r')
            break;
        if (m_afterCr && (c != '\n' || ++m_emptyLines > maxEmptyLines)) {
            refuse(badRequest(c == '\n' ? "Too many empty lines come before the request."
                                        : "The request begins with a bare CR."));
            break;
        }
        m_afterCr = !m_afterCr;
    }
    return skipped;
}

void RequestFraming::endHead(std::string_view head, std::string& vetted) {
    const Refusal refusal = readHead(head, m_isSecure, m_request, vetted);
    if (refusal)
        return refuse(refusal);
    m_missing = m_request.contentLength;
    m_phase = hasBody() ? Phase::Body : Phase::Complete;
    // Not only cleared: a connection may be idle for long.
    m_head = std::string();
}

std::size_t RequestFraming::takeBody(std::string_view bytes, std::string& vetted) {
    const auto missing = static_cast<std::uint64_t>(m_missing);
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(missing, bytes.size()));
    vetted.append(bytes.data(), count);
    m_missing -= static_cast<std::int64_t>(count);
    if (m_missing == 0)
        m_phase = Phase::Complete;
    return count;
}

std::size_t RequestFraming::takeChunks(std::string_view bytes, std::string& vetted) {
    const std::size_t taken = m_chunks.take(bytes, vetted);
    if (m_chunks.refusal())
        refuse(m_chunks.refusal());
    else if (m_chunks.isComplete())
        m_phase = Phase::Complete;
    return taken;
}

void RequestFraming::refuse(const Refusal& refusal) {
    m_phase = Phase::Refused;
    m_refusal = refusal;
    m_head = std::string();
}

void RequestFraming::next() {
    *this = RequestFraming(m_isSecure);
}
