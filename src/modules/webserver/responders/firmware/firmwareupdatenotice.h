#pragma once

#include <QString>

#include <optional>

class PlixUrl;

// What a client has said of the image that it uploads.
struct FirmwareUpdateExpectation {
    // Negative and empty: not said.
    qint64 length = -1;
    // 64 hexadecimal digits in lower case.
    QString sha256;

    // From the query items "length" and "sha256"; null when one of them is nothing of the kind.
    static std::optional<FirmwareUpdateExpectation> fromUrl(const PlixUrl& url);
};

// Tells the updater what its FIFO cannot, in a file beside the FIFO, named like it with the suffix
// ".expected": what the client has announced, and whether the image has come to its end or was
// broken off. Valid from before the FIFO is opened; the verdict is there before the end of file.
//
// Removes the file at its end, unless that is kept for an updater which may yet read it; then the
// next image's notice replaces it.
class FirmwareUpdateNotice {
public:
    FirmwareUpdateNotice(const QString& fifo, const FirmwareUpdateExpectation& expectation);
    ~FirmwareUpdateNotice();
    FirmwareUpdateNotice(const FirmwareUpdateNotice&) = delete;
    FirmwareUpdateNotice& operator=(const FirmwareUpdateNotice&) = delete;

    void setComplete() { write(true); }
    void setKept(bool kept) { m_isKept = kept; }

private:
    void write(bool complete) const;

    QString m_fileName;
    FirmwareUpdateExpectation m_expectation;
    bool m_isKept = false;
};
