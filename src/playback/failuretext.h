// SPDX-License-Identifier: MIT
#pragma once

#include "gstreamerptr.h"

#include <QString>

// Why something could not be played, in words for people who do not know GStreamer; without a full
// stop. `isOutput` tells that the output has failed, not the track.
QString failureText(const GError* error, bool isOutput);
// The same for a decoder that is not installed; empty for every other message.
QString missingPluginText(GstMessage* message);
