// SPDX-License-Identifier: MIT
#include "responders/api/apiresponder.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/model/cmglobal.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmvalues.h"
#include "core/plixjson.h"
#include "request.h"
#include "responders/api/apiparameters.h"
#include "responders/api/apirequests.h"
#include "responders/legacypathhelper.h"

namespace {

bool isTrue(const QVariant& internal) {
    return CMValues::scalar(internal).toBool();
}

CMPath pathFrom(const QString& path) {
    return LegacyPathHelper::fromLegacy(CMPath::fromEncoded(path));
}

// Completes the roles of a read: expands "@all", and appends the role `internal`.
void completeRoles(QStringList* roles, ApiResponder::ResponseFormat* format) {
    if (roles->size() == 1 && roles->first() == QLatin1String("@all")) {
        *roles = CMAllRoles();
        *format = ApiResponder::Structure;
    }
    roles->append(PlixRoles::Internal());
}

QVariant formatted(const QStringList& roles, const QVariantList& values,
                   ApiResponder::ResponseFormat format) {
    if (format == ApiResponder::Values)
        return values;
    return CMGlobal::rolesValuesToHash(roles, values);
}

// Removes the last value, the role `internal`, from the row. If it is true, all other values become
// null. Returns whether the row was internal.
bool makePublic(QVariantList* row, const QStringList& roles) {
    if (row->isEmpty())
        return false;
    const bool isInternal = isTrue(row->constLast());
    if (isInternal) {
        dbglog_warning("Private row: " << *row << " will be excluded from the response");
        std::fill(row->begin(), row->end(), QVariant());
        const int title = roles.indexOf(PlixRoles::Title());
        if (title >= 0 && title < row->size())
            (*row)[title] = QStringLiteral("(Node is internal)");
    }
    row->removeLast();
    return isInternal;
}

// Works in place, because a copy of each row would double the time. Returns whether the row was
// internal.
bool makePublicRow(QVariant* row, const QStringList& roles, ApiResponder::ResponseFormat format) {
    if (row->userType() != QMetaType::QVariantList)
        *row = row->toList();
    auto* values = static_cast<QVariantList*>(row->data());
    const bool isInternal = makePublic(values, roles);
    if (format != ApiResponder::Values)
        *row = formatted(roles, *values, format);
    return isInternal;
}

struct RowsText {
    QByteArray text;
    bool hasInternal;
};

RowsText toText(PlixRowsRoles answer, const QStringList& roles,
                ApiResponder::ResponseFormat format) {
    QVariantList rows = answer.takeRows();
    bool hasInternal = false;
    for (QVariant& row : rows)
        hasInternal |= makePublicRow(&row, roles, format);
    answer.setRows(rows);
    return {PlixJson::serialize(answer.__variant()), hasInternal};
}

} // namespace

ApiResponder::ApiResponder(Request& request, const QString& documentRoot,
                           const ResponderConfiguration& configuration, QObject* parent)
    : Responder(request, documentRoot, parent), m_configuration(configuration) {}

void ApiResponder::respond() {
    dbglog_scopedFunction;
    const QString path = request().url().path();
    if (path == QLatin1String("/api/getData"))
        getData();
    else if (path == QLatin1String("/api/getRows"))
        getRows();
    else if (path == QLatin1String("/api/setData"))
        setData();
    else
        failWith(QStringLiteral("Error: wrong method!"));
}

template <typename Operation>
bool ApiResponder::parse(Operation* operation) {
    const QByteArray method = request().method();
    const QString fault = method == "GET" || method == "POST"
                              ? operation->read(ApiParameters(request()))
                              : QStringLiteral("Invalid method!");
    return fault.isNull() || failWith(fault);
}

void ApiResponder::getData() {
    ApiGetDataRequest asked;
    if (!parse(&asked))
        return;
    completeRoles(&asked.roles, &asked.format);
    const CMReply<QList<QVariant>> reply;
    CMRoot()->getData(pathFrom(asked.path), asked.roles, reply);
    reply.addWatcher(
        this, [this, format = asked.format, roles = asked.roles](const CMVoidReply& finishedReply) {
            on_getData_finished(finishedReply, format, roles);
        });
}

void ApiResponder::getRows() {
    ApiGetRowsRequest asked;
    if (!parse(&asked))
        return;
    completeRoles(&asked.roles, &asked.format);
    const CMReply<PlixRowsRoles> reply;
    CMRoot()->getRows(pathFrom(asked.path), asked.from, asked.to, asked.version, asked.roles,
                      reply);
    reply.addWatcher(
        this, [this, format = asked.format, roles = asked.roles](const CMVoidReply& finishedReply) {
            on_getRows_finished(finishedReply, format, roles);
        });
}

