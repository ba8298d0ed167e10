// SPDX-License-Identifier: MIT
#pragma once

#include <QMetaType>
#include <QVariantHash>

// Where the library stands.
struct LibraryProgress {
    enum class State {
        // There is no folder.
        Off,
        Idle,
        Scanning,
        // Ended before its end by a client.
        Cancelled,
        // The folder is not there.
        Away,
        // Files cannot be read, because the program does not run.
        Broken,
    };

    State state = State::Off;
    // Audio files in the folder; those of them that were read, now or earlier; and those that
    // could not be.
    int found = 0;
    int read = 0;
    int failed = 0;

    // The members under their names, the state as text.
    QVariantHash value() const;
};

Q_DECLARE_METATYPE(LibraryProgress)
