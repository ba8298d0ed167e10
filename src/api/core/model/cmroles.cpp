// SPDX-License-Identifier: MIT
#include "core/model/cmroles.h"

QString PlixRolesType::Value() {
    return QStringLiteral("value");
}

QString PlixRoles::Title() {
    return QStringLiteral("title");
}

QString PlixRoles::Type() {
    return QStringLiteral("type");
}

QString PlixRoles::Description() {
    return QStringLiteral("description");
}

QString PlixRoles::Icon() {
    return QStringLiteral("icon");
}

QString PlixRoles::Modifiable() {
    return QStringLiteral("modifiable");
}

QString PlixRoles::Minimum() {
    return QStringLiteral("minimum");
}

QString PlixRoles::Maximum() {
    return QStringLiteral("maximum");
}

QString PlixRoles::Internal() {
    return QStringLiteral("internal");
}

QString PlixRoles::Activate() {
    return QStringLiteral("activate");
}

QString PlixRoles::HttpRequest() {
    return QStringLiteral("httpRequest");
}

QStringList CMAllRoles() {
    static const QStringList roles{PlixRoles::Title(),       PlixRoles::Type(),
                                   PlixRoles::Description(), PlixRoles::Icon(),
                                   PlixRolesType::Value(),   PlixRoles::Modifiable(),
                                   PlixRoles::Minimum(),     PlixRoles::Maximum(),
                                   PlixRoles::Activate(),    PlixRoles::HttpRequest()};
    return roles;
}
