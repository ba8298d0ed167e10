#pragma once

#include <QByteArray>

#include <deque>
#include <functional>

// Cuts a multipart body that arrives in pieces into its parts: bytes in, headers and content out,
// the same for every way in which the body is cut into pieces.
//
// Each byte is searched once, when it is appended; what was found is noted. It is handed out in
// steps, so that its owner decides how much is done at a time, and knows of the closing boundary
// before it has come there. What stands before the first boundary and behind the closing one
// belongs to no part and is dropped.
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
    // The length of the header block at the front, -1 while it is not complete.
    int headerLength() const;

    // The bytes that are kept.
    int size() const { return m_buffer.size() - m_front; }
    // No further part will come: behind what is kept is the closing boundary, or a header block
    // that is too long or has a NUL byte.
    bool isAtEnd() const { return m_search == Search::Nothing; }
    // The closing boundary has come; it may still be among what is kept.
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
    // Where in the buffer the kept bytes begin, and where that is in the body.
    int m_front = 0;
    qint64 m_position = 0;

    // Ahead of the steps.
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
