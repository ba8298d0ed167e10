// SPDX-License-Identifier: MIT
#include "responders/page/pageresponder.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/plixvalue.h"
#include "files/documentroot.h"
#include "request.h"
#include "responders/browserpolicy.h"
#include "responders/page/pagetemplate.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimerEvent>

#include <climits>

namespace {

// The longest time that text is buffered while a reply is awaited: too short to be noticed, and
// long enough that a page with quick replies is sent in few chunks.
constexpr int flushDelayMs = 50;

const QString attributePath = QStringLiteral("path");
const QString attributeRole = QStringLiteral("role");
const QString attributeRoles = QStringLiteral("roles");
const QString attributeType = QStringLiteral("type");
const QString attributeValue = QStringLiteral("value");
const QString keyEscape = QStringLiteral("escape");
const QString keyOnError = QStringLiteral("onError");
const QString keyOnSuccess = QStringLiteral("onSuccess");
const QString keyOnSuccessReply = QStringLiteral("onSuccessReply");

// All responders run on one thread.
PageCache& pageCache() {
    static PageCache cache;
    return cache;
}

QString typedValueText(const QVariant& record) {
    return plixValueToQString(PlixValue(record.toHash()));
}

QString debugText(const QHash<QString, QString>& params) {
    QString text;
    QDebug(&text) << params;
    return text;
}

} // namespace

PageResponder::PageResponder(Request& request, const QString& documentRoot, QObject* parent)
    : Responder(request, documentRoot, parent) {}

void PageResponder::respond() {
    dbglog_scopedFunction;
    dbglog_debug("PageResponder: request " << request().requestId() << ": '" << request().fullUri()
                                           << "'");
    setBrowserPolicy(&request());
    const QString fileName = getFileName();
    // A cached page was inside the document root when it was read, and its file has not changed.
    if (const PageCache::PagePtr page = pageCache().find(fileName))
        return processPage(page);
    if (!isInsideDocumentRoot(fileName))
        return refuse(404, QStringLiteral("No such file"));
    processFile(fileName);
}

QString PageResponder::getFileName() const {
    return documentRoot() + QLatin1Char('/') + request().url().path();
}

// The path has been decoded and may contain "../", which the server does not resolve in its encoded
// form. Clients must not read files outside the root, nor learn which files exist.
bool PageResponder::isInsideDocumentRoot(const QString& fileName) const {
    if (documentRoot().isEmpty())
        return false;
    const QString root = QDir(documentRoot()).canonicalPath();
    return !root.isEmpty() && isWithinDocumentRoot(QFileInfo(fileName).canonicalFilePath(), root);
}

void PageResponder::processFile(const QString& fileName) {
    const QFileInfo info(fileName);
    if (!info.exists())
        return refuse(404, QStringLiteral("No such file"));
    QFile file(fileName);
    // Opening a FIFO would block the event loop until somebody writes into it.
    if (!info.isFile() || !file.open(QIODevice::ReadOnly))
        return refuse(403, QStringLiteral("Cannot open file for reading:") + fileName);

    struct stat state = {};
    const bool hasState = fstat(file.handle(), &state) == 0;
    const QByteArray bytes = file.readAll();
    const QString content = QString::fromUtf8(
        bytes.constData(), static_cast<int>(qstrnlen(bytes.constData(), uint(bytes.size()))));
    const auto page = std::make_shared<const PageTemplate::Page>(PageTemplate::parsePage(content));
    if (hasState)
        pageCache().add(fileName, state, page);
    processPage(page);
}

void PageResponder::processPage(const PageCache::PagePtr& page) {
    m_page = page;
    m_position = 0;
    request().setStatus(200, QString());
    request().setContentType(MimeTypes::Text::html());
    processChunk();
}

void PageResponder::refuse(int status, const QString& text) {
    request().setStatus(status, QString());
    request().setResponseBody(text, MimeTypes::Text::plain());
    Q_EMIT finished(request().requestId());
}

// A reply may arrive while its request is being sent. Then this loop, which sent the request,
// continues; a recursive call would let the stack grow with the number of instructions.
void PageResponder::processChunk() {
    if (m_isProcessing)
        return;
    m_isProcessing = true;
    while (!m_isWaiting && !isOver())
        processNextPart();
    m_isProcessing = false;
    if (m_isWaiting && !m_flushTimer.isActive())
        m_flushTimer.start(flushDelayMs, this);
}

void PageResponder::processNextPart() {
    const PageTemplate::Page::Part& part = m_page->parts.at(m_position++);
    out << part.text;
    switch (part.end) {
    case PageTemplate::Piece::Page:
        m_isComplete = true;
        out.flush();
        Q_EMIT finished(request().requestId());
        break;
    case PageTemplate::Piece::Unterminated:
        // On purpose: a device with broken pages must not go into service.
        qFatal("PageResponder: Wrong input file");
        break;
    case PageTemplate::Piece::Instruction:
        processCommand(part);
        break;
    }
}

