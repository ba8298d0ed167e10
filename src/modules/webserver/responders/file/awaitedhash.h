#pragma once

#include "files/filehash.h"

#include <QObject>

#include <functional>
#include <memory>

class Message;

// A paused message that waits for the digest of a file; a child of the message, which it resumes.
// The end of the exchange ends it, and the hash unless others wait for it.
class AwaitedHash : public QObject {
    Q_OBJECT

public:
    using HashPtr = std::shared_ptr<FileHash>;
    // Answers the message, and may let it wait for another hash.
    using Continuation = std::function<void(const HashPtr&)>;

    AwaitedHash(HashPtr hash, Message* message, Continuation continuation);

private:
    void on_hash_finished();
    void on_message_finished();

    HashPtr m_hash;
    Message* m_message;
    Continuation m_continuation;
};
