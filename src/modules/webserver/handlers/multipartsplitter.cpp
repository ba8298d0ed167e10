#include "handlers/multipartsplitter.h"

#include <cstring>

namespace {

const QByteArray emptyLine = QByteArrayLiteral("\r\n\r\n");
const QByteArray closingMark = QByteArrayLiteral("--");

// What a server's chunk and a delimiter take together; reserved, so that the buffer keeps its
// memory when it is emptied.
constexpr int usualSize = 16 * 1024;

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

void MultipartSplitter::advance() {
    int before = 0;
    bool wasInHeader = false;
    do {
        before = size();
        wasInHeader = m_inHeader;
        step(false);
    } while (size() != before || m_inHeader != wasInHeader);
}

// The C library searches a chunk several times as fast as QByteArray does.
int MultipartSplitter::indexOf(const QByteArray& pattern) const {
    const void* found = memmem(data(), static_cast<size_t>(size()), pattern.constData(),
                               static_cast<size_t>(pattern.size()));
    return found ? static_cast<int>(static_cast<const char*>(found) - data()) : -1;
}

// Moves what is left only now and then, so that many small parts do not have it moved for each.
void MultipartSplitter::drop(int size) {
    m_front += size;
    if (m_front <= m_buffer.size() / 2)
        return;
    m_buffer.remove(0, m_front);
    m_front = 0;
}

int MultipartSplitter::stepContent(bool final) {
    const int position = indexOf(m_delimiter);
    if (position < 0) {
        // The tail may be the beginning of a delimiter. One byte more than that is kept, so that a
        // delimiter stands at the very front only behind empty content.
        const int ready = size() - (final ? 0 : m_delimiter.size());
        if (ready > 0)
            takeContent(ready, 0);
        return size();
    }
    // A delimiter at the very front stays and becomes part of the header block.
    m_headerDelimiter = position == 0 ? m_delimiter.size() : 0;
    if (position > 0)
        takeContent(position, m_delimiter.size());
    m_inHeader = true;
    return size();
}

int MultipartSplitter::stepHeader() {
    if (isAtClosing()) {
        close();
        return 0;
    }
    const int length = headerLength();
    if (length > maximumHeaderSize || (length < 0 && size() >= maximumHeaderSize)) {
        close();
        return 0;
    }
    if (length < 0)
        return 0;
    const QByteArray header(data(), length);
    drop(length);
    m_inHeader = false;
    m_hasPart = true;
    m_newPart(header);
    return size();
}

int MultipartSplitter::headerLength() const {
    const int position = indexOf(emptyLine);
    if (position < 0)
        return -1;
    const int length = position + emptyLine.size();
    // Headers are text: what follows a NUL byte is not looked at.
    const bool isText = !std::memchr(data(), 0, static_cast<size_t>(length));
    return isText ? length : -1;
}

void MultipartSplitter::takeContent(int size, int separator) {
    if (m_hasPart)
        m_partData(data(), static_cast<unsigned int>(size));
    drop(size + separator);
}

bool MultipartSplitter::isAtClosing() const {
    return m_inHeader && size() >= m_headerDelimiter + closingMark.size() &&
           std::memcmp(data() + m_headerDelimiter, closingMark.constData(),
                       static_cast<size_t>(closingMark.size())) == 0;
}

void MultipartSplitter::close() {
    m_closed = true;
    m_buffer = QByteArray();
    m_front = 0;
}
