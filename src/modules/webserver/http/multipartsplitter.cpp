// SPDX-License-Identifier: MIT
#include "http/multipartsplitter.h"

#include <algorithm>
#include <cstring>

namespace {

const QByteArray emptyLine = QByteArrayLiteral("\r\n\r\n");
const QByteArray closingMark = QByteArrayLiteral("--");

// A chunk of the server and a delimiter. Reserved, so that an emptied buffer does not free its
// memory.
constexpr int usualSize = 65 * 1024;

// With more than one carriage return in so many bytes, a search for the whole delimiter is faster.
constexpr size_t sparse = 64;

const char* find(const char* from, const char* to, const QByteArray& pattern) {
    return static_cast<const char*>(memmem(from, static_cast<size_t>(to - from),
                                           pattern.constData(),
                                           static_cast<size_t>(pattern.size())));
}

// Searches for carriage returns: memchr() compares many bytes at a time, and a binary file contains
// few of them. In text, or in a file that was made to slow this down, it searches for the whole
// delimiter with memmem(), whose speed does not depend on the content.
const char* findDelimiter(const char* from, const char* to, const QByteArray& delimiter) {
    const auto length = static_cast<size_t>(delimiter.size());
    size_t rest = static_cast<size_t>(to - from);
    for (size_t i = 0, limit = rest / sparse; rest >= length; ++i) {
        if (i > limit)
            return find(from, to, delimiter);
        const auto* found = static_cast<const char*>(std::memchr(from, '\r', rest - length + 1));
        // The next byte rules out most carriage returns of a binary file.
        if (!found || (found[1] == '\n' && std::memcmp(found, delimiter.constData(), length) == 0))
            return found;
        from = found + 1;
        rest = static_cast<size_t>(to - from);
    }
    return nullptr;
}

} // namespace

MultipartSplitter::MultipartSplitter(const QByteArray& delimiter, NewPart newPart,
                                     PartData partData)
    : m_delimiter(delimiter), m_newPart(std::move(newPart)), m_partData(std::move(partData)) {
    m_buffer.reserve(usualSize);
    // The first boundary line has no line break before it, but the delimiter begins with one.
    m_buffer.append("\r\n");
}

void MultipartSplitter::append(const char* data, unsigned int size) {
    if (m_search == Search::Nothing)
        return;
    m_buffer.append(data, static_cast<int>(size));
    search();
}

void MultipartSplitter::search() {
    while ((m_search == Search::Delimiter && searchDelimiter()) ||
           (m_search == Search::HeaderEnd && searchHeaderEnd())) {
    }
}

bool MultipartSplitter::searchDelimiter() {
    const char* found = findDelimiter(at(m_searched), at(end()), m_delimiter);
    if (!found) {
        // The tail may be the beginning of a delimiter.
        m_searched = std::max(m_searched, end() - m_delimiter.size() + 1);
        return false;
    }
    const qint64 position = m_position + (found - at(m_position));
    m_marks.push_back({Mark::Delimiter, position});
    // A delimiter after empty content becomes a part of the header block.
    m_headerDelimiter = position == m_begin ? m_delimiter.size() : 0;
    m_begin = position + m_delimiter.size() - m_headerDelimiter;
    m_searched = m_begin;
    m_search = Search::HeaderEnd;
    return true;
}

bool MultipartSplitter::searchHeaderEnd() {
    const qint64 behind = m_begin + m_headerDelimiter;
    if (end() < behind + closingMark.size())
        return false;
    if (std::memcmp(at(behind), closingMark.constData(), static_cast<size_t>(closingMark.size())) ==
        0) {
        m_isClosed = true;
        endSearch(m_begin);
        return false;
    }
    const char* found = find(at(m_searched), at(end()), emptyLine);
    const qint64 headerEnd =
        found ? m_position + (found - at(m_position)) + emptyLine.size() : end();
    if (headerEnd - m_begin > maximumHeaderSize || (found && !isText(m_begin, headerEnd))) {
        endSearch(m_begin);
        return false;
    }
    if (!found) {
        m_searched = std::max(m_searched, end() - emptyLine.size() + 1);
        return false;
    }
    m_marks.push_back({Mark::HeaderEnd, headerEnd});
    m_begin = headerEnd;
    m_searched = headerEnd;
    m_search = Search::Delimiter;
    return true;
}

bool MultipartSplitter::isText(qint64 from, qint64 to) const {
    return !std::memchr(at(from), 0, static_cast<size_t>(to - from));
}

// The bytes from the position on belong to no part.
void MultipartSplitter::endSearch(qint64 position) {
    m_marks.push_back({Mark::End, position});
    m_search = Search::Nothing;
    m_buffer.truncate(m_front + static_cast<int>(position - m_position));
}

int MultipartSplitter::step(bool final) {
    return m_inHeader ? stepHeader() : stepContent(final);
}

bool MultipartSplitter::canStep() const {
    return m_inHeader ? headerLength() >= 0 : !m_marks.empty() || size() > m_delimiter.size();
}

int MultipartSplitter::stepContent(bool final) {
    if (m_marks.empty()) {
        // One byte more than the beginning of a delimiter stays in the buffer. So a delimiter is at
        // the front of the buffer only after empty content.
        const int ready = size() - (final ? 0 : m_delimiter.size());
        if (ready > 0)
            takeContent(ready, 0);
        return size();
    }
    const auto position = static_cast<int>(m_marks.front().position - m_position);
    m_marks.pop_front();
    m_inHeader = true;
    if (position > 0)
        takeContent(position, m_delimiter.size());
    return size();
}

int MultipartSplitter::stepHeader() {
    if (!m_marks.empty() && m_marks.front().kind == Mark::End)
        release();
    const int length = headerLength();
    if (length < 0)
        return 0;
    const QByteArray header(at(m_position), length);
    m_marks.pop_front();
    drop(length);
    m_inHeader = false;
    m_hasPart = true;
    m_newPart(header);
    return size();
}

int MultipartSplitter::headerLength() const {
    if (!m_inHeader || m_marks.empty() || m_marks.front().kind != Mark::HeaderEnd)
        return -1;
    return static_cast<int>(m_marks.front().position - m_position);
}

// Moves the remaining bytes only when half of the buffer is free. Otherwise many small parts would
// take quadratic time.
void MultipartSplitter::drop(int size) {
    m_position += size;
    m_front += size;
    if (m_front <= m_buffer.size() / 2)
        return;
    m_buffer.remove(0, m_front);
    m_front = 0;
}

void MultipartSplitter::takeContent(int size, int separator) {
    if (m_hasPart)
        m_partData(at(m_position), static_cast<unsigned int>(size));
    drop(size + separator);
}

void MultipartSplitter::release() {
    m_buffer = QByteArray();
    m_front = 0;
}
