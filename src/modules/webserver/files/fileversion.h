// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

// Identifies a version of a file. While a name has the same version, it names the same file, and
// nothing has been written to the file. It uses the time of the last status change (ctime), because
// a program can set the modification time back, but not this one.
struct FileVersion {
    dev_t device;
    ino_t inode;
    off_t size;
    timespec changed;

    static FileVersion of(const struct stat& file);
    bool operator==(const FileVersion& other) const;
    bool operator<(const FileVersion& other) const;
    // Whether any later change gives another version. False shortly after a change, because the
    // time stamp is coarse.
    bool isSettled() const;
};
