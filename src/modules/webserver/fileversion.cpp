#include "fileversion.h"

#include <ctime>

namespace {

// File systems count the time in steps of up to two seconds, within which a file may be written
// again unseen.
constexpr time_t settledAfterSeconds = 3;

} // namespace

FileVersion FileVersion::of(const struct stat& file) {
    return {file.st_dev, file.st_ino, file.st_size, file.st_ctim};
}

bool FileVersion::operator==(const FileVersion& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
}

bool FileVersion::isSettled() const {
    return changed.tv_sec + settledAfterSeconds <= std::time(nullptr);
}
