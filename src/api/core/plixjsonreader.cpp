// SPDX-License-Identifier: MIT
#include "core/plixjson.h"
#include "core/plixutf8.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

// Numbers are passed on as text. The conversion of the library does not tell a 64-bit integer from
// an overflowed double, rounds some numbers wrongly, and lets exponents overflow an int. Strings
// are passed on as UTF-8, because with UTF-16 the library corrupts the text of numbers.
constexpr unsigned parseFlags = rapidjson::kParseIterativeFlag |
                                rapidjson::kParseValidateEncodingFlag |
                                rapidjson::kParseNumbersAsStringsFlag;

// A text of known length; the parser reads NULs after its end. The writing functions of the
// library's stream concept have to compile, but are used for in-place parsing only.
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
    // from_chars() reports the same error for numbers that are too large and too small.
    if (std::from_chars(text, end, number).ec != std::errc())
        number = QByteArray(text, static_cast<int>(length)).toDouble();
    return std::isfinite(number) ? place(number) : fail("Number too big to be stored in double");
}

bool ValueBuilder::toText(const char* text, Size length, QString* result) {
    // The parser has validated the input, so a surrogate can only be the result of an escape.
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

} // namespace

QVariant PlixJson::parse(const QByteArray& text, PlixError& error, unsigned int* position) {
    return parseText<rapidjson::UTF8<>>(text.constData(), text.size(), error, position);
}

QVariant PlixJson::parse(const QString& text, PlixError& error, unsigned int* position) {
    return parseText<rapidjson::UTF16<char16_t>>(
        reinterpret_cast<const char16_t*>(text.constData()), text.size(), error, position);
}
