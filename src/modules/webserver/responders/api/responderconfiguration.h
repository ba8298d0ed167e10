// SPDX-License-Identifier: MIT
#pragma once

#include "responders/api/rowstexts.h"

#include <memory>

// The configuration and the shared state of the ApiResponders.
struct ResponderConfiguration {
    // A POST to setData must have the content type "application/json".
    bool strict = false;
    // Shared by all copies of the configuration.
    std::shared_ptr<RowsTexts> rowsTexts = std::make_shared<RowsTexts>();
};
