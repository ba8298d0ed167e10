// SPDX-License-Identifier: MIT
#include "searchtext.h"

namespace {

// What neither case folding nor decomposition maps to plain letters. In lower case.
const char* plainLetters(ushort letter) {
    switch (letter) {
    case 0x00E6:
        return "ae";
    case 0x00F0:
    case 0x0111:
        return "d";
    case 0x00F8:
        return "o";
    case 0x00FE:
        return "th";
    case 0x0127:
        return "h";
    case 0x0131:
        return "i";
    case 0x0142:
        return "l";
    case 0x0153:
        return "oe";
    case 0x0167:
        return "t";
    case 0x00DF:
        return "ss";
    default:
        return nullptr;
    }
}

bool isDropped(QChar character) {
    return character.isMark() || character == u'\'' || character == QChar(0x2019) ||
           character == QChar(0x02BC);
}

} // namespace

QByteArray searchText(const QString& text) {
    const QString folded = text.normalized(QString::NormalizationForm_KD).toCaseFolded();
    QString plain;
    plain.reserve(folded.size());
    for (const QChar character : folded) {
        if (const char* letters = plainLetters(character.unicode()))
            plain.append(QLatin1String(letters));
        else if (!isDropped(character))
            plain.append(character);
    }
    return plain.toUtf8();
}
