// SPDX-License-Identifier: MIT
#include "responders/api/apirequests.h"

#include "core/dbglog.h"
#include "responders/api/apiparameters.h"

#include <optional>

namespace {

const QString keyPath = QStringLiteral("path");
const QString keyRole = QStringLiteral("role");
const QString keyRoles = QStringLiteral("roles");
const QString keyType = QStringLiteral("type");
const QString keyValue = QStringLiteral("value");
const QString keyFrom = QStringLiteral("from");
const QString keyTo = QStringLiteral("to");
const QString keyVersion = QStringLiteral("version");

// Of one request. There are about ten; each that is named again has its value sent again.
constexpr int maximumRoles = 100;

ApiResponder::ResponseFormat formatFrom(const ApiParameters& parameters) {
    return parameters.text(keyType) == QLatin1String("structure") ? ApiResponder::Structure
                                                                  : ApiResponder::Values;
}

QString checkRoles(const QStringList& roles) {
    return roles.size() > maximumRoles ? QStringLiteral("too many roles!") : QString();
}

} // namespace

QString ApiGetDataRequest::read(const ApiParameters& parameters) {
    if (!parameters.contains(keyPath) || !parameters.contains(keyRoles))
        return QStringLiteral("missing path or roles!");
    path = parameters.text(keyPath);
    roles = parameters.list(keyRoles);
    format = formatFrom(parameters);
    return checkRoles(roles);
}

QString ApiGetRowsRequest::read(const ApiParameters& parameters) {
    for (const QString& key : {keyPath, keyRoles, keyFrom, keyTo}) {
        if (!parameters.contains(key))
            return QStringLiteral("missing path, roles, from or to!");
    }
    const auto first = parameters.number(keyFrom);
    const auto last = parameters.number(keyTo);
    const auto wanted =
        parameters.contains(keyVersion) ? parameters.number(keyVersion) : std::optional<int>(-1);
    if (!first || !last || !wanted)
        return QStringLiteral("invalid from or to or version!");
    path = parameters.text(keyPath);
    roles = parameters.list(keyRoles);
    from = *first;
    to = *last;
    version = *wanted;
    format = formatFrom(parameters);
    return checkRoles(roles);
}

QString ApiSetDataRequest::read(const ApiParameters& parameters) {
    QString roleKey = keyRole;
    if (!parameters.contains(keyRole) && parameters.contains(keyRoles)) {
        dbglog_warning("Deprecated use detected: setData with \"roles\" parameter - use \"role\" "
                       "instead");
        roleKey = keyRoles;
    }
    if (!parameters.contains(keyPath) || !parameters.contains(roleKey) ||
        !parameters.contains(keyValue))
        return QStringLiteral("missing path or role or value!");
    PlixError error;
    path = parameters.text(keyPath);
    role = parameters.text(roleKey);
    value = parameters.json(keyValue, &error);
    return error.isEmpty() ? QString()
                           : QStringLiteral("Unable to parse value: ") + error.message();
}
