// SPDX-License-Identifier: MIT
#include "responders/stream/streamresponder.h"

#include "connection/hangupnotifier.h"
#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/model/cmrequest.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/plixconnect.h"
#include "core/plixhttprequest.h"
#include "core/plixnamedpipe.h"
#include "request.h"
#include "responders/file/fileserving.h"

#include <QFileInfo>
#include <QPointer>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

// "/api/stream/"
constexpr int streamPrefixLength = 12;
// Read from a FIFO at a time. Further bytes are in the buffers of the connection and the socket.
constexpr int relayBytes = 1024;
// Without a limit, a fast client and a fast producer would never return to the event loop.
constexpr int chunksPerTurn = 64;
// Streams last for minutes, but a skipped track ends at once.
const char retryStreamSeconds[] = "5";

bool isTokenCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != '\0' && strchr("!#$%&'*+-.^_`|~", c));
}

bool isHeaderName(const QByteArray& name) {
    return !name.isEmpty() && std::all_of(name.begin(), name.end(), isTokenCharacter);
}

// Line breaks would allow header injection. Some clients take other control characters for line
// breaks.
bool isHeaderValue(const QByteArray& value) {
    return std::none_of(value.begin(), value.end(), [](char c) {
        return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7f';
    });
}

// Headers for the framing and the connection, which workers must not set.
bool isFramingHeader(const QByteArray& name) {
    static const QList<QByteArray> names{
        "connection", "content-length", "keep-alive",        "proxy-connection",
        "te",         "trailer",        "transfer-encoding", "upgrade"};
    return names.contains(name.toLower());
}

// A client waits for another status after an interim one.
bool isFinalStatus(int status) {
    return status >= 200 && status <= 599;
}

} // namespace

StreamResponder::StreamResponder(Request& request, const QString& documentRoot, int patienceMs,
                                 QObject* parent)
    : Responder(request, documentRoot, parent) {
    // At the end of the exchange, and not in the destructor: when the device stops, the event loop
    // does not delete this object any more.
    plixConnect(&request, &Message::finished, this, &StreamResponder::release);
    m_patienceTimer.setInterval(patienceMs);
    plixConnect(&m_patienceTimer, &QTimer::timeout, this,
                &StreamResponder::on_patienceTimer_timeout);
}

// Counts the streams; one object for each.
class StreamResponder::Place {
public:
    Place() { ++s_taken; }
    ~Place() { --s_taken; }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    static bool isFree() { return s_taken < maximumStreams; }

private:
    static int s_taken;
};

int StreamResponder::Place::s_taken = 0;

StreamResponder::~StreamResponder() {
    if (m_pipe)
        dbglog_debug("~StreamResponder: deleting pipe");
}

void StreamResponder::respond() {
    dbglog_scopedFunction;
    dbglog_debug("StreamResponder: request " << m_requestId << " " << request().fullUri());
    if (!Place::isFree()) {
        dbglog_warning("Too many streams, refusing " << request().fullUri());
        request().setHeader(QByteArrayLiteral("Retry-After"), retryStreamSeconds);
        return fail(503);
    }
    m_place = std::make_unique<Place>();
    if (!createPipe()) {
        out << "ERROR: Unable to create pipe" << Qt::endl;
        return finish();
    }
    m_patienceTimer.start();

    CMSetDataRequest setData;
    setData.path = CMPath::fromEncoded(request().url().path().mid(streamPrefixLength));
    setData.role = PlixRoles::HttpRequest();
    setData.value = httpRequest().__variant();
    setData.reply.addWatcher(this, SLOT(on_httpRequest_finishedSignal(CMVoidReply)));
    CMRoot()->setDataRequest(setData);
}

bool StreamResponder::createPipe() {
    const QString name = PlixHttpRequest::pipePrefix() + QString::number(random());
    m_pipe = std::make_unique<PlixNamedPipe>(name, PlixNamedPipe::Read, this, true);
    m_pipe->setNonBlock(true);
    if (m_pipe->create() && m_pipe->open(false))
        return true;
    dbglog_error("Unable to create named pipe " << name << ": " << strerror(errno));
    return false;
}

