// SPDX-License-Identifier: MIT
#pragma once

#include "responders/responder.h"

#include <QByteArray>

// Receives the parts of one multipart upload while its body arrives. Made by a factory when the
// headers of the request have arrived. Owned by the session of the upload, which is deleted one
// turn of the event loop after the end of the exchange.
class MultipartResponder : public Responder {
    Q_OBJECT

public:
    using Responder::Responder;
    ~MultipartResponder() override;

    // A part begins. `header` is its raw header block, which ends with the empty line. It begins
    // with the end of the boundary line; in the first part and after an empty part with the whole
    // delimiter.
    virtual void newPart(const QByteArray& header) = 0;
    // The next bytes of the part's content, valid during the call.
    virtual void partData(const char* data, unsigned int size) = 0;
    // The body has ended; called once. If a status has been set by then, libsoup sends the
    // response; otherwise the normal handler of the path is called. If the body was incomplete, the
    // exchange has ended, and no response can be sent.
    virtual void finish() = 0;

    // Whether the closing boundary has arrived. Set before the last parts are passed on; false
    // while more of the body may arrive, and for an incomplete body.
    bool isBodyComplete() const { return m_isBodyComplete; }
    void setBodyComplete(bool complete) { m_isBodyComplete = complete; }

private:
    bool m_isBodyComplete = false;
};
