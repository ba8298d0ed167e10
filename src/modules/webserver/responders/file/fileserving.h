// responders/file/: Answers from files: which file a name means, who may see it, conditions and
// ranges.
#pragma once

#include <QFileInfo>
#include <QString>

#include <functional>

class Message;

// Answers messages from files: finds out which file a name means, whether it may be seen, which
// version it is, its tag and its type, and sends it.
namespace FileServing {

struct Request {
    QFileInfo file;
    // Compared with the file's canonical path: a root that is itself reached through a symbolic
    // link refuses every file, an empty one allows every file.
    QString documentRoot;
    // The page to which a request for the document root is redirected; none when empty.
    QString rootPage;
    // Empty: the one that is detected.
    QString contentType;
};

// Called when the answer has been given, but not after the end of the exchange, nor when the
// message is deleted before.
using Done = std::function<void()>;

// Answers at once, or later when the digest of a large file has to be computed first; the message
// is paused meanwhile. Of a large file that is replaced or written to meanwhile the new version is
// sent.
void serve(const Request& request, Message* message, const Done& done = {});

} // namespace FileServing
