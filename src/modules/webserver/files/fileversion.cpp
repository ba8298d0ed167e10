// SPDX-License-Identifier: MIT
#include "files/fileversion.h"

#include <ctime>
#include <tuple>

namespace {

// The time stamps of file systems have a resolution of up to two seconds. A second write within
// that time does not change the time stamp.
constexpr time_t settledAfterSeconds = 3;

auto fields(const FileVersion& version) {
    return std::make_tuple(version.device, version.inode, version.size, version.changed.tv_sec,
                           version.changed.tv_nsec);
}

} // namespace

FileVersion FileVersion::of(const struct stat& file) {
    return {file.st_dev, file.st_ino, file.st_size, file.st_ctim};
}

bool FileVersion::operator==(const FileVersion& other) const {
    return fields(*this) == fields(other);
}

bool FileVersion::operator<(const FileVersion& other) const {
    return fields(*this) < fields(other);
}

bool FileVersion::isSettled() const {
    return changed.tv_sec + settledAfterSeconds <= std::time(nullptr);
}