PlixHttpRequest StreamResponder::httpRequest() const {
    PlixHttpRequestData data;
    const QHash<QString, QString>& variables = request().serverData();
    for (auto variable = variables.begin(); variable != variables.end(); ++variable)
        data.setVariable(variable.key(), *variable);
    // postData() logs a warning for a request without a body.
    data.setParams(request().requestContentType().isNull() ? QVariantHash() : request().postData());

    PlixHttpRequest httpRequest;
    httpRequest.setData(data);
    httpRequest.setPipe(m_pipe->name());
    return httpRequest;
}

void StreamResponder::on_httpRequest_finishedSignal(const CMVoidReply& reply) {
    dbglog_scopedFunction;
    // The client has already been answered with 504.
    if (!m_pipe)
        return;
    if (const CMError error = reply.error()) {
        dbglog_warning("setData error: " << error.name() << " " << error.message());
        return fail(501);
    }
    const PlixHttpRequestReply rep(CMVariantReply(reply).value().toHash());
    dbglog_debug("setData reply: " << rep.__hash());
    Q_ASSERT(rep.status());
    if (!isFinalStatus(rep.status())) {
        dbglog_warning("setData reply without a usable status: " << rep.status());
        return fail(502);
    }

    if (rep.status() == 200 && rep.__contains(PlixHttpRequestReply::LocalFile()))
        return serveFile(rep);

    request().setStatus(rep.status(), QString());
    const QString type = rep.contentType();
    const bool hasType = !type.isEmpty() && isHeaderValue(type.toUtf8());
    request().setContentType(hasType ? type : MimeTypes::Application::octetStream());
    if (rep.status() == 200)
        return startStreaming(rep);
    dbglog_info("Got status " << rep.status() << ", not passing any data to the webserver");
    finish();
}

void StreamResponder::serveFile(const PlixHttpRequestReply& reply) {
    // The FIFO is not needed.
    release();
    // They are of the file, and not of the answer that there is none.
    if (QFileInfo::exists(reply.localFile()))
        setHeaders(reply.headers());
    FileServing::serve({QFileInfo(reply.localFile()), {}, {}, reply.contentType()}, &request(),
                       [self = QPointer<StreamResponder>(this)] {
                           if (self)
                               self->finish();
                       });
}

void StreamResponder::startStreaming(const PlixHttpRequestReply& reply) {
    if (reply.__contains(PlixHttpRequestReply::ContentLength()) && reply.contentLength() >= 0) {
        m_remaining = reply.contentLength();
        request().setContentLength(m_remaining);
        // Players assume that they can seek in a stream with a length.
        request().setHeader(QByteArrayLiteral("Accept-Ranges"), QByteArrayLiteral("none"));
    }
    if (reply.__contains(PlixHttpRequestReply::Headers()))
        setHeaders(reply.headers());
    // There will be no body.
    if (m_remaining == 0 || request().method() == "HEAD")
        return finish();

    m_isStreaming = true;
    m_patienceTimer.start();
    m_hangUpNotifier = std::make_unique<HangUpNotifier>(request().data().message, nullptr);
    plixConnect(m_hangUpNotifier.get(), &HangUpNotifier::hungUp, this,
                [this] { m_hasClientHungUp = true; });
    plixConnect(out.device(), SIGNAL(bytesWritten(qint64)), this,
                SLOT(on_outDevice_bytesWritten(qint64)));
    QSocketNotifier* notifier = m_pipe->readNotifier();
    plixConnect(notifier, SIGNAL(activated(int)), this, SLOT(on_pipeNotifier_activated(int)));
    // Reading from a FIFO without a writer returns 0, like its end. The notifier emits no signal
    // before there is a writer.
    notifier->setEnabled(true);
}

void StreamResponder::setHeaders(const QVariantHash& headers) {
    for (auto header = headers.begin(); header != headers.end(); ++header) {
        const QByteArray name = header.key().toUtf8();
        const QByteArray value = header->toString().toUtf8();
        if (isHeaderName(name) && isHeaderValue(value) && !isFramingHeader(name))
            request().setHeader(name, value);
        else
            dbglog_warning("Ignoring the worker's header \"" << name.toPercentEncoding() << "\"");
    }
}

