// SPDX-License-Identifier: MIT
#pragma once

#include "files/filehash.h"

#include <QObject>

#include <functional>
#include <memory>

class Message;

// Pauses a message until the digest of a file has been computed. A child of the message. The end of
// the exchange deletes it, and cancels the computation unless others wait for it.
class AwaitedHash : public QObject {
    Q_OBJECT

public:
    using HashPtr = std::shared_ptr<FileHash>;
    // Answers the message, or makes it wait for another digest.
    using Continuation = std::function<void(const HashPtr&)>;

    AwaitedHash(HashPtr hash, Message* message, Continuation continuation);

private:
    void on_hash_finished();
    void on_message_finished();

    HashPtr m_hash;
    Message* m_message;
    Continuation m_continuation;
};
