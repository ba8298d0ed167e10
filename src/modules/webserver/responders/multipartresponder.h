#pragma once

#include "responders/responder.h"

#include <QByteArray>

// Receives the parts of one multipart upload while its body arrives. Made by a factory when the
// request's headers are in, owned by the upload's session, which outlives the exchange by a turn
// of the event loop.
class MultipartResponder : public Responder {
    Q_OBJECT

public:
    using Responder::Responder;
    ~MultipartResponder() override;

    // A part begins. `header` is its raw header block and ends with the empty line. It begins with
    // the end of the boundary line, or, for the first part and behind an empty part, with the
    // whole delimiter.
    virtual void newPart(const QByteArray& header) = 0;
    // The next bytes of the part's content, valid during the call.
    virtual void partData(const char* data, unsigned int size) = 0;
    // The body has ended; called once. A status that is set here or before is the answer; without
    // one the normal handler of the path answers. At the end of an exchange whose body broke off
    // there is nobody to answer any more.
    virtual void finish() = 0;

    // Whether the body has come up to its closing boundary. Known from before the last parts are
    // handed out; false as long as more may come, and of a body that broke off.
    bool isBodyComplete() const { return m_isBodyComplete; }
    void setBodyComplete(bool complete) { m_isBodyComplete = complete; }

private:
    bool m_isBodyComplete = false;
};
