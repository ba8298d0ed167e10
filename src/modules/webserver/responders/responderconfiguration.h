#pragma once

// What the data-model API's responders are configured by.
struct ResponderConfiguration {
    // Writes by POST must say that they are JSON.
    bool strict = false;
};
