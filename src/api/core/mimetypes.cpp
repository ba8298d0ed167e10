// SPDX-License-Identifier: MIT
#include "core/mimetypes.h"

#include <QLatin1String>
#include <QStringView>

#include <algorithm>

namespace {

struct Extension {
    QLatin1String name;
    QString type;
};

// In ascending order of the names, for the binary search.
const Extension extensions[] = {
    {QLatin1String("7z"), QStringLiteral("application/x-7z-compressed")},
    {QLatin1String("aac"), QStringLiteral("audio/aac")},
    {QLatin1String("aif"), QStringLiteral("audio/aiff")},
    {QLatin1String("aiff"), QStringLiteral("audio/aiff")},
    {QLatin1String("apng"), QStringLiteral("image/apng")},
    {QLatin1String("avi"), QStringLiteral("video/x-msvideo")},
    {QLatin1String("avif"), QStringLiteral("image/avif")},
    {QLatin1String("bin"), QStringLiteral("application/octet-stream")},
    {QLatin1String("bmp"), QStringLiteral("image/bmp")},
    {QLatin1String("bz2"), QStringLiteral("application/x-bzip2")},
    {QLatin1String("css"), QStringLiteral("text/css")},
    {QLatin1String("csv"), QStringLiteral("text/csv")},
    {QLatin1String("dff"), QStringLiteral("audio/x-dff")},
    {QLatin1String("dsf"), QStringLiteral("audio/x-dsf")},
    {QLatin1String("eot"), QStringLiteral("application/vnd.ms-fontobject")},
    {QLatin1String("flac"), QStringLiteral("audio/flac")},
    {QLatin1String("gif"), QStringLiteral("image/gif")},
    {QLatin1String("gz"), QStringLiteral("application/gzip")},
    {QLatin1String("htm"), QStringLiteral("text/html")},
    {QLatin1String("html"), QStringLiteral("text/html")},
    {QLatin1String("ico"), QStringLiteral("image/vnd.microsoft.icon")},
    {QLatin1String("jpeg"), QStringLiteral("image/jpeg")},
    {QLatin1String("jpg"), QStringLiteral("image/jpeg")},
    {QLatin1String("js"), QStringLiteral("text/javascript")},
    {QLatin1String("json"), QStringLiteral("application/json")},
    {QLatin1String("log"), QStringLiteral("text/plain")},
    {QLatin1String("m3u"), QStringLiteral("audio/x-mpegurl")},
    {QLatin1String("m3u8"), QStringLiteral("application/vnd.apple.mpegurl")},
    {QLatin1String("m4a"), QStringLiteral("audio/mp4")},
    {QLatin1String("m4v"), QStringLiteral("video/mp4")},
    {QLatin1String("map"), QStringLiteral("application/json")},
    {QLatin1String("md"), QStringLiteral("text/markdown")},
    {QLatin1String("mjs"), QStringLiteral("text/javascript")},
    {QLatin1String("mkv"), QStringLiteral("video/x-matroska")},
    {QLatin1String("mp3"), QStringLiteral("audio/mpeg")},
    {QLatin1String("mp4"), QStringLiteral("video/mp4")},
    {QLatin1String("mpd"), QStringLiteral("application/dash+xml")},
    {QLatin1String("oga"), QStringLiteral("audio/ogg")},
    {QLatin1String("ogg"), QStringLiteral("audio/ogg")},
    {QLatin1String("ogv"), QStringLiteral("video/ogg")},
    {QLatin1String("opus"), QStringLiteral("audio/ogg")},
    {QLatin1String("otf"), QStringLiteral("font/otf")},
    {QLatin1String("pdf"), QStringLiteral("application/pdf")},
    {QLatin1String("pls"), QStringLiteral("audio/x-scpls")},
    {QLatin1String("png"), QStringLiteral("image/png")},
    {QLatin1String("svg"), QStringLiteral("image/svg+xml")},
    {QLatin1String("tar"), QStringLiteral("application/x-tar")},
    {QLatin1String("tif"), QStringLiteral("image/tiff")},
    {QLatin1String("tiff"), QStringLiteral("image/tiff")},
    {QLatin1String("ts"), QStringLiteral("video/mp2t")},
    {QLatin1String("ttf"), QStringLiteral("font/ttf")},
    {QLatin1String("txt"), QStringLiteral("text/plain")},
    {QLatin1String("wasm"), QStringLiteral("application/wasm")},
    {QLatin1String("wav"), QStringLiteral("audio/wav")},
    {QLatin1String("weba"), QStringLiteral("audio/webm")},
    {QLatin1String("webm"), QStringLiteral("video/webm")},
    {QLatin1String("webmanifest"), QStringLiteral("application/manifest+json")},
    {QLatin1String("webp"), QStringLiteral("image/webp")},
    {QLatin1String("wma"), QStringLiteral("audio/x-ms-wma")},
    {QLatin1String("woff"), QStringLiteral("font/woff")},
    {QLatin1String("woff2"), QStringLiteral("font/woff2")},
    {QLatin1String("xhtml"), QStringLiteral("application/xhtml+xml")},
    {QLatin1String("xml"), QStringLiteral("application/xml")},
    {QLatin1String("xz"), QStringLiteral("application/x-xz")},
    {QLatin1String("zip"), QStringLiteral("application/zip")},
};

} // namespace

QString MimeTypes::URIToMimeType(const QString& uri, const QString& defaultType) {
    const int dot = uri.lastIndexOf(QLatin1Char('.'));
    if (dot < 0 || dot < uri.lastIndexOf(QLatin1Char('/')))
        return defaultType;
    const QStringView name = QStringView(uri).mid(dot + 1);
    const auto found =
        std::lower_bound(std::begin(extensions), std::end(extensions), name,
                         [](const Extension& extension, QStringView wanted) {
                             return wanted.compare(extension.name, Qt::CaseInsensitive) > 0;
                         });
    const bool isKnown =
        found != std::end(extensions) && name.compare(found->name, Qt::CaseInsensitive) == 0;
    return isKnown ? found->type : defaultType;
}

QString MimeTypes::Text::plain() {
    return QStringLiteral("text/plain");
}

QString MimeTypes::Text::html() {
    return QStringLiteral("text/html");
}

QString MimeTypes::Application::json() {
    return QStringLiteral("application/json");
}

QString MimeTypes::Application::octetStream() {
    return QStringLiteral("application/octet-stream");
}
