// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmabstractworker.h"
#include "plixexport.h"

// The root worker, through which every data-model request is sent. Owned by the host; null before
// a host has installed one.
PLIX_EXPORT CMAbstractWorker* CMRoot();
