// SPDX-License-Identifier: MIT
#pragma once

#include <log4cplus/layout.h>

// The layout for systemd's journal: a priority at the beginning of the line, and no time, which the
// journal adds.
class JournalLayout : public log4cplus::PatternLayout {
public:
    JournalLayout();

    // Whether the descriptor is connected to the journal.
    static bool isJournal(int descriptor);

    void formatAndAppend(log4cplus::tostream& output,
                         const log4cplus::spi::InternalLoggingEvent& event) override;
};
