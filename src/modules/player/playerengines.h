// SPDX-License-Identifier: MIT
#pragma once

#include "playerengine.h"

#include <memory>

// The engine that the device's settings choose.
//
//   settings:/player/engine  "clock" or "gstreamer"
//   settings:/player/output  for GStreamer: where the sound goes, as gst-launch-1.0 takes it
std::unique_ptr<PlayerEngine> makePlayerEngine(const QString& stateDirectory);
