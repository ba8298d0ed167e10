// SPDX-License-Identifier: MIT
#pragma once

#include "files/etagcache.h"
#include "files/mappedfile.h"

#include <QFileInfo>
#include <QString>

#include <memory>

class Message;

// Responses to requests for files: the contents or a part of them, according to the method, the
// conditions and the range of the request; and error texts.
namespace FileAnswer {

// With an empty content type the detected one is sent.
void send(const QFileInfo& file, const std::shared_ptr<const MappedFile>& contents,
          const ETagCache::Entry& entry, Message* message, const QString& contentType);

void sendText(Message* message, int status, const QString& text);
// The text for a missing file. Its status is another one for an unsatisfiable range.
void sendNotFound(Message* message, int status = 404);
void sendOpenError(const QFileInfo& file, const QString& reason, Message* message);

} // namespace FileAnswer
