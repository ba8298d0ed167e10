// SPDX-License-Identifier: MIT
#include "coverimage.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>
#include <QPainter>

namespace {

// A decoded picture takes four bytes of each pixel.
constexpr qint64 maximumPixels = qint64(64) << 20;
// No difference is seen at the size of a cover, and half the bytes of 95.
constexpr int quality = 85;

// JPEG has no transparency.
QImage opaque(const QImage& image) {
    if (!image.hasAlphaChannel())
        return image;
    QImage page(image.size(), QImage::Format_RGB32);
    page.fill(Qt::white);
    QPainter(&page).drawImage(0, 0, image);
    return page;
}

} // namespace

QByteArray scaledCover(const QByteArray& picture, int size) {
    QBuffer source;
    source.setData(picture);
    source.open(QIODevice::ReadOnly);
    QImageReader reader(&source);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    const QSize full = reader.size();
    if (!full.isValid() || qint64(full.width()) * full.height() > maximumPixels)
        return {};
    const QSize square(size, size);
    // Decoders of JPEG make a smaller picture in less time and memory.
    if (full.width() > size || full.height() > size)
        reader.setScaledSize(full.scaled(square, Qt::KeepAspectRatio).expandedTo({1, 1}));
    const QImage image = reader.read();
    if (image.isNull())
        return {};
    QByteArray jpeg;
    QBuffer target(&jpeg);
    target.open(QIODevice::WriteOnly);
    return opaque(image).save(&target, "JPEG", quality) ? jpeg : QByteArray();
}
