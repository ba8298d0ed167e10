// SPDX-License-Identifier: MIT
#include "responders/devicetextstream.h"

#include <QTextCodec>

void DeviceTextStream::setDevice(QIODevice* device) {
    m_stream.reset();
    m_device = device;
}

void DeviceTextStream::flush() {
    if (m_stream)
        m_stream->flush();
}

QTextStream& DeviceTextStream::stream() {
    // Looked up once, because the look-up by name takes longer than the rest.
    static QTextCodec* const utf8 = QTextCodec::codecForName("UTF-8");
    if (!m_stream) {
        m_stream.emplace(m_device);
        m_stream->setCodec(utf8);
    }
    return *m_stream;
}
