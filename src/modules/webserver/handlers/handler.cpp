// SPDX-License-Identifier: MIT
#include "handlers/handler.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "message.h"

Handler::Handler(const QString& documentRoot, QObject* parent)
    : QObject(parent), m_documentRoot(documentRoot) {}

Handler::~Handler() = default;

void Handler::handle(Message* message) {
    dbglog_scopedFunction;
    message->setStatus(404, QString());
    message->setResponseBody(QStringLiteral("These are not the pages you are looking for. "
                                            "Have you tried using HTTPS ?\n"),
                             MimeTypes::Text::plain());
}
