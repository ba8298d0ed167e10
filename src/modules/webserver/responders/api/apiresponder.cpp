#include "responders/api/apiresponder.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/model/cmglobal.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmvalues.h"
#include "core/plixjson.h"
#include "core/plixvalue.h"
#include "request.h"
#include "responders/legacypathhelper.h"

namespace {

const QString keyPath = QStringLiteral("path");
const QString keyRole = QStringLiteral("role");
const QString keyRoles = QStringLiteral("roles");
const QString keyType = QStringLiteral("type");
const QString keyValue = QStringLiteral("value");
const QString keyFrom = QStringLiteral("from");
const QString keyTo = QStringLiteral("to");
const QString keyVersion = QStringLiteral("version");

const QString missingForGetData = QStringLiteral("missing path or roles!");
const QString missingForGetRows = QStringLiteral("missing path, roles, from or to!");
const QString missingForSetData = QStringLiteral("missing path or role or value!");
const QString invalidNumber = QStringLiteral("invalid from or to or version!");

// Of one request. There are about ten; each that is named again has its value sent again.
constexpr int maximumRoles = 100;

bool isTrue(const QVariant& internal) {
    return CMValues::scalar(internal).toBool();
}

ApiResponder::ResponseFormat formatFrom(const QString& type) {
    return type == QLatin1String("structure") ? ApiResponder::Structure : ApiResponder::Values;
}

CMPath pathFrom(const QString& path) {
    return LegacyPathHelper::fromLegacy(CMPath::fromEncoded(path));
}

// Completes the roles of a reading request: all roles are given by name, and the last one asks
// whether the node is internal.
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

// Takes the last value, the internal role, off the row; leaves of an internal row nothing but its
// place. True when it was internal.
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

// In place, because a row of its own for each would double the work. True when it was internal.
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

bool ApiResponder::parseGetDataRequest(QString* path, QStringList* roles, ResponseFormat* format) {
    const QByteArray method = request().method();
    if (method == "GET")
        return parseGetDataRequestGet(path, roles, format);
    if (method == "POST")
        return parseGetDataRequestPost(path, roles, format);
    return failWith(QStringLiteral("Invalid method!"));
}

bool ApiResponder::parseGetDataRequestGet(QString* path, QStringList* roles,
                                          ResponseFormat* format) {
    const PlixUrl& url = request().url();
    const QString rolesText = url.queryItemValue(keyRoles);
    *path = url.queryItemValue(keyPath);
    if (path->isNull() || rolesText.isNull())
        return failWith(missingForGetData);
    *roles = rolesText.split(QLatin1Char(','));
    *format = formatFrom(url.queryItemValue(keyType));
    return true;
}

bool ApiResponder::parseGetDataRequestPost(QString* path, QStringList* roles,
                                           ResponseFormat* format) {
    const QVariantHash& data = request().postData();
    if (!data.contains(keyPath) || !data.contains(keyRoles))
        return failWith(missingForGetData);
    *path = data.value(keyPath).toString();
    *roles = data.value(keyRoles).toStringList();
    *format = formatFrom(data.value(keyType).toString());
    return true;
}

bool ApiResponder::parseGetRowsRequest(QString* path, QStringList* roles, int* from, int* to,
                                       int* version, ResponseFormat* format) {
    const QByteArray method = request().method();
    if (method == "GET")
        return parseGetRowsRequestGet(path, roles, from, to, version, format);
    if (method == "POST")
        return parseGetRowsRequestPost(path, roles, from, to, version, format);
    return failWith(QStringLiteral("Invalid method!"));
}

bool ApiResponder::parseGetRowsRequestGet(QString* path, QStringList* roles, int* from, int* to,
                                          int* version, ResponseFormat* format) {
    const PlixUrl& url = request().url();
    const QString rolesText = url.queryItemValue(keyRoles);
    const QString fromText = url.queryItemValue(keyFrom);
    const QString toText = url.queryItemValue(keyTo);
    const QString versionText = url.queryItemValue(keyVersion);
    *path = url.queryItemValue(keyPath);
    if (path->isNull() || rolesText.isNull() || fromText.isNull() || toText.isNull())
        return failWith(missingForGetRows);
    bool fromOk = false;
    bool toOk = false;
    bool versionOk = true;
    *from = fromText.toInt(&fromOk);
    *to = toText.toInt(&toOk);
    *version = versionText.isNull() ? -1 : versionText.toInt(&versionOk);
    if (!fromOk || !toOk || !versionOk)
        return failWith(invalidNumber);
    *roles = rolesText.split(QLatin1Char(','));
    *format = formatFrom(url.queryItemValue(keyType));
    return true;
}

bool ApiResponder::parseGetRowsRequestPost(QString* path, QStringList* roles, int* from, int* to,
                                           int* version, ResponseFormat* format) {
    const QVariantHash& data = request().postData();
    for (const QString& key : {keyPath, keyRoles, keyFrom, keyTo}) {
        if (!data.contains(key))
            return failWith(missingForGetRows);
    }
    bool fromOk = false;
    bool toOk = false;
    bool versionOk = true;
    *from = plixToInt(data.value(keyFrom), &fromOk);
    *to = plixToInt(data.value(keyTo), &toOk);
    *version = data.contains(keyVersion) ? plixToInt(data.value(keyVersion), &versionOk) : -1;
    if (!fromOk || !toOk || !versionOk)
        return failWith(invalidNumber);
    *path = data.value(keyPath).toString();
    *roles = data.value(keyRoles).toStringList();
    *format = formatFrom(data.value(keyType).toString());
    return true;
}

bool ApiResponder::parseSetDataRequest(QString* path, QString* role, QVariant* value) {
    const QByteArray method = request().method();
    if (method == "GET")
        return parseSetDataRequestGet(path, role, value);
    if (method == "POST")
        return parseSetDataRequestPost(path, role, value);
    return failWith(QStringLiteral("Invalid method!"));
}

bool ApiResponder::parseSetDataRequestGet(QString* path, QString* role, QVariant* value) {
    const PlixUrl& url = request().url();
    const QString valueText = url.queryItemValue(keyValue);
    *path = url.queryItemValue(keyPath);
    *role = url.queryItemValue(keyRole);
    if (role->isNull() && url.hasQueryItem(keyRoles)) {
        dbglog_warning("Deprecated use detected: setData with \"roles\" parameter - use \"role\" "
                       "instead");
        *role = url.queryItemValue(keyRoles);
    }
    if (path->isNull() || role->isNull() || valueText.isNull())
        return failWith(missingForSetData);
    PlixError error;
    *value = PlixJson::parse(valueText, error);
    if (!error.isEmpty())
        return failWith(QStringLiteral("Unable to parse value: ") + error.message());
    return true;
}

bool ApiResponder::parseSetDataRequestPost(QString* path, QString* role, QVariant* value) {
    if (m_configuration.strict && request().requestContentType() != "application/json")
        return failWith(QStringLiteral("invalid request content type"));
    const QVariantHash& data = request().postData();
    QString roleKey = keyRole;
    if (!data.contains(keyRole) && data.contains(keyRoles)) {
        dbglog_warning("Deprecated use detected: setData with \"roles\" parameter - use \"role\" "
                       "instead");
        roleKey = keyRoles;
    }
    if (!data.contains(keyPath) || !data.contains(roleKey) || !data.contains(keyValue))
        return failWith(missingForSetData);
    *path = data.value(keyPath).toString();
    *role = data.value(roleKey).toString();
    *value = data.value(keyValue);
    return true;
}

bool ApiResponder::checkRoles(const QStringList& roles) {
    return roles.size() <= maximumRoles || failWith(QStringLiteral("too many roles!"));
}

void ApiResponder::getData() {
    QString path;
    QStringList roles;
    ResponseFormat format = Values;
    if (!parseGetDataRequest(&path, &roles, &format) || !checkRoles(roles))
        return;
    completeRoles(&roles, &format);
    const CMReply<QList<QVariant>> reply;
    CMRoot()->getData(pathFrom(path), roles, reply);
    reply.addWatcher(this, [this, format, roles](const CMVoidReply& finishedReply) {
        on_getData_finished(finishedReply, format, roles);
    });
}

void ApiResponder::getRows() {
    QString path;
    QStringList roles;
    int from = 0;
    int to = 0;
    int version = -1;
    ResponseFormat format = Values;
    if (!parseGetRowsRequest(&path, &roles, &from, &to, &version, &format) || !checkRoles(roles))
        return;
    completeRoles(&roles, &format);
    const CMReply<PlixRowsRoles> reply;
    CMRoot()->getRows(pathFrom(path), from, to, version, roles, reply);
    reply.addWatcher(this, [this, format, roles](const CMVoidReply& finishedReply) {
        on_getRows_finished(finishedReply, format, roles);
    });
}

void ApiResponder::setData() {
    QString encodedPath;
    QString role;
    QVariant value;
    if (!parseSetDataRequest(&encodedPath, &role, &value))
        return;
    // A worker trusts the pipe and the addresses in a request, and answers with paths of files.
    // Only the web server itself makes requests.
    if (role == PlixRoles::HttpRequest())
        return respondWithError(CMError::fromName(
            CMErrorNames::notModifiable(),
            QStringLiteral("Role \"%1\" of \"%2\" cannot be modified").arg(role, encodedPath)));
    const CMPath path = pathFrom(encodedPath);
    const CMReply<QList<QVariant>> reply;
    CMRoot()->getData(path, {PlixRoles::Internal()}, reply);
    reply.onFinished(this, [=](const CMReply<QList<QVariant>>& finishedReply) {
        checkInternal(finishedReply, path, role, value);
    });
}

void ApiResponder::checkInternal(const CMReply<QList<QVariant>>& reply, const CMPath& path,
                                 const QString& role, const QVariant& value) {
    // A node may exist for its activation only and have nothing to read.
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
    // A record that nobody else holds cannot come again, and is changed without a copy.
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
    // Every request that meets internal rows is to be logged.
    if (!made.hasInternal)
        texts.keep(answer, roles, format, made.text);
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
