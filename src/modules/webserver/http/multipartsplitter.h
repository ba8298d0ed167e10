// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <deque>
#include <functional>

// A parser of multipart bodies that arrive in pieces. Its output, the headers and contents of the
// parts, does not depend on how the body is cut into pieces.
//
// Each byte is searched once, when it is appended, and the positions found are stored. The owner
// takes the output in steps and so decides how much is done at a time. It also knows of the closing
// boundary before it has taken everything before it. Bytes before the first boundary and after the
// closing one belong to no part and are dropped.
class MultipartSplitter {
public:
    // A longer header block ends the body. No client needs it, and the block has to be buffered.
    static constexpr int maximumHeaderSize = 16 * 1024;

    // A part begins. The block ends with the empty line. It begins with the delimiter in the first
    // part and after an empty part, with the rest of the boundary line in other parts.
    using NewPart = std::function<void(const QByteArray& header)>;
    // The next bytes of the part's content, valid during the call.
    using PartData = std::function<void(const char* data, unsigned int size)>;

    // `delimiter`: CR LF, two hyphens and the boundary, which is not empty.
    MultipartSplitter(const QByteArray& delimiter, NewPart newPart, PartData partData);

    void append(const char* data, unsigned int size);
    // Takes one piece of content, one boundary or one header block out of the buffer, if it is
    // complete. `final`: nothing will be appended. Returns the number of buffered bytes, 0 when no
    // further step is possible.
    int step(bool final);
    // Whether another step takes something, before more bytes are appended.
    bool canStep() const;
    // The length of the header block at the front, -1 while it is not complete.
    int headerLength() const;

    // The number of buffered bytes.
    int size() const { return m_buffer.size() - m_front; }
    // No further part will come: the buffered bytes are followed by the closing boundary, or by a
    // header block that is too long or contains a NUL byte.
    bool isAtEnd() const { return m_search == Search::Nothing; }
    // The closing boundary has been found; it may still be in the buffer.
    bool isClosed() const { return m_isClosed; }

private:
    enum class Search { Delimiter, HeaderEnd, Nothing };
    struct Mark {
        enum Kind { Delimiter, HeaderEnd, End } kind;
        // Of the delimiter's first byte, or behind the header block; of the whole body.
        qint64 position;
    };

    void search();
    bool searchDelimiter();
    bool searchHeaderEnd();
    bool isText(qint64 from, qint64 to) const;
    void endSearch(qint64 position);
    int stepContent(bool final);
    int stepHeader();
    const char* at(qint64 position) const {
        return m_buffer.constData() + m_front + (position - m_position);
    }
    qint64 end() const { return m_position + size(); }
    void drop(int size);
    void takeContent(int size, int separator);
    void release();

    QByteArray m_delimiter;
    NewPart m_newPart;
    PartData m_partData;
    QByteArray m_buffer;
    // Where the buffered bytes begin: in m_buffer, and in the body.
    int m_front = 0;
    qint64 m_position = 0;

    // The search, which is ahead of the steps.
    Search m_search = Search::Delimiter;
    qint64 m_searched = 0;
    // Where the content or the header block begins that is being searched.
    qint64 m_begin = 0;
    // The length of the delimiter at the front of that header block.
    int m_headerDelimiter = 0;
    std::deque<Mark> m_marks;
    bool m_isClosed = false;

    bool m_inHeader = false;
    bool m_hasPart = false;
};
