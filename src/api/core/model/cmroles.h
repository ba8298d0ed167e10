// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QStringList>

// The names under which a node carries its values.
namespace PlixRolesType {
PLIX_EXPORT QString Value();
}

namespace PlixRoles {
PLIX_EXPORT QString Title();
PLIX_EXPORT QString Type();
PLIX_EXPORT QString Description();
PLIX_EXPORT QString Icon();
PLIX_EXPORT QString Modifiable();
PLIX_EXPORT QString Minimum();
PLIX_EXPORT QString Maximum();
// Boolean: the node or row must not be shown to clients of the network.
PLIX_EXPORT QString Internal();
// Writing it makes the node act.
PLIX_EXPORT QString Activate();
// Writing a PlixHttpRequest to it makes the node answer an HTTP request.
PLIX_EXPORT QString HttpRequest();
} // namespace PlixRoles

// Every role that a client may ask for; PlixRoles::Internal() is not among them.
PLIX_EXPORT QStringList CMAllRoles();
