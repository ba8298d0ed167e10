#include "core/plixjson.h"

#include "core/model/cmerror.h"
#include "core/plixutf8.h"
#include "core/plixvalue.h"

#include <QMetaType>
#include <QVarLengthArray>
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

// Numbers come as text: the library's own conversion keeps no 64-bit integer apart from a double
// that overflowed it, rounds wrongly in places and computes exponents that overflow an int.
// Strings come as UTF-8 because the text of a number is garbled when the target is UTF-16.
constexpr unsigned parseFlags = rapidjson::kParseIterativeFlag |
                                rapidjson::kParseValidateEncodingFlag |
                                rapidjson::kParseNumbersAsStringsFlag;

// A text with a known end, which the parser sees as an endless row of NULs. The writing half of
// the library's stream concept has to compile, but is for parsing in place only.
template <typename Char>
class TextStream {
public:
    using Ch = Char;

    TextStream(const Ch* text, int length) : m_begin(text), m_at(text), m_end(text + length) {}

    Ch Peek() const { return m_at == m_end ? Ch() : *m_at; }
    Ch Take() { return m_at == m_end ? Ch() : *m_at++; }
    size_t Tell() const { return static_cast<size_t>(m_at - m_begin); }
    bool atEnd() const { return m_at == m_end; }

    Ch* PutBegin() { return nullptr; }
    void Put(Ch) {}
    void Flush() {}
    size_t PutEnd(Ch*) { return 0; }

private:
    const Ch* m_begin;
    const Ch* m_at;
    const Ch* m_end;
};

// Builds the value from the parser's events. A function that returns false ends the parsing with
// the reason in failure().
class ValueBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueBuilder> {
public:
    using Size = rapidjson::SizeType;

    const QVariant& result() const { return m_result; }
    const char* failure() const { return m_failure; }

    bool Null() { return place(QVariant()); }
    bool Bool(bool value) { return place(value); }
    bool RawNumber(const char* text, Size length, bool);
    bool String(const char* text, Size length, bool);
    bool Key(const char* text, Size length, bool);
    bool StartObject() { return open(true); }
    bool EndObject(Size) { return close(QVariant(m_open.back().members)); }
    bool StartArray() { return open(false); }
    bool EndArray(Size) { return close(QVariant(m_open.back().elements)); }

private:
    struct Container {
        bool isObject;
        QString name;
        QVariantHash members;
        QVariantList elements;
    };

    bool fail(const char* reason) {
        m_failure = reason;
        return false;
    }
    bool open(bool isObject);
    bool close(const QVariant& container);
    bool place(const QVariant& value);
    bool toText(const char* text, Size length, QString* result);

    std::vector<Container> m_open;
    QVariant m_result;
    int m_values = 0;
    const char* m_failure = nullptr;
};

bool ValueBuilder::open(bool isObject) {
    if (m_open.size() >= PlixJson::maximumDepth)
        return fail("Values are nested too deep");
    m_open.push_back({isObject, {}, {}, {}});
    return true;
}

bool ValueBuilder::close(const QVariant& container) {
    m_open.pop_back();
    return place(container);
}

bool ValueBuilder::place(const QVariant& value) {
    if (++m_values > PlixJson::maximumValues)
        return fail("There are too many values");
    if (m_open.empty())
        m_result = value;
    else if (m_open.back().isObject)
        m_open.back().members.insert(m_open.back().name, value);
    else
        m_open.back().elements.append(value);
    return true;
}

bool ValueBuilder::RawNumber(const char* text, Size length, bool) {
    const char* const end = text + length;
    const bool isWhole = std::none_of(
        text, end, [](char unit) { return unit == '.' || unit == 'e' || unit == 'E'; });
    if (isWhole) {
        qlonglong number = 0;
        if (std::from_chars(text, end, number).ec == std::errc())
            return place(number);
        qulonglong unsignedNumber = 0;
        if (*text != '-' && std::from_chars(text, end, unsignedNumber).ec == std::errc())
            return place(unsignedNumber);
    }
    double number = 0;
    // Out of range is what is too large and what is too small alike.
    if (std::from_chars(text, end, number).ec != std::errc())
        number = QByteArray(text, static_cast<int>(length)).toDouble();
    return std::isfinite(number) ? place(number) : fail("Number too big to be stored in double");
}

bool ValueBuilder::toText(const char* text, Size length, QString* result) {
    // The parser has validated the bytes, so that a surrogate can only come from an escape.
    const char* const end = text + length;
    for (const char* at = text; (at = static_cast<const char*>(std::memchr(at, '\xED', end - at)));
         at += 2) {
        if (static_cast<unsigned char>(at[1]) >= 0xA0)
            return fail("Unpaired surrogate in string");
    }
    *result = plixFromUtf8(text, static_cast<int>(length));
    return true;
}

bool ValueBuilder::String(const char* text, Size length, bool) {
    QString string;
    return toText(text, length, &string) && place(string);
}

bool ValueBuilder::Key(const char* text, Size length, bool) {
    return toText(text, length, &m_open.back().name);
}

