// SPDX-License-Identifier: MIT
#include "responders/responder.h"

#include "core/dbglog.h"
#include "request.h"

Responder::Responder(Request& request, const QString& documentRoot, QObject* parent)
    : QObject(parent), m_request(&request), m_documentRoot(documentRoot) {}

Responder::~Responder() = default;

void Responder::setIODevices(QIODevice* input, QIODevice* output) {
    dbglog_scopedFunction;
    in.setDevice(input);
    out.setDevice(output);
}

void Responder::setHeader(const QString& name, const QString& value) {
    dbglog_scopedFunction;
    m_request->setHeader(name, value);
}
