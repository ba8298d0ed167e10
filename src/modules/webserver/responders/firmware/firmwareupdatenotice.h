// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

class PlixUrl;

// What a client has announced of the image that it uploads.
struct FirmwareUpdateExpectation {
    // Negative when not announced.
    qint64 length = -1;
    // 64 hexadecimal digits in lower case; empty when not announced.
    QString sha256;

    // From the query items "length" and "sha256"; null when one of them is not valid.
    static std::optional<FirmwareUpdateExpectation> fromUrl(const PlixUrl& url);
};

// A file beside the updater's FIFO, named like it with the suffix ".expected". It tells the updater
// what the client has announced of the image, and whether the image is complete. The file exists
// before the FIFO is opened, and says "complete" before the end of file.
//
// The destructor removes the file, unless setAutoRemove(false) leaves it to an updater that may
// still read it. Then the notice of the next image replaces it.
class FirmwareUpdateNotice {
public:
    FirmwareUpdateNotice(const QString& fifo, const FirmwareUpdateExpectation& expectation);
    ~FirmwareUpdateNotice();
    FirmwareUpdateNotice(const FirmwareUpdateNotice&) = delete;
    FirmwareUpdateNotice& operator=(const FirmwareUpdateNotice&) = delete;

    void setComplete() { write(true); }
    void setAutoRemove(bool autoRemove) { m_autoRemove = autoRemove; }

private:
    void write(bool complete) const;

    QString m_fileName;
    FirmwareUpdateExpectation m_expectation;
    bool m_autoRemove = true;
};
