#pragma once

#include <QTextStream>

#include <optional>

class QIODevice;

// A text stream in UTF-8 over a device, made when the first text is written or read: most answers
// have none, and making one costs as much as the rest of a short answer's preparation.
class DeviceTextStream {
public:
    // Not owned; must outlive the use of the stream.
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
