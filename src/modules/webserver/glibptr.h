// SPDX-License-Identifier: MIT
#pragma once

#include "support/glibptr.h"
