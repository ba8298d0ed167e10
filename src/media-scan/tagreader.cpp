// SPDX-License-Identifier: MIT
#include "tagreader.h"

#include "boundedstream.h"
#include "embeddedpicture.h"

#include <QCryptographicHash>
#include <QStringList>

#include <fileref.h>
#include <memory>
#include <mp4file.h>
#include <tpropertymap.h>

namespace {

// Longer texts are no names.
constexpr int maximumText = 500;
// The reference level of the gains in Opus files lies this much below that of the others.
constexpr double opusReferenceDb = 5;

class AudioFile {
public:
    explicit AudioFile(const QByteArray& fileName)
        : m_stream(fileName.constData()),
          m_reference(&m_stream, true, TagLib::AudioProperties::Average) {}

    TagLib::File* get() const { return m_reference.file(); }
    bool isAudio() const {
        return !m_reference.isNull() && get()->isValid() && get()->audioProperties() &&
               get()->audioProperties()->sampleRate() > 0;
    }

private:
    BoundedStream m_stream;
    TagLib::FileRef m_reference;
};

QString text(const TagLib::String& value) {
    const std::wstring wide = value.toWString();
    return QString::fromStdWString(wide).simplified().left(maximumText);
}

class Properties {
public:
    explicit Properties(TagLib::File* file) : m_map(file->properties()), m_file(file) {}

    QString text(const char* key, const char* separator) const {
        const auto found = m_map.find(key);
        return found == m_map.end() ? QString() : ::text(found->second.toString(separator));
    }
    // Of "3", "3/12" and "2004-05-01" the first number.
    int number(const char* key) const {
        const QString value = text(key, " ");
        int length = 0;
        while (length < value.size() && value[length].isDigit())
            ++length;
        return value.left(length).toInt();
    }
    // "-6.5 dB"; also where MP4 files keep it.
    QString replayGain(const char* key) const {
        const QString value = text(key, " ");
        const auto* mp4 = dynamic_cast<TagLib::MP4::File*>(m_file);
        if (!value.isEmpty() || !mp4 || !mp4->tag())
            return value;
        const TagLib::String name = TagLib::String("----:com.apple.iTunes:") + TagLib::String(key);
        for (const auto& [itemName, item] : mp4->tag()->itemMap()) {
            if (itemName.upper() == name.upper())
                return ::text(item.toStringList().toString(" "));
        }
        return {};
    }

private:
    TagLib::PropertyMap m_map;
    TagLib::File* m_file;
};

void addText(const char* name, const QString& value, QJsonObject* record) {
    if (!value.isEmpty())
        record->insert(QLatin1String(name), value);
}

void addNumber(const char* name, int value, QJsonObject* record) {
    if (value > 0)
        record->insert(QLatin1String(name), value);
}

void addDecimal(const char* name, const QString& text, QJsonObject* record) {
    bool isNumber = false;
    const double value = text.section(' ', 0, 0).toDouble(&isNumber);
    if (isNumber && qIsFinite(value))
        record->insert(QLatin1String(name), value);
}

// A whole number of 1/256 dB.
void addOpusGain(const char* name, const QString& text, QJsonObject* record) {
    bool isNumber = false;
    const int value = text.toInt(&isNumber);
    if (isNumber && !record->contains(QLatin1String(name)))
        record->insert(QLatin1String(name), value / 256.0 + opusReferenceDb);
}

void addGains(const Properties& properties, QJsonObject* record) {
    addDecimal("trackGain", properties.replayGain("REPLAYGAIN_TRACK_GAIN"), record);
    addDecimal("trackPeak", properties.replayGain("REPLAYGAIN_TRACK_PEAK"), record);
    addDecimal("albumGain", properties.replayGain("REPLAYGAIN_ALBUM_GAIN"), record);
    addDecimal("albumPeak", properties.replayGain("REPLAYGAIN_ALBUM_PEAK"), record);
    addOpusGain("trackGain", properties.text("R128_TRACK_GAIN", " "), record);
    addOpusGain("albumGain", properties.text("R128_ALBUM_GAIN", " "), record);
}

} // namespace

QJsonObject TagReader::read(const QByteArray& fileName) {
    const AudioFile file(fileName);
    if (!file.isAudio())
        return {{QStringLiteral("failed"), QStringLiteral("no audio of a known format")}};
    QJsonObject record;
    const Properties properties(file.get());
    addText("title", properties.text("TITLE", " "), &record);
    addText("artist", properties.text("ARTIST", ", "), &record);
    addText("album", properties.text("ALBUM", " "), &record);
    addText("albumArtist", properties.text("ALBUMARTIST", ", "), &record);
    addText("genre", properties.text("GENRE", "; "), &record);
    addNumber("year", properties.number("DATE"), &record);
    addNumber("track", properties.number("TRACKNUMBER"), &record);
    addNumber("disc", properties.number("DISCNUMBER"), &record);
    addNumber("duration", file.get()->audioProperties()->lengthInMilliseconds(), &record);
    addGains(properties, &record);
    const QByteArray picture = embeddedPicture(file.get());
    if (!picture.isNull())
        addText("cover",
                QString::fromLatin1(
                    QCryptographicHash::hash(picture, QCryptographicHash::Sha1).toHex()),
                &record);
    return record;
}

QByteArray TagReader::cover(const QByteArray& fileName) {
    const AudioFile file(fileName);
    return file.isAudio() ? embeddedPicture(file.get()) : QByteArray();
}