void ApiResponder::setData() {
    // A page of another origin can send a form without a preflight request, but not JSON.
    if (m_configuration.strict && request().method() == "POST" &&
        request().requestContentType() != "application/json")
        return respondWithError(
            CMError::fromMessage(QStringLiteral("invalid request content type")));
    ApiSetDataRequest asked;
    if (!parse(&asked))
        return;
    // A worker trusts the pipe and the addresses in this role, and answers with paths of files.
    // Only the web server itself may write it.
    if (asked.role == PlixRoles::HttpRequest())
        return respondWithError(
            CMError::fromName(CMErrorNames::notModifiable(),
                              QStringLiteral("Role \"%1\" of \"%2\" cannot be modified")
                                  .arg(asked.role, asked.path)));
    const CMPath path = pathFrom(asked.path);
    const CMReply<QList<QVariant>> reply;
    CMRoot()->getData(path, {PlixRoles::Internal()}, reply);
    reply.onFinished(this, [=, role = asked.role,
                            value = asked.value](const CMReply<QList<QVariant>>& finishedReply) {
        checkInternal(finishedReply, path, role, value);
    });
}

void ApiResponder::checkInternal(const CMReply<QList<QVariant>>& reply, const CMPath& path,
                                 const QString& role, const QVariant& value) {
    // A node may exist for its activation only and have no roles to read.
    const bool activates = role == PlixRoles::Activate();
    const CMError error = reply.error();
    const QVariantList values = reply.value();
    if (error) {
        if (!activates)
            return respondWithError(error);
        dbglog_info("setData: unable to retrieve internal role on path "
                    << path << "; treating it as non-internal");
    } else if (values.size() != 1) {
        if (!activates)
            return respondWithError(
                CMError::fromName(QStringLiteral("Error"),
                                  QStringLiteral("Invalid response size: %1").arg(values.size())));
        dbglog_info("setData: internal role request: invalid response size: "
                    << values.size() << " on path " << path);
    } else if (isTrue(values.first())) {
        dbglog_warning("setData: node on path " << path << " is internal");
        return respondWithError(CMError::fromName(QStringLiteral("setData failed"),
                                                  QStringLiteral("Node is internal")));
    }
    write(path, role, value);
}

void ApiResponder::write(const CMPath& path, const QString& role, const QVariant& value) {
    const CMReply<QVariant> reply;
    CMRoot()->setData(path, role, value, reply);
    reply.addWatcher(
        this, [this](const CMVoidReply& finishedReply) { on_setData_finished(finishedReply); });
}

void ApiResponder::on_getData_finished(const CMVoidReply& reply, ResponseFormat type,
                                       QStringList roles) {
    dbglog_scopedFunction;
    if (const CMError error = reply.error())
        return respondWithError(error);
    QVariantList values = CMReply<QList<QVariant>>::from(reply).take();
    if (values.isEmpty() || isTrue(values.constLast()))
        return respondWithError(CMError::fromName(QStringLiteral("getData failed"),
                                                  QStringLiteral("Node is internal")));
    values.removeLast();
    roles.removeLast();
    respondWithValue(formatted(roles, values, type));
}

void ApiResponder::on_getRows_finished(const CMVoidReply& reply, ResponseFormat type,
                                       QStringList roles) {
    dbglog_scopedFunction;
    if (const CMError error = reply.error())
        return respondWithError(error);
    roles.removeLast();
    PlixRowsRoles answer = CMReply<PlixRowsRoles>::from(reply).take();
    // A record that nobody else references will not be sent again, and can be changed in place.
    respondWithText(answer.__hash().isDetached() ? toText(std::move(answer), roles, type).text
                                                 : sharedText(answer, roles, type));
}

QByteArray ApiResponder::sharedText(const PlixRowsRoles& answer, const QStringList& roles,
                                    ResponseFormat format) {
    RowsTexts& texts = *m_configuration.rowsTexts;
    const QByteArray known = texts.find(answer, roles, format);
    if (!known.isNull())
        return known;
    const RowsText made = toText(answer, roles, format);
    // Texts with internal rows are not cached, because each such request has to be logged.
    if (!made.hasInternal)
        texts.add(answer, roles, format, made.text);
    return made.text;
}

void ApiResponder::on_setData_finished(const CMVoidReply& reply) {
    dbglog_scopedFunction;
    if (const CMError error = reply.error())
        return respondWithError(error);
    respondWithValue(CMVariantReply(reply).value());
}

void ApiResponder::respondWithValue(const QVariant& value) {
    respondWithText(PlixJson::serialize(value));
}

void ApiResponder::respondWithText(const QByteArray& json) {
    if (json.isNull())
        return respondWithError(CMError::fromMessage(QStringLiteral("The answer is too long")));
    request().setStatus(200, QString());
    request().setResponseBody(json, MimeTypes::Application::json());
    Q_EMIT finished(request().requestId());
}

void ApiResponder::respondWithError(const CMError& error) {
    request().setStatus(500, QString());
    const QHash<QString, QVariant>& record = error;
    request().setResponseBody(PlixJson::serialize(QVariantHash{{QStringLiteral("error"), record}}),
                              MimeTypes::Application::json());
    Q_EMIT finished(request().requestId());
}

bool ApiResponder::failWith(const QString& message) {
    respondWithError(CMError::fromMessage(message));
    return false;
}
