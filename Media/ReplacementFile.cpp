#include "Media/ReplacementFile.h"

#include "Media/MediaError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <random>
#include <string>
#include <system_error>
#include <utility>

namespace lumenwhirl {
namespace {

/// Random (RFC 9562, 5.4), in capitals.
std::string newUUID() {
    std::random_device random;
    std::string uuid;
    for (int i = 0; i < 32; ++i) {
        if (i == 8 || i == 12 || i == 16 || i == 20) uuid += '-';
        const unsigned digit = i == 12 ? 4 : i == 16 ? 8 + random() % 4 : random() % 16;
        uuid += "0123456789ABCDEF"[digit];
    }
    return uuid;
}

}  // namespace

ReplacementFile::ReplacementFile(std::filesystem::path target)
    : target_(std::move(target)),
      path_(target_.parent_path() / std::string(namePrefix).append(newUUID()).append(".mp4")) {
    const int made = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    check(made);
    ::close(made);
}

ReplacementFile::~ReplacementFile() {
    std::error_code ignored;  // what failed before matters more
    std::filesystem::remove(path_, ignored);
}

void ReplacementFile::commit() {
    const int file = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    check(file);
    const int synced = ::fsync(file);
    ::close(file);
    check(synced);
    check(::rename(path_.c_str(), target_.c_str()));
}

void ReplacementFile::check(int result) const {
    if (result >= 0) return;
    throw MediaError(MediaError::Kind::cannotWrite, target_,
                     "cannot write beside it: " + std::generic_category().message(errno));
}

}  // namespace lumenwhirl