void StreamResponder::on_patienceTimer_timeout() {
    if (!m_isStreaming) {
        dbglog_warning("No answer from the worker of " << request().fullUri());
        return fail(504);
    }
    // If a chunk is pending, the client is slow. The connection handles slow clients.
    if (!std::exchange(m_isActive, false) && out.device()->bytesToWrite() == 0)
        lookAfterSilentStream();
}

void StreamResponder::lookAfterSilentStream() {
    char buffer[relayBytes];
    const qint64 length = m_pipe->read(buffer, sizeof buffer);
    if (length > 0)
        return relay(buffer, length);
    // While there is a writer, reading fails with EAGAIN.
    if (length == 0 && !m_hasStarted) {
        dbglog_warning("Nobody opened the pipe of " << request().fullUri());
        return fail(504);
    }
    if (length == 0 || m_hasClientHungUp)
        endOfStream();
}

void StreamResponder::on_pipeNotifier_activated(int socket) {
    if (!m_pipe || !m_pipe->isOpen() || socket != m_pipe->readNotifier()->socket()) {
        dbglog_warning("readNotify on unknown socket: " << socket);
        return;
    }
    m_hasStarted = m_isActive = true;
    m_chunksInTurn = 0;
    dbglog_trace("disabling notifier");
    m_pipe->readNotifier()->setEnabled(false);
    readPipe();
}

void StreamResponder::readPipe() {
    char buffer[relayBytes];
    const qint64 length = m_pipe->read(buffer, sizeof buffer);
    if (length > 0)
        return relay(buffer, length);
    if (length == 0)
        return endOfStream();
    if (errno != EAGAIN) {
        dbglog_debug("read all (for now)");
        return;
    }
    dbglog_debug("EAGAIN");
    if (out.device()->bytesToWrite() == 0) {
        dbglog_debug("enabling notifier (EAGAIN)");
        m_pipe->readNotifier()->setEnabled(true);
    }
}

void StreamResponder::relay(const char* data, qint64 length) {
    ++m_chunksInTurn;
    // The client would take bytes beyond the announced length for the next response.
    const qint64 wanted = m_remaining < 0 ? length : std::min(length, m_remaining);
    if (!out.device()->isOpen())
        dbglog_debug("device closed");
    if (!out.device()->isOpen() || out.device()->write(data, wanted) < 0) {
        dbglog_debug("Client terminated, stop sending data");
        dbglog_debug("End of stream detected");
        return finish();
    }
    dbglog_trace("wrote " << wanted << " bytes");
    dbglog_trace("read all (for now)");
    if (m_remaining < 0)
        return;
    m_remaining -= wanted;
    if (wanted < length)
        dbglog_warning("The worker wrote more than it announced for " << request().fullUri());
    if (m_remaining == 0)
        endOfStream();
}

void StreamResponder::on_outDevice_bytesWritten(qint64) {
    if (!m_pipe)
        return;
    // A chunk that is added here is written at once.
    if (m_chunksInTurn < chunksPerTurn && out.device()->isOpen())
        return readPipe();
    dbglog_trace("enabling notifier (bytesWritten)");
    m_pipe->readNotifier()->setEnabled(true);
}

void StreamResponder::endOfStream() {
    dbglog_debug("End of stream detected");
    if (m_remaining > 0) {
        dbglog_warning("The worker wrote " << m_remaining << " bytes less than it announced for "
                                           << request().fullUri());
        // Closing the connection tells the client that the response is incomplete.
        request().setHeader(QByteArrayLiteral("Connection"), QByteArrayLiteral("close"));
    }
    finish();
}

void StreamResponder::fail(int status) {
    // The announced body will not be sent.
    if (m_remaining > 0)
        request().setContentLength(0);
    request().setStatus(status, QString());
    finish();
}

void StreamResponder::release() {
    m_patienceTimer.stop();
    m_hangUpNotifier.reset();
    m_pipe.reset();
    m_place.reset();
}

void StreamResponder::finish() {
    release();
    Q_EMIT finished(m_requestId);
}
