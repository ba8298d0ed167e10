// SPDX-License-Identifier: MIT

// responders/: The base classes of responders, their factories, and what several kinds share.
#pragma once

#include "responders/devicetextstream.h"

#include <QObject>

class QIODevice;
class Request;

// Produces the response to one request. respond() is called once; finished() is emitted when the
// response is complete, during respond() or later. Made by a factory and owned by the handler,
// which deletes it after finished() or after the end of the exchange, whichever comes first.
class Responder : public QObject {
    Q_OBJECT

public:
    Responder(Request& request, const QString& documentRoot, QObject* parent);
    ~Responder() override;

    virtual void respond() = 0;
    // Whether respond() writes the whole response before it returns. ResponderHandler requires
    // false.
    virtual bool respondWillBlock() { return true; }
    virtual void setRequestId(int) {}

    // Sets the devices of `in` and `out`, which must outlive their use.
    void setIODevices(QIODevice* input, QIODevice* output);
    void setHeader(const QString& name, const QString& value);
    QString documentRoot() const { return m_documentRoot; }
    void setDocumentRoot(const QString& documentRoot) { m_documentRoot = documentRoot; }

Q_SIGNALS:
    void finished(int requestId);

protected:
    Request& request() const { return *m_request; }

    DeviceTextStream in;
    DeviceTextStream out;

private:
    Request* m_request;
    QString m_documentRoot;
};
