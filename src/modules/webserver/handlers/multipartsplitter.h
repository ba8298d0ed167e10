#pragma once

#include <QByteArray>

#include <functional>

// Cuts a multipart body that arrives in pieces into its parts: bytes in, headers and content out,
// the same for every way in which the body is cut into pieces.
//
// It works in steps, so that its owner decides how much is done at a time. What stands before the
// first boundary and behind the closing one belongs to no part and is dropped.
class MultipartSplitter {
public:
    // A header block longer than this ends the body: no client needs it, and it is all that a
    // splitter would have to keep.
    static constexpr int maximumHeaderSize = 16 * 1024;

    // A part begins. The block ends with the empty line. The first part's, and that of a part
    // behind an empty one, begins with the delimiter; others with the rest of the boundary line.
    using NewPart = std::function<void(const QByteArray& header)>;
    // The next bytes of the part's content, valid during the call.
    using PartData = std::function<void(const char* data, unsigned int size)>;

    // `delimiter`: CR LF, two hyphens and the boundary, which is not empty.
    MultipartSplitter(const QByteArray& delimiter, NewPart newPart, PartData partData);

    void append(const char* data, unsigned int size);
    // Takes one piece of content, one boundary or one header block out of what was appended, if it
    // is complete; `final`: nothing more will come. The bytes that are left to work on, 0 when
    // nothing can be done with them.
    int step(bool final);
    // Takes out all that is complete.
    void advance();
    // The length of the header block at the front, -1 while it is not complete.
    int headerLength() const;

    // The bytes that are kept.
    int size() const { return m_buffer.size() - m_front; }
    // The closing boundary is next, or behind.
    bool isAtEnd() const { return m_closed || isAtClosing(); }

private:
    int stepContent(bool final);
    int stepHeader();
    const char* data() const { return m_buffer.constData() + m_front; }
    int indexOf(const QByteArray& pattern) const;
    void drop(int size);
    void takeContent(int size, int separator);
    bool isAtClosing() const;
    void close();

    QByteArray m_delimiter;
    NewPart m_newPart;
    PartData m_partData;
    QByteArray m_buffer;
    // Where in the buffer the kept bytes begin.
    int m_front = 0;
    bool m_inHeader = false;
    // The length of the delimiter at the front of the header block.
    int m_headerDelimiter = 0;
    bool m_hasPart = false;
    bool m_closed = false;
};
