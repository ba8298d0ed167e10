#include "handlers/multipartsplitter.h"

#include <cstring>

namespace {

const QByteArray emptyLine = QByteArrayLiteral("\r\n\r\n");
const QByteArray closingMark = QByteArrayLiteral("--");

// What a server's chunk and a delimiter take together; reserved, so that the buffer keeps its
// memory when it is emptied.
constexpr int usualSize = 16 * 1024;

// The C library searches a chunk several times as fast as QByteArray does.
int indexOf(const QByteArray& text, const QByteArray& pattern) {
    const void* found = memmem(text.constData(), static_cast<size_t>(text.size()),
                               pattern.constData(), static_cast<size_t>(pattern.size()));
    return found ? static_cast<int>(static_cast<const char*>(found) - text.constData()) : -1;
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
    if (!m_closed)
        m_buffer.append(data, static_cast<int>(size));
}

int MultipartSplitter::step(bool final) {
    if (m_closed)
        return 0;
    return m_inHeader ? stepHeader() : stepContent(final);
}

int MultipartSplitter::stepContent(bool final) {
    const int position = indexOf(m_buffer, m_delimiter);
    if (position < 0) {
        // The tail may be the beginning of a delimiter. One byte more than that is kept, so that a
        // delimiter stands at the very front only behind empty content.
        const int ready = m_buffer.size() - (final ? 0 : m_delimiter.size());
        if (ready > 0)
            takeContent(ready, 0);
        return m_buffer.size();
    }
    // A delimiter at the very front stays and becomes part of the header block.
    m_headerDelimiter = position == 0 ? m_delimiter.size() : 0;
    if (position > 0)
        takeContent(position, m_delimiter.size());
    m_inHeader = true;
    return m_buffer.size();
}

int MultipartSplitter::stepHeader() {
    if (isAtClosing()) {
        close();
        return 0;
    }
    const int length = headerLength();
    if (length > maximumHeaderSize || (length < 0 && m_buffer.size() >= maximumHeaderSize)) {
        close();
        return 0;
    }
    if (length < 0)
        return 0;
    const QByteArray header = m_buffer.left(length);
    m_buffer.remove(0, length);
    m_inHeader = false;
    m_hasPart = true;
    m_newPart(header);
    return m_buffer.size();
}

int MultipartSplitter::headerLength() const {
    const int position = m_buffer.indexOf(emptyLine);
    if (position < 0)
        return -1;
    const int length = position + emptyLine.size();
    // Headers are text: what follows a NUL byte is not looked at.
    const bool isText = !std::memchr(m_buffer.constData(), 0, static_cast<size_t>(length));
    return isText ? length : -1;
}

void MultipartSplitter::takeContent(int size, int separator) {
    if (m_hasPart)
        m_partData(m_buffer.constData(), static_cast<unsigned int>(size));
    m_buffer.remove(0, size + separator);
}

bool MultipartSplitter::isAtClosing() const {
    return m_inHeader && m_buffer.mid(m_headerDelimiter, closingMark.size()) == closingMark;
}

bool MultipartSplitter::hasEnd() const {
    if (m_closed || isAtClosing())
        return true;
    // In the midst of content no more than a delimiter's length is kept, which needs no search.
    if (m_buffer.size() <= m_delimiter.size() || !m_buffer.contains(m_delimiter + closingMark))
        return false;
    // It may stand within a header block, where it means nothing.
    MultipartSplitter rest(*this);
    rest.m_newPart = [](const QByteArray&) {};
    rest.m_partData = [](const char*, unsigned int) {};
    while (rest.step(true) > 0) {
    }
    return rest.m_closed || rest.isAtClosing();
}

void MultipartSplitter::close() {
    m_closed = true;
    m_buffer = QByteArray();
}
