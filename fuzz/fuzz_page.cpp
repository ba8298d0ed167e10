// SPDX-License-Identifier: MIT

// Template pages: nothing of a page is lost or invented, and what is written into one is escaped.
#include "property.h"
#include "responders/page/pagetemplate.h"

namespace {

void checkPieces(const QString& page) {
    QString rebuilt;
    for (int position = 0; position < page.size();) {
        const PageTemplate::Piece piece = PageTemplate::nextPiece(page, position);
        FUZZ_CHECK(piece.next > position && piece.next <= page.size());
        position = piece.next;
        rebuilt += piece.text;
        if (piece.end == PageTemplate::Piece::Page)
            continue;
        rebuilt += QLatin1String("<?plix ") + piece.instruction.toString();
        if (piece.end == PageTemplate::Piece::Instruction)
            rebuilt += QLatin1String("?>");
        PageTemplate::parseInstruction(piece.instruction);
    }
    FUZZ_CHECK(rebuilt == page);
}

void checkEscapes(const QString& text) {
    QString html = PageTemplate::escapeHtml(text);
    FUZZ_CHECK(!html.contains('<') && !html.contains('>') && !html.contains('"'));
    html.replace("&lt;", "<").replace("&gt;", ">").replace("&quot;", "\"").replace("&amp;", "&");
    FUZZ_CHECK(html == text);

    PageTemplate::substitute(text, [](const QString& name) { return name; });
    const QString js = PageTemplate::escapeJs(text);
    QString unescaped;
    for (int i = 0; i < js.size(); ++i) {
        // A quote that nothing stands before would end the string of the script.
        FUZZ_CHECK(js[i] != '"' && js[i] != '\'' && js[i] != '<');
        if (js[i] == '\\')
            ++i;
        unescaped += js[i];
    }
    FUZZ_CHECK(unescaped == text);
}

} // namespace

void fuzz(const QByteArray& input) {
    const QString text = QString::fromUtf8(input.constData(), input.size());
    checkPieces(text);
    checkEscapes(text);
    for (const char* type : {"string", "int", "double", "json", "PlixValue:bool_", "PlixValue:i32_",
                             "PlixValue:i64_", "PlixValue:double_", "PlixValue:string_"}) {
        PlixError error;
        const QVariant value = PageTemplate::toValue(QLatin1String(type), text, &error);
        FUZZ_CHECK(value.isValid() || qstrcmp(type, "json") == 0);
    }
}
