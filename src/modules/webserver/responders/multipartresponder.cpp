// SPDX-License-Identifier: MIT
#include "responders/multipartresponder.h"

// Defined here, so that the virtual table is emitted in one object file.
MultipartResponder::~MultipartResponder() = default;
