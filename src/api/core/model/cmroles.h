// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>

// The names under which a node carries its values.
namespace PlixRolesType {
QString Value();
}

namespace PlixRoles {
QString Title();
QString Type();
QString Description();
QString Icon();
QString Modifiable();
QString Minimum();
QString Maximum();
// Boolean: the node or row must not be shown to clients of the network.
QString Internal();
// Writing it makes the node act.
QString Activate();
// Writing a PlixHttpRequest to it makes the node answer an HTTP request.
QString HttpRequest();
} // namespace PlixRoles

// Every role that a client may ask for; PlixRoles::Internal() is not among them.
QStringList CMAllRoles();
