// SPDX-License-Identifier: MIT
#include "responders/page/pagetemplate.h"

#include "core/plixvalue.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

const QLatin1String openingMark("<?plix ");
const QLatin1String instructionEnd("?>");
const QLatin1String attributeOpening("=\"");
const QLatin1String typedPrefix("PlixValue:");

// \w
bool isWord(QChar character) {
    return character.isLetterOrNumber() || character.isMark() || character == QLatin1Char('_');
}

qsizetype wordEnd(QStringView text, qsizetype begin) {
    while (begin < text.size() && isWord(text[begin]))
        ++begin;
    return begin;
}

// The position of the quote that ends the value; negative when there is none.
qsizetype closingQuote(QStringView text, qsizetype begin) {
    qsizetype last = -1;
    for (qsizetype i = begin; i < text.size(); ++i) {
        if (text[i] != QLatin1Char('"'))
            continue;
        if (text[i - 1] != QLatin1Char('\\'))
            return i;
        last = i;
    }
    return last;
}

QHash<QString, QString> parseAttributes(QStringView text) {
    QHash<QString, QString> attributes;
    qsizetype begin = 0;
    for (;;) {
        const qsizetype nameEnd = text.indexOf(attributeOpening, begin);
        if (nameEnd < 0)
            return attributes;
        qsizetype nameBegin = nameEnd;
        while (nameBegin > begin && isWord(text[nameBegin - 1]))
            --nameBegin;
        const qsizetype valueBegin = nameEnd + attributeOpening.size();
        if (nameBegin == nameEnd) {
            begin = valueBegin;
            continue;
        }
        const qsizetype valueEnd = closingQuote(text, valueBegin);
        // No later attribute can have a closing quote either.
        if (valueEnd < 0)
            return attributes;
        QString value = text.mid(valueBegin, valueEnd - valueBegin).toString();
        if (value.contains(QLatin1Char('\\')))
            value.replace(QLatin1String("\\\""), QLatin1String("\""));
        attributes.insert(text.mid(nameBegin, nameEnd - nameBegin).toString(), value);
        begin = valueEnd + 1;
    }
}

QLatin1String htmlEntity(QChar character) {
    switch (character.unicode()) {
    case '&':
        return QLatin1String("&amp;");
    case '"':
        return QLatin1String("&quot;");
    case '<':
        return QLatin1String("&lt;");
    case '>':
        return QLatin1String("&gt;");
    default:
        return {};
    }
}

// Truncated toward zero, and limited to the range of the type, outside which the conversion is
// undefined.
qint64 truncated(double number) {
    constexpr double limit = 9223372036854775808.0;
    if (std::isnan(number))
        return 0;
    if (number >= limit)
        return std::numeric_limits<qint64>::max();
    if (number < -limit)
        return std::numeric_limits<qint64>::min();
    return static_cast<qint64>(number);
}

PlixValue toTypedValue(QStringView member, const QString& text) {
    PlixValue value;
    if (member == QLatin1String("string_"))
        value.setString_(text);
    else if (member == QLatin1String("bool_"))
        value.setBool_(text == QLatin1String("true") || text == QLatin1String("1"));
    else if (member == QLatin1String("i32_"))
        value.setI32_(text.toInt());
    else if (member == QLatin1String("i64_"))
        value.setI64_(text.toLongLong());
    else if (member == QLatin1String("double_"))
        // On purpose: the nodes that pages write this way contain whole numbers.
        value.setI64_(truncated(text.toDouble()));
    return value;
}

PageTemplate::Page::Part toPart(const PageTemplate::Piece& piece) {
    PageTemplate::Page::Part part{piece.text, {}, piece.end, {}, {}};
    if (piece.end != PageTemplate::Piece::Instruction)
        return part;
    part.command = PageTemplate::parseInstruction(piece.instruction);
    const QHash<QString, QString>& attributes = part.command.attributes;
    const auto path = attributes.constFind(QStringLiteral("path"));
    const auto roles = attributes.constFind(QStringLiteral("roles"));
    if (path != attributes.constEnd() && roles != attributes.constEnd()) {
        part.path = CMPath::fromEncoded(*path);
        part.roles = roles->split(QLatin1Char(','));
    }
    return part;
}

} // namespace

PageTemplate::Piece PageTemplate::nextPiece(const QString& content, int position) {
    const QStringView page(content);
    const int end = content.size();
    const int opening = content.indexOf(openingMark, position);
    if (opening < 0)
        return {page.mid(position), {}, end, Piece::Page};
    const QStringView text = page.mid(position, opening - position);
    const int begin = opening + openingMark.size();
    const int closing = content.indexOf(instructionEnd, begin);
    if (closing < 0)
        return {text, page.mid(begin), end, Piece::Unterminated};
    const int behind = closing + instructionEnd.size();
    return {text, page.mid(begin, closing - begin), behind, Piece::Instruction};
}

PageTemplate::Command PageTemplate::parseInstruction(QStringView instruction) {
    qsizetype begin = 0;
    while (begin < instruction.size() && instruction[begin].isSpace())
        ++begin;
    const qsizetype end = wordEnd(instruction, begin);
    if (end == begin)
        return {};
    return {instruction.mid(begin, end - begin).toString(), parseAttributes(instruction.mid(end))};
}

PageTemplate::Page PageTemplate::parsePage(const QString& content) {
    Page page{content, {}};
    int position = 0;
    Piece piece;
    do {
        piece = nextPiece(page.content, position);
        position = piece.next;
        page.parts.append(toPart(piece));
    } while (piece.end == Piece::Instruction);
    return page;
}

QString PageTemplate::escapeHtml(const QString& text) {
    const auto isSpecial = [](QChar character) { return !htmlEntity(character).isEmpty(); };
    if (std::none_of(text.begin(), text.end(), isSpecial))
        return text;
    QString result;
    result.reserve(text.size());
    for (const QChar character : text) {
        const QLatin1String entity = htmlEntity(character);
        if (entity.isEmpty())
            result += character;
        else
            result += entity;
    }
    return result;
}

QString PageTemplate::escapeJs(const QString& text) {
    static const QString special = QStringLiteral("\\\"'&<>");
    QString result;
    result.reserve(text.size());
    for (const QChar character : text) {
        if (special.contains(character))
            result += QLatin1Char('\\');
        result += character;
    }
    return result;
}

QString PageTemplate::substitute(const QString& text,
                                 const std::function<QString(const QString&)>& lookup) {
    const QStringView view(text);
    QString result;
    qsizetype copied = 0;
    for (qsizetype dollar = 0; (dollar = view.indexOf(QLatin1Char('$'), dollar)) >= 0;) {
        const qsizetype begin = dollar + 1;
        const qsizetype end = wordEnd(view, begin);
        if (end > begin) {
            result += view.mid(copied, dollar - copied);
            result += lookup(view.mid(begin, end - begin).toString());
            copied = end;
        }
        dollar = end;
    }
    return result += view.mid(copied);
}

QVariant PageTemplate::toValue(const QString& type, const QString& text, PlixError* error) {
    if (type == QLatin1String("string"))
        return text;
    if (type == QLatin1String("int"))
        return text.toInt();
    if (type == QLatin1String("double") || type == QLatin1String("float"))
        return text.toDouble();
    if (type == QLatin1String("json"))
        return PlixJson::parse(text, *error);
    if (type.startsWith(typedPrefix))
        return toTypedValue(QStringView(type).mid(typedPrefix.size()), text).__variant();
    return {};
}
