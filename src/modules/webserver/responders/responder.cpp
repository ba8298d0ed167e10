#include "responders/responder.h"

#include "request.h"

#include <QTextCodec>

Responder::Responder(Request& request, const QString& documentRoot, QObject* parent)
    : QObject(parent), m_request(&request), m_documentRoot(documentRoot) {}

Responder::~Responder() = default;

void Responder::setIODevices(QIODevice* input, QIODevice* output) {
    // Looking it up by name costs more than the rest.
    static QTextCodec* const utf8 = QTextCodec::codecForName("UTF-8");
    in.setDevice(input);
    in.setCodec(utf8);
    out.setDevice(output);
    out.setCodec(utf8);
}

void Responder::setHeader(const QString& name, const QString& value) {
    m_request->setHeader(name, value);
}
