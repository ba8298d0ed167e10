// SPDX-License-Identifier: MIT
#include "responders/devicetextstream.h"

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QTextCodec>
#endif

void DeviceTextStream::setDevice(QIODevice* device) {
    m_stream.reset();
    m_device = device;
}

void DeviceTextStream::flush() {
    if (m_stream)
        m_stream->flush();
}

QTextStream& DeviceTextStream::stream() {
    if (m_stream)
        return *m_stream;
    m_stream.emplace(m_device);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // Looked up once, because the look-up by name takes longer than the rest. Qt 6 writes UTF-8 by
    // itself.
    static QTextCodec* const utf8 = QTextCodec::codecForName("UTF-8");
    m_stream->setCodec(utf8);
#endif
    return *m_stream;
}
