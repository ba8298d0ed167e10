// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmabstractworker.h"

// The root worker, through which every data-model request is sent. Owned by the host; null before
// a host has installed one.
CMAbstractWorker* CMRoot();
