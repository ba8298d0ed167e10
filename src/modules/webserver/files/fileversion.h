#pragma once

#include <sys/stat.h>

// Of a file: as long as it stays the same, a name means the very file that it meant before, and
// nothing has been written to it. The time of its last change comes from the system alone: unlike
// that of the last modification nobody can set it back.
struct FileVersion {
    dev_t device;
    ino_t inode;
    off_t size;
    timespec changed;

    static FileVersion of(const struct stat& file);
    bool operator==(const FileVersion& other) const;
    bool operator<(const FileVersion& other) const;
    // Whether a change from now on would give another version.
    bool isSettled() const;
};
