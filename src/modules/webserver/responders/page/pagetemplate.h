#pragma once

#include "core/model/cmpath.h"
#include "core/plixjson.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <QVariant>
#include <QVector>

#include <functional>

// The language of template pages: text in which instructions stand, such as
//
//     <?plix getData path="player:player/volume" roles="value" escape="html"?>
//
// Everything here takes time linear in the length of its text. The expressions in the comments say
// what is matched, in QRegExp's default syntax; they are matched by hand because QRegExp takes
// quadratic time for an instruction with a long word or without a closing quote.
namespace PageTemplate {

// A stretch of a page: text, and the instruction that follows it.
struct Piece {
    enum End {
        Page,        // the text reaches to the end of the page
        Instruction, // an instruction follows
        Unterminated // an instruction follows that is not closed
    };

    QStringView text;
    // Between the marks, neither included.
    QStringView instruction;
    // Where the next piece begins.
    int next;
    End end;
};

// The views point into `content`.
Piece nextPiece(const QString& content, int position);

struct Command {
    // ^\s*\b(\w+)\b; empty when the instruction has none.
    QString name;
    // \s*(\w+)\b="((?:[^"]*(?:\\")?)*)", one after another. A value ends at the first quote without
    // a backslash before it or, when there is none, at the last quote at all. Of several
    // attributes of one name the last holds.
    QHash<QString, QString> attributes;
};

Command parseInstruction(QStringView instruction);

// A whole page. The texts point into its content.
struct Page {
    struct Part {
        QStringView text;
        // What stands behind the text: empty where the page ends or an instruction is not closed.
        Command command;
        Piece::End end;
        // The command's attributes "path" and "roles", split at commas; no roles when it has not
        // both.
        CMPath path;
        QStringList roles;
    };

    QString content;
    // The last one is the page's end, or an instruction that is not closed.
    QVector<Part> parts;
};

Page parsePage(const QString& content);

// For element content and quoted attributes, and for quoted strings of a script.
QString escapeHtml(const QString& text);
QString escapeJs(const QString& text);

// Replaces each $NAME, \$(\$|\w+), by what `lookup` gives. Two dollar signs stay, and the second
// one may begin a name: "$$a" becomes a dollar sign and the value of "a".
QString substitute(const QString& text, const std::function<QString(const QString&)>& lookup);

// The value that a setData instruction writes for its attributes "type" and "value"; invalid for
// an unknown type. `error` is set when the type is "json" and the text does not parse.
QVariant toValue(const QString& type, const QString& text, PlixError* error);

} // namespace PageTemplate
