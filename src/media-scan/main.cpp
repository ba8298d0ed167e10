// SPDX-License-Identifier: MIT

// Reads tags and covers of audio files of unknown origin for the media worker.
//
//   plix-media-scan
//       Reads file names from standard input, each ended by a NUL byte, and writes a line of JSON
//       for each in the same order: what TagReader::read() gives and "fingerprint". The first line
//       is {"ready":true}. Ends with the input.
//   plix-media-scan --cover SIZE
//       Reads one file name in the same form and writes its cover to standard output: a picture
//       file or the picture embedded in an audio file, as a JPEG that fits into SIZE pixels square,
//       or as it is for SIZE 0. Status 1 without one.

#include "confinement.h"
#include "coverimage.h"
#include "fingerprint.h"
#include "tagreader.h"

#include <QCoreApplication>
#include <QJsonDocument>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr unsigned coverProcessorSeconds = 10;
// Pictures of cameras have some megabytes.
constexpr off_t maximumPictureBytes = off_t(32) << 20;

void print(const QJsonObject& record) {
    const QByteArray line = QJsonDocument(record).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
}

QJsonObject describe(const QByteArray& fileName) {
    const QByteArray mark = fingerprint(fileName);
    if (mark.isNull())
        return {{QStringLiteral("failed"), QStringLiteral("cannot be opened")}};
    QJsonObject record = TagReader::read(fileName);
    record.insert(QStringLiteral("fingerprint"), QString::fromLatin1(mark));
    return record;
}

// The next name of the input; null at its end.
QByteArray nextName() {
    char* name = nullptr;
    size_t capacity = 0;
    const QByteArray result =
        getdelim(&name, &capacity, '\0', stdin) > 0 ? QByteArray(name) : QByteArray();
    std::free(name);
    return result;
}

int scan() {
    print({{QStringLiteral("ready"), true}});
    for (QByteArray name = nextName(); !name.isNull(); name = nextName())
        print(describe(name));
    return 0;
}

// Null for what is no picture file.
QByteArray pictureFile(const QByteArray& fileName) {
    const int file = open(fileName.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    QByteArray bytes;
    if (file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_size <= maximumPictureBytes) {
        bytes.resize(int(status.st_size));
        const ssize_t got = read(file, bytes.data(), size_t(bytes.size()));
        bytes.resize(int(std::max<ssize_t>(got, 0)));
    }
    if (file >= 0)
        close(file);
    const bool isPicture = bytes.startsWith("\xff\xd8\xff") || bytes.startsWith("\x89PNG") ||
                           bytes.startsWith("GIF8") || bytes.mid(8, 4) == "WEBP";
    return isPicture ? bytes : QByteArray();
}

int cover(const QByteArray& fileName, int size) {
    Confinement::limitProcessorTime(coverProcessorSeconds);
    QByteArray picture = pictureFile(fileName);
    if (picture.isNull())
        picture = TagReader::cover(fileName);
    if (picture.size() > maximumPictureBytes)
        return 1;
    if (size > 0 && !picture.isNull())
        picture = scaledCover(picture, size);
    if (picture.isNull())
        return 1;
    return std::fwrite(picture.constData(), 1, size_t(picture.size()), stdout) ==
                       size_t(picture.size()) &&
                   std::fflush(stdout) == 0
               ? 0
               : 1;
}

} // namespace

int main(int argc, char** argv) {
    Confinement::begin();
    // Qt finds its decoders for pictures through it.
    const QCoreApplication application(argc, argv);
    if (argc == 1)
        return scan();
    if (argc == 3 && std::strcmp(argv[1], "--cover") == 0)
        return cover(nextName(), std::atoi(argv[2]));
    std::fputs("usage: plix-media-scan [--cover SIZE]\n", stderr);
    return 2;
}
