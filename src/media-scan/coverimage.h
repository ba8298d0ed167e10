// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

// A picture from anywhere as a JPEG that fits into a square of `size` pixels; a smaller picture is
// not enlarged. Null when the bytes are no picture, or one of too many pixels.
QByteArray scaledCover(const QByteArray& picture, int size);
