// SPDX-License-Identifier: MIT
#include "embeddedpicture.h"

#include <attachedpictureframe.h>
#include <flacfile.h>
#include <id3v2tag.h>
#include <mp4file.h>
#include <mpegfile.h>
#include <opusfile.h>
#include <vorbisfile.h>
#include <wavfile.h>
#include <xiphcomment.h>

namespace {

QByteArray copy(const TagLib::ByteVector& bytes) {
    return bytes.isEmpty() ? QByteArray() : QByteArray(bytes.data(), int(bytes.size()));
}

QByteArray ofId3(const TagLib::ID3v2::Tag* tag) {
    using Frame = TagLib::ID3v2::AttachedPictureFrame;
    const Frame* chosen = nullptr;
    if (!tag)
        return {};
    for (const TagLib::ID3v2::Frame* entry : tag->frameList("APIC")) {
        const auto* picture = dynamic_cast<const Frame*>(entry);
        if (picture && (!chosen || picture->type() == Frame::FrontCover))
            chosen = picture;
    }
    return chosen ? copy(chosen->picture()) : QByteArray();
}

QByteArray ofPictures(const TagLib::List<TagLib::FLAC::Picture*>& pictures) {
    const TagLib::FLAC::Picture* chosen = nullptr;
    for (const TagLib::FLAC::Picture* picture : pictures) {
        if (!chosen || picture->type() == TagLib::FLAC::Picture::FrontCover)
            chosen = picture;
    }
    return chosen ? copy(chosen->data()) : QByteArray();
}

QByteArray ofXiph(TagLib::Ogg::XiphComment* comment) {
    return comment ? ofPictures(comment->pictureList()) : QByteArray();
}

QByteArray ofMp4(const TagLib::MP4::Tag* tag) {
    if (!tag || !tag->contains("covr"))
        return {};
    const TagLib::MP4::CoverArtList pictures = tag->item("covr").toCoverArtList();
    return pictures.isEmpty() ? QByteArray() : copy(pictures.front().data());
}

} // namespace

QByteArray embeddedPicture(TagLib::File* file) {
    if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(file))
        return ofId3(mpeg->ID3v2Tag());
    if (auto* wav = dynamic_cast<TagLib::RIFF::WAV::File*>(file))
        return ofId3(wav->ID3v2Tag());
    if (auto* mp4 = dynamic_cast<TagLib::MP4::File*>(file))
        return ofMp4(mp4->tag());
    if (auto* flac = dynamic_cast<TagLib::FLAC::File*>(file)) {
        const QByteArray picture = ofPictures(flac->pictureList());
        return picture.isNull() ? ofXiph(flac->xiphComment()) : picture;
    }
    if (auto* vorbis = dynamic_cast<TagLib::Ogg::Vorbis::File*>(file))
        return ofXiph(vorbis->tag());
    if (auto* opus = dynamic_cast<TagLib::Ogg::Opus::File*>(file))
        return ofXiph(opus->tag());
    return {};
}
