// SPDX-License-Identifier: MIT
#pragma once

#include <QTextStream>

#include <optional>

class QIODevice;

// A text stream in UTF-8 over a device. The QTextStream is made at the first use: most responses do
// not use it, and making one takes as long as all other preparations of a short response.
class DeviceTextStream {
public:
    // Not owned. Must outlive the use of the stream.
    void setDevice(QIODevice* device);
    QIODevice* device() const { return m_device; }

    template <typename T>
    QTextStream& operator<<(const T& value) {
        return stream() << value;
    }
    void flush();

private:
    QTextStream& stream();

    QIODevice* m_device = nullptr;
    std::optional<QTextStream> m_stream;
};