QString failureText(const rapidjson::ParseResult& result, const ValueBuilder& builder) {
    QString reason = QString::fromLatin1(builder.failure() ? builder.failure()
                                                           : GetParseError_En(result.Code()));
    if (reason.endsWith(QLatin1Char('.')))
        reason.chop(1);
    return QStringLiteral("%1 at offset %2").arg(reason).arg(result.Offset());
}

template <typename Encoding>
QVariant parseText(const typename Encoding::Ch* text, int length, PlixError& error,
                   unsigned int* position) {
    TextStream<typename Encoding::Ch> stream(text, length);
    ValueBuilder builder;
    rapidjson::GenericReader<Encoding, rapidjson::UTF8<>> reader;
    rapidjson::ParseResult result = reader.template Parse<parseFlags>(stream, builder);
    // A NUL in the text looks like its end.
    if (!result.IsError() && !stream.atEnd())
        result.Set(rapidjson::kParseErrorDocumentRootNotSingular, stream.Tell());

    error = PlixError();
    if (!result.IsError())
        return builder.result();
    error.setMessage(failureText(result, builder));
    if (position)
        *position = static_cast<unsigned int>(result.Offset());
    return QVariant();
}

// Where the writer puts its bytes.
class ByteStream {
public:
    using Ch = char;

    void Put(char byte) {
        if (m_at == m_end)
            grow();
        *m_at++ = byte;
    }
    void Flush() {}

    // The text with quotation marks around it. False, with nothing written, when something in it
    // has to be converted or escaped.
    bool putPlain(const char16_t* text, int length) {
        reserve(length + 2);
        char* at = m_at;
        *at++ = '"';
        // Without a branch in the loop, so that it runs over several units at a time.
        quint16 special = 0;
        for (int i = 0; i < length; ++i) {
            const quint16 unit = text[i];
            special |= quint16(unit < ' ') | quint16(unit > '~') | quint16(unit == '"') |
                       quint16(unit == '\\');
            at[i] = static_cast<char>(unit);
        }
        if (special)
            return false;
        at[length] = '"';
        m_at = at + length + 1;
        return true;
    }

    // Null when it was too long.
    QByteArray take() {
        if (m_isTooLong)
            return {};
        m_bytes.resize(static_cast<int>(m_at - m_bytes.constData()));
        return m_bytes;
    }

private:
    // Holds most answers without growing.
    static constexpr int initialSize = 512;

    void grow() { reserve(1); }
    void reserve(int size) {
        if (m_end - m_at >= size)
            return;
        int used = m_at ? static_cast<int>(m_at - m_bytes.constData()) : 0;
        if (size > PlixJson::maximumLength - used) {
            // What follows is written over it.
            m_isTooLong = true;
            used = 0;
        }
        const int doubled = std::min(2 * m_bytes.size(), PlixJson::maximumLength);
        m_bytes.resize(std::max({initialSize, doubled, used + size}));
        m_at = m_bytes.data() + used;
        m_end = m_bytes.data() + m_bytes.size();
    }

    QByteArray m_bytes;
    char* m_at = nullptr;
    char* m_end = nullptr;
    bool m_isTooLong = false;
};

// The library's encodings look for this name beside the stream. There is no unchecked writing,
// because that would mean to reserve six bytes for each unit of a string.
void PutUnsafe(ByteStream& stream, char byte) {
    stream.Put(byte);
}

// UTF-16 in which an unpaired surrogate reads as U+FFFD.
struct LenientUtf16 : rapidjson::UTF16<char16_t> {
    template <typename Stream>
    static bool Decode(Stream& stream, unsigned* codePoint) {
        const char16_t unit = stream.Take();
        if (!QChar::isSurrogate(unit))
            *codePoint = unit;
        else if (QChar::isHighSurrogate(unit) && QChar::isLowSurrogate(stream.Peek()))
            *codePoint = QChar::surrogateToUcs4(unit, stream.Take());
        else
            *codePoint = QChar::ReplacementCharacter;
        return true;
    }
};

class JsonWriter : private rapidjson::Writer<ByteStream, LenientUtf16, rapidjson::UTF8<>> {
public:
    explicit JsonWriter(ByteStream& stream) : Writer(stream) {}

    void write(const QVariant& value, int depth = 0);
    void writeText(const QString& text);

private:
    template <typename Real>
    void writeReal(Real number);
    void writeContainer(const QVariant& value, int type, int depth);
    void writeOther(const QVariant& value, int type, int depth);
    void writeHash(const QVariantHash& hash, int depth);
    void writeMap(const QVariantMap& map, int depth);
    template <typename List>
    void writeList(const List& list, int depth);
};

