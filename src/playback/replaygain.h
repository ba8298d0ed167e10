// SPDX-License-Identifier: MIT
#pragma once

#include "gstreamerptr.h"

#include <QString>

// How loud a track is to be made by what its tags say, so that all sound equally loud.
class ReplayGain {
public:
    enum class Mode { Off, Track, Album };
    // Off for an unknown name.
    static Mode modeNamed(const QString& name);

    // Takes what the tags say; they can come in several pieces.
    void learn(const GstTagList* tags);
    // What the samples are multiplied by. Where the mode's own values are missing, those of the
    // other count; without any it is 1. Never so much that the loudest sample would be cut off.
    double factor(Mode mode) const;

private:
    struct Values {
        bool isKnown = false;
        double decibels = 0;
        // The loudest sample, 1 for full scale.
        double peak = 0;
    };

    void learnOpusTag(const char* comment);

    Values m_track;
    Values m_album;
};
