// SPDX-License-Identifier: MIT
#include "core/model/cmerror.h"
#include "core/plixjson.h"
#include "core/plixutf8.h"
#include "core/plixvalue.h"

#include <QMetaType>
#include <QVarLengthArray>
#include <rapidjson/writer.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

// The output buffer of the writer.
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
        // Without a branch in the loop, so that the compiler can vectorise it.
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
            // The result is discarded; further bytes overwrite it.
            m_isTooLong = true;
            used = 0;
        }
        const int doubled = std::min<int>(2 * m_bytes.size(), PlixJson::maximumLength);
        m_bytes.resize(std::max({initialSize, doubled, used + size}));
        m_at = m_bytes.data() + used;
        m_end = m_bytes.data() + m_bytes.size();
    }

    QByteArray m_bytes;
    char* m_at = nullptr;
    char* m_end = nullptr;
    bool m_isTooLong = false;
};

// Found by the library's encodings through argument-dependent look-up. It checks the capacity,
// because unchecked writing would have to reserve six bytes for each unit of a string.
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
    // The unit after a high surrogate is read. utf16(), unlike constData(), guarantees a NUL at the
    // end, even for strings made with fromRawData().
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
    } else if (value.canConvert<QString>()) {
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