void JsonWriter::write(const QVariant& value, int depth) {
    const int type = value.userType();
    switch (type) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        Null();
        break;
    case QMetaType::Bool:
        Bool(value.toBool());
        break;
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Long:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::SChar:
        Int64(value.toLongLong());
        break;
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::ULong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        Uint64(value.toULongLong());
        break;
    case QMetaType::Double:
        writeReal(value.toDouble());
        break;
    case QMetaType::Float:
        writeReal(value.toFloat());
        break;
    case QMetaType::QString:
        writeText(*static_cast<const QString*>(value.constData()));
        break;
    default:
        writeContainer(value, type, depth);
    }
}

template <typename Real>
void JsonWriter::writeReal(Real number) {
    if (!std::isfinite(number)) {
        Null();
        return;
    }
    // The longest: sign, 17 digits, point, "e-308".
    char text[32];
    char* end = std::to_chars(text, text + sizeof text, number).ptr;
    // Without a fraction it would read back as the whole number 0, which has no sign.
    if (number == 0 && std::signbit(number))
        end = std::copy_n("-0.0", 4, text);
    Prefix(rapidjson::kNumberType);
    std::for_each(text, end, [this](char unit) { os_->Put(unit); });
    EndValue(true);
}

void JsonWriter::writeText(const QString& text) {
    Prefix(rapidjson::kStringType);
    if (os_->putPlain(reinterpret_cast<const char16_t*>(text.constData()), text.size())) {
        EndValue(true);
        return;
    }
    // utf16() and not constData(): it ends with a NUL even where the string refers to foreign
    // memory, and the unit behind a high surrogate is looked at.
    EndValue(WriteString(reinterpret_cast<const char16_t*>(text.utf16()),
                         static_cast<rapidjson::SizeType>(text.size())));
}

void JsonWriter::writeContainer(const QVariant& value, int type, int depth) {
    if (depth == PlixJson::maximumDepth)
        Null();
    else if (type == QMetaType::QVariantHash)
        writeHash(*static_cast<const QVariantHash*>(value.constData()), depth + 1);
    else if (type == QMetaType::QVariantList)
        writeList(*static_cast<const QVariantList*>(value.constData()), depth + 1);
    else if (type == QMetaType::QVariantMap)
        writeMap(*static_cast<const QVariantMap*>(value.constData()), depth + 1);
    else if (type == QMetaType::QStringList)
        writeList(*static_cast<const QStringList*>(value.constData()), depth + 1);
    else if (type == qMetaTypeId<PlixHash>() || type == qMetaTypeId<PlixValue>())
        writeHash(static_cast<const PlixHash*>(value.constData())->__hash(), depth + 1);
    else if (type == qMetaTypeId<CMError>())
        writeHash(*static_cast<const CMError*>(value.constData()), depth + 1);
    else
        writeOther(value, type, depth);
}

void JsonWriter::writeOther(const QVariant& value, int type, int depth) {
    if (type == QMetaType::QByteArray) {
        const QByteArray bytes = value.toByteArray();
        writeText(plixFromUtf8(bytes.constData(), bytes.size()));
    } else if (value.canConvert(QMetaType::QString)) {
        writeText(value.toString());
    } else if (value.canConvert<QVariantMap>()) {
        writeMap(value.value<QVariantMap>(), depth + 1);
    } else if (value.canConvert<QVariantList>()) {
        writeList(value.value<QVariantList>(), depth + 1);
    } else {
        Null();
    }
}

void JsonWriter::writeHash(const QVariantHash& hash, int depth) {
    using Member = QVariantHash::const_iterator;
    QVarLengthArray<Member, 16> members;
    members.reserve(hash.size());
    for (auto member = hash.cbegin(); member != hash.cend(); ++member)
        members.append(member);
    std::sort(members.begin(), members.end(),
              [](const Member& a, const Member& b) { return a.key() < b.key(); });

    StartObject();
    for (const Member& member : members) {
        writeText(member.key());
        write(member.value(), depth);
    }
    EndObject();
}

void JsonWriter::writeMap(const QVariantMap& map, int depth) {
    StartObject();
    for (auto member = map.cbegin(); member != map.cend(); ++member) {
        writeText(member.key());
        write(member.value(), depth);
    }
    EndObject();
}

template <typename List>
void JsonWriter::writeList(const List& list, int depth) {
    StartArray();
    for (const auto& element : list)
        write(element, depth);
    EndArray();
}

} // namespace

QVariant PlixJson::parse(const QByteArray& text, PlixError& error, unsigned int* position) {
    return parseText<rapidjson::UTF8<>>(text.constData(), text.size(), error, position);
}

QVariant PlixJson::parse(const QString& text, PlixError& error, unsigned int* position) {
    return parseText<rapidjson::UTF16<char16_t>>(
        reinterpret_cast<const char16_t*>(text.constData()), text.size(), error, position);
}

QByteArray PlixJson::serialize(const QVariant& value) {
    ByteStream stream;
    JsonWriter(stream).write(value);
    return stream.take();
}

QString PlixJson::escape(const QString& text) {
    ByteStream stream;
    JsonWriter(stream).writeText(text);
    const QByteArray quoted = stream.take();
    return quoted.isNull() ? QString() : plixFromUtf8(quoted.constData() + 1, quoted.size() - 2);
}
