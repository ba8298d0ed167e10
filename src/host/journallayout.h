#pragma once

#include <log4cplus/layout.h>

// Lines for systemd's journal: it reads the priority in front, and knows the time itself.
class JournalLayout : public log4cplus::PatternLayout {
public:
    JournalLayout();

    // Whether what is written to this descriptor goes to the journal.
    static bool isJournal(int descriptor);

    void formatAndAppend(log4cplus::tostream& output,
                         const log4cplus::spi::InternalLoggingEvent& event) override;
};
