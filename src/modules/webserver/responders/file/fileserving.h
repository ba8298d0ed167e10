// SPDX-License-Identifier: MIT

// responders/file/: Answers from files: which file a name means, who may see it, conditions and
// ranges.
#pragma once

#include <QFileInfo>
#include <QString>

#include <functional>

class Message;

// Answers messages with files.
namespace FileServing {

struct Request {
    QFileInfo file;
    // Compared with the canonical path of the file. With a root that contains a symbolic link every
    // file is refused; with an empty root every file is allowed.
    QString documentRoot;
    // A request for the document root is redirected to this page; not when empty.
    QString rootPage;
    // The detected type when empty.
    QString contentType;
};

// Called when the message has been answered; not after the end of the exchange, and not if the
// message is deleted before.
using Done = std::function<void()>;

// Answers at once, or later if the digest of a large file has to be computed first; the message is
// paused meanwhile. If the file is replaced or written to meanwhile, the new version is sent.
void serve(const Request& request, Message* message, const Done& done = {});

} // namespace FileServing
