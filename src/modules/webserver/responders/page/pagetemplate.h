// SPDX-License-Identifier: MIT
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

// The language of template pages: text with instructions in it, such as
//
//     <?plix getData path="player:player/volume" roles="value" escape="html"?>
//
// All functions take time linear in the length of the text. The comments give the grammar as
// regular expressions in QRegExp's default syntax. The code does not use QRegExp, because that
// takes quadratic time for an instruction with a long word or without a closing quote.
namespace PageTemplate {

// A stretch of a page: text, and the instruction that follows it.
struct Piece {
    enum End {
        Page,        // the text reaches to the end of the page
        Instruction, // an instruction follows
        Unterminated // an instruction without a closing mark follows
    };

    QStringView text;
    // The text between the marks.
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
    // \s*(\w+)\b="((?:[^"]*(?:\\")?)*)", repeated. A value ends at the first quote that does not
    // follow a backslash or, when there is none, at the last quote. Of several attributes with one
    // name the last one counts.
    QHash<QString, QString> attributes;
};

Command parseInstruction(QStringView instruction);

// A parsed page. The texts are views of its content.
struct Page {
    struct Part {
        QStringView text;
        // The instruction after the text; empty at the end of the page and for an unterminated one.
        Command command;
        Piece::End end;
        // The attributes "path" and "roles" of the command, the latter split at commas. No roles
        // when one of the attributes is missing.
        CMPath path;
        QStringList roles;
    };

    QString content;
    // The last one is the end of the page or an unterminated instruction.
    QVector<Part> parts;
};

Page parsePage(const QString& content);

// For element content and quoted attributes; for quoted strings of a script.
QString escapeHtml(const QString& text);
QString escapeJs(const QString& text);

// Replaces each $NAME, \$(\$|\w+), by the result of `lookup`. Two dollar signs are not replaced,
// and the second one may begin a name: "$$a" becomes a dollar sign and the value of "a".
QString substitute(const QString& text, const std::function<QString(const QString&)>& lookup);

// The value that a setData instruction with these attributes "type" and "value" writes; invalid for
// an unknown type. `error` is set when the type is "json" and the text is not JSON.
QVariant toValue(const QString& type, const QString& text, PlixError* error);

} // namespace PageTemplate
