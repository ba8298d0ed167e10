// SPDX-License-Identifier: MIT
#include "responders/file/awaitedhash.h"

#include "core/plixconnect.h"
#include "message.h"

#include <utility>

AwaitedHash::AwaitedHash(HashPtr hash, Message* message, Continuation continuation)
    : QObject(message), m_hash(std::move(hash)), m_message(message),
      m_continuation(std::move(continuation)) {
    m_message->pause();
    plixConnect(m_hash.get(), &FileHash::finished, this, &AwaitedHash::on_hash_finished);
    plixConnect(m_message, &Message::finished, this, &AwaitedHash::on_message_finished);
}

void AwaitedHash::on_hash_finished() {
    const HashPtr hash = std::exchange(m_hash, nullptr);
    deleteLater();
    // A response without a body does not resume it.
    m_message->unpause();
    m_continuation(hash);
}

void AwaitedHash::on_message_finished() {
    m_hash.reset();
    deleteLater();
}
