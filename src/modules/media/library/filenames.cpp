// SPDX-License-Identifier: MIT
#include "filenames.h"

#include <QList>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

constexpr ushort escapeBase = 0xEF00;

bool isEscape(uint character) {
    return character >= escapeBase + 0x80 && character <= escapeBase + 0xFF;
}

bool isContinuation(const QByteArray& bytes, int at) {
    return at < bytes.size() && (uchar(bytes[at]) & 0xC0) == 0x80;
}

// The length of the UTF-8 sequence at the position, with its character; 0 when there is none.
int decode(const QByteArray& bytes, int at, uint* character) {
    const uchar first = uchar(bytes[at]);
    const int length = first < 0x80    ? 1
                       : first < 0xC2  ? 0
                       : first < 0xE0  ? 2
                       : first < 0xF0  ? 3
                       : first <= 0xF4 ? 4
                                       : 0;
    if (length <= 1) {
        *character = first;
        return length;
    }
    *character = first & (0x7F >> length);
    for (int i = 1; i < length; ++i) {
        if (!isContinuation(bytes, at + i))
            return 0;
        *character = *character << 6 | (uchar(bytes[at + i]) & 0x3F);
    }
    const bool isOverlong =
        (length == 3 && *character < 0x800) || (length == 4 && *character < 0x10000);
    const bool isCharacter = *character <= QChar::LastValidCodePoint && !isOverlong &&
                             !QChar::isSurrogate(*character) && !isEscape(*character);
    return isCharacter ? length : 0;
}

bool hasExtension(const QByteArray& name, const QList<QByteArray>& extensions) {
    const int dot = name.lastIndexOf('.');
    return dot > 0 && extensions.contains(name.mid(dot + 1).toLower());
}

} // namespace

QString FileNames::toText(const QByteArray& name) {
    // Most names, and lists have thousands of them.
    if (std::all_of(name.begin(), name.end(), [](char c) { return uchar(c) < 0x80; }))
        return QString::fromLatin1(name);
    QString text;
    text.reserve(name.size());
    for (int at = 0; at < name.size();) {
        uint character = 0;
        const int length = decode(name, at, &character);
        if (length == 0)
            text.append(QChar(ushort(escapeBase + uchar(name[at]))));
        else if (QChar::requiresSurrogates(character))
            text.append(QChar(QChar::highSurrogate(character)))
                .append(QChar(QChar::lowSurrogate(character)));
        else
            text.append(QChar(ushort(character)));
        at += length == 0 ? 1 : length;
    }
    return text;
}

QByteArray FileNames::toBytes(const QString& text) {
    QByteArray name;
    int plainBegin = 0;
    const auto addPlain = [&](int end) {
        name += text.mid(plainBegin, end - plainBegin).toUtf8();
        plainBegin = end + 1;
    };
    for (int at = 0; at < text.size(); ++at) {
        if (!isEscape(text[at].unicode()))
            continue;
        addPlain(at);
        name += char(text[at].unicode() - escapeBase);
    }
    addPlain(text.size());
    return toText(name) == text ? name : QByteArray();
}

QByteArray FileNames::folderOf(const QByteArray& path) {
    return path.left(std::max<int>(path.lastIndexOf('/'), 0));
}

QByteArray FileNames::nameOf(const QByteArray& path) {
    return path.mid(path.lastIndexOf('/') + 1);
}

bool FileNames::isAudio(const QByteArray& name) {
    static const QList<QByteArray> extensions{"wav", "mp3",  "flac", "ogg",
                                              "oga", "opus", "m4a",  "aac"};
    return hasExtension(name, extensions);
}

bool FileNames::isPlaylist(const QByteArray& name) {
    static const QList<QByteArray> extensions{"m3u", "m3u8", "pls"};
    return hasExtension(name, extensions);
}

QByteArray FileNames::baseOf(const QByteArray& name) {
    return name.left(name.lastIndexOf('.'));
}

QByteArray FileNames::canonical(const QByteArray& path) {
    const std::unique_ptr<char, decltype(&std::free)> name(realpath(path.constData(), nullptr),
                                                           &std::free);
    return name ? QByteArray(name.get()) : QByteArray();
}