void PageResponder::processCommand(const PageTemplate::Page::Part& part) {
    if (part.command.name.isEmpty()) {
        out << "[[Error: unrecognized command]]";
        return;
    }
    m_params = part.command.attributes;
    executeCommand(part);
}

void PageResponder::executeCommand(const PageTemplate::Page::Part& part) {
    const QString& command = part.command.name;
    if (command == QLatin1String("getData"))
        executeGetData(part);
    else if (command == QLatin1String("getRows"))
        out << "[[getRows: Error: not implemented!]]";
    else if (command == QLatin1String("setData"))
        executeSetData();
    else
        out << QStringLiteral("[[Error: unknown command: %1]]").arg(command);
}

void PageResponder::executeGetData(const PageTemplate::Page::Part& part) {
    if (part.roles.isEmpty()) {
        out << "[[getData: Error: missing parameters!]]";
        return;
    }
    const CMReply<QList<QVariant>> reply;
    m_isWaiting = true;
    CMRoot()->getData(part.path, part.roles, reply);
    reply.addWatcher(this, [this](const CMVoidReply& finished) { on_getData_finished(finished); });
}

void PageResponder::executeSetData() {
    substituteFormFields();
    PlixError error;
    const QVariant value =
        PageTemplate::toValue(param(attributeType), param(attributeValue), &error);
    if (!error.isEmpty()) {
        dbglog_error("json type: failed to parse: " << error.message());
        dbglog_error("json type: data: " << param(attributeValue));
        return;
    }
    const CMReply<QVariant> reply;
    m_isWaiting = true;
    CMRoot()->setData(CMPath::fromEncoded(param(attributePath)), param(attributeRole), value,
                      reply);
    reply.addWatcher(this, [this](const CMVoidReply& finished) { on_setData_finished(finished); });
}

void PageResponder::substituteFormFields() {
    const QVariantHash& fields = request().postData();
    const auto field = [&fields](const QString& name) { return fields.value(name).toString(); };
    const auto jsonField = [&field](const QString& name) { return PlixJson::escape(field(name)); };

    // The type is substituted first: it decides whether other fields are escaped for JSON, even if
    // a field provides it.
    QString& type = m_params[attributeType];
    type = PageTemplate::substitute(type, field);
    const bool isJson = type == QLatin1String("json");
    for (auto attribute = m_params.begin(); attribute != m_params.end(); ++attribute) {
        if (attribute.key() == attributeType)
            continue;
        const bool needsEscape = isJson && attribute.key() == attributeValue;
        *attribute = needsEscape ? PageTemplate::substitute(*attribute, jsonField)
                                 : PageTemplate::substitute(*attribute, field);
    }
}

void PageResponder::on_getData_finished(const CMVoidReply& reply) {
    const auto data = reply.data().staticCast<CMReplyData<QList<QVariant>>>();
    data->waitForFinished(ULONG_MAX);
    const QList<QVariant> values = data->value();
    if (values.isEmpty())
        return finishCommand(hasParam(keyOnError)
                                 ? escaped(param(keyOnError))
                                 : QStringLiteral("[[getData: Error retrieving values!]]"));
    const bool isTyped = param(attributeRoles) == PlixRolesType::Value();
    finishCommand(
        escaped(isTyped ? typedValueText(values.constFirst()) : values.constFirst().toString()));
}

void PageResponder::on_getRows_finished(const CMVoidReply&) {
    finishCommand(QString());
}

void PageResponder::on_setData_finished(const CMVoidReply& reply) {
    const CMVariantReply result(reply);
    if (result.error()) {
        dbglog_error("PageRespoder setData error, params: " << debugText(m_params));
        return finishCommand(hasParam(keyOnError) ? escaped(param(keyOnError))
                                                  : QStringLiteral("[[setData: Error!]]"));
    }
    // Only the presence of onSuccessReply counts, not its text.
    finishCommand(escaped(param(keyOnSuccessReply).isEmpty() ? param(keyOnSuccess)
                                                             : typedValueText(result.value())));
}

void PageResponder::finishCommand(const QString& output) {
    m_isWaiting = false;
    // The client may have left meanwhile.
    if (isOver())
        return;
    out << output;
    processChunk();
}

void PageResponder::timerEvent(QTimerEvent* event) {
    if (event->timerId() != m_flushTimer.timerId())
        return Responder::timerEvent(event);
    m_flushTimer.stop();
    if (!isOver())
        out.flush();
}

QString PageResponder::escaped(const QString& value) const {
    return escapeString(value, param(keyEscape));
}

QString PageResponder::escapeString(const QString& value, const QString& mode) const {
    if (mode == QLatin1String("html"))
        return PageTemplate::escapeHtml(value);
    if (mode == QLatin1String("none"))
        return value;
    if (mode == QLatin1String("js"))
        return PageTemplate::escapeJs(value);
    dbglog_warning("Escape param was not set. Path: " << request().url().path());
    return PageTemplate::escapeHtml(value);
}

bool PageResponder::isOver() const {
    return m_isComplete || request().isFinished();
}
