#pragma once

#include "files/etagcache.h"
#include "files/mappedfile.h"

#include <QFileInfo>
#include <QString>

#include <memory>

class Message;

// The answers that a file gives: its contents or a part of them, by the method, the conditions and
// the range of the request, and the texts of refusals.
namespace FileAnswer {

// An empty content type means the detected one.
void send(const QFileInfo& file, const std::shared_ptr<const MappedFile>& contents,
          const ETagCache::Entry& entry, Message* message, const QString& contentType);

void sendText(Message* message, int status, const QString& text);
// The answer for a missing file, whatever the reason.
void sendNotFound(Message* message, int status = 404);
void sendOpenError(const QFileInfo& file, const QString& reason, Message* message);

} // namespace FileAnswer
