// SPDX-License-Identifier: MIT
#include "pipewriter.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "core/plixnamedpipe.h"

#include <QIODevice>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>

namespace {

// The usual capacity of a FIFO.
constexpr int chunkBytes = 64 * 1024;

} // namespace

PipeWriter::PipeWriter(const QString& pipe, std::unique_ptr<QIODevice> source, QObject* parent)
    : QObject(parent),
      m_pipe(std::make_unique<PlixNamedPipe>(pipe, PlixNamedPipe::Write, nullptr, false)),
      m_source(std::move(source)) {
    m_pipe->setNonBlock(true);
}

PipeWriter::~PipeWriter() = default;

bool PipeWriter::start() {
    if (!m_pipe->open(false))
        return false;
    plixConnect(m_pipe->writeNotifier(), SIGNAL(activated(int)), this,
                SLOT(on_writeNotifier_activated(int)));
    plixConnect(m_source.get(), SIGNAL(readyRead()), this, SLOT(on_source_readyRead()));
    m_pipe->writeNotifier()->setEnabled(true);
    return true;
}

void PipeWriter::on_writeNotifier_activated(int) {
    m_pipe->writeNotifier()->setEnabled(false);
    copy();
}

void PipeWriter::on_source_readyRead() {
    // While bytes are pending, the source is not read.
    if (m_pending.isEmpty())
        copy();
}

void PipeWriter::copy() {
    if (!m_pipe->isOpen())
        return;
    if (m_pending.isEmpty()) {
        m_pending.resize(chunkBytes);
        const qint64 length = m_source->read(m_pending.data(), chunkBytes);
        m_pending.resize(int(std::max<qint64>(length, 0)));
        if (length < 0 || (length == 0 && m_source->atEnd()))
            return end();
        if (length == 0)
            return;
    }
    // One chunk in a turn of the event loop, so that a fast reader does not block other clients.
    if (flush())
        m_pipe->writeNotifier()->setEnabled(true);
}

bool PipeWriter::flush() {
    const qint64 length = m_pipe->write(m_pending.constData(), m_pending.size());
    if (length < 0 && errno != EAGAIN) {
        dbglog_debug("No longer writing to " << m_pipe->name() << ": " << strerror(errno));
        end();
        return false;
    }
    m_pending.remove(0, int(std::max<qint64>(length, 0)));
    return true;
}

void PipeWriter::end() {
    m_pipe->close();
    deleteLater();
}
