#pragma once

#include "responders/pagetemplate.h"

#include <QRegExp>

// The language of template pages as its expressions define it, to compare the scanner with.
namespace PageExpressions {

inline PageTemplate::Command parseByExpressions(const QString& instruction) {
    QRegExp command("^\\s*\\b(\\w+)\\b");
    if (command.indexIn(instruction) < 0)
        return {};
    PageTemplate::Command result{command.cap(1), {}};
    QRegExp attribute("\\s*(\\w+)\\b=\"((?:[^\"]*(?:\\\\\")?)*)\"");
    int position = command.matchedLength();
    while ((position = attribute.indexIn(instruction, position)) >= 0) {
        result.attributes.insert(attribute.cap(1), attribute.cap(2).replace("\\\"", "\""));
        position += attribute.matchedLength();
    }
    return result;
}

inline QString substituteByExpression(QString text) {
    const QRegExp name("\\$(\\$|\\w+)");
    int position = 0;
    while ((position = name.indexIn(text, position)) >= 0) {
        const bool isDollar = name.cap(1) == "$";
        const QString replacement = isDollar ? "$" : "<$" + name.cap(1) + ">";
        text.replace(position, isDollar ? 1 : name.matchedLength(), replacement);
        position += replacement.size();
    }
    return text;
}

inline bool matchesExpressions(const QString& text) {
    const auto lookup = [](const QString& name) { return "<$" + name + ">"; };
    const PageTemplate::Command actual = PageTemplate::parseInstruction(text);
    const PageTemplate::Command expected = parseByExpressions(text);
    return actual.name == expected.name && actual.attributes == expected.attributes &&
           PageTemplate::substitute(text, lookup) == substituteByExpression(text);
}

} // namespace PageExpressions
