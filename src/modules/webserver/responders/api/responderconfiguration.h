#pragma once

#include "responders/api/rowstexts.h"

#include <memory>

// What the data-model API's responders are configured by, and what they share.
struct ResponderConfiguration {
    // Writes by POST must say that they are JSON.
    bool strict = false;
    // Copies of the configuration refer to the same texts.
    std::shared_ptr<RowsTexts> rowsTexts = std::make_shared<RowsTexts>();
};
