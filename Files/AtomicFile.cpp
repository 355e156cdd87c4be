#include "Files/AtomicFile.h"

#include "Files/FileError.h"
#include "Files/WholeFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <ctime>
#include <random>
#include <string>
#include <utility>

namespace lumenwhirl {
namespace {

// Short and without the destination's name, so that any name the file system takes can be written.
constexpr std::string_view prefix = ".lumenwhirl-";
constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz234567";
constexpr std::size_t randomLetters = 12;  // 60 bits

std::filesystem::path newNameBeside(const std::filesystem::path& destination) {
    std::random_device random;
    std::string name(prefix);
    for (std::size_t i = 0; i < randomLetters; ++i) name += letters[random() % letters.size()];
    return destination.parent_path() / name;
}

constexpr const char* openFiles = "/proc/self/fd";

/// What the umask leaves of 0666. umask() itself tells only by changing it, for all threads.
mode_t modeLeftByUmask() noexcept {
    constexpr std::string_view key = "\nUmask:\t";
    unsigned mask = 077;  // where the system does not tell
    try {
        const std::string status = readWholeFile("/proc/self/status", std::size_t{1} << 20);
        const std::size_t at = status.find(key);
        if (at != std::string::npos)
            std::from_chars(status.data() + at + key.size(), status.data() + status.size(), mask, 8);
    } catch (const std::exception&) {
    }
    return 0666 & ~mask;
}

}  // namespace

AtomicFile::AtomicFile(std::filesystem::path destination, Access access)
    : destination_(std::move(destination)),
      access_(access),
      temporary_(newNameBeside(destination_)),
      descriptor_(::open(temporary_.path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)),
      path_(std::filesystem::path(openFiles) / std::to_string(descriptor_.get())) {
    if (descriptor_.isOpen()) {
        // Until it is closed, or the process ends. File systems without locks keep leftovers.
        static_cast<void>(::flock(descriptor_.get(), LOCK_EX | LOCK_NB));
        return;
    }
    const int errorNumber = errno;
    temporary_.release();  // if there is such a file, it is another's
    throw FileError(destination_, "cannot write", errorNumber);
}

void AtomicFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor_.get(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) fail();
        if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void AtomicFile::commit(Durability durability) {
    // Not every file system lets its files' modes be changed; the content matters more.
    if (access_ == Access::umask) static_cast<void>(::fchmod(descriptor_.get(), modeLeftByUmask()));
    // EINVAL: the file system cannot flush single files.
    if (durability != Durability::none && ::fsync(descriptor_.get()) != 0 && errno != EINVAL) fail();
    if (!descriptor_.close() || ::rename(temporary_.path().c_str(), destination_.c_str()) != 0) fail();
    temporary_.release();
    if (durability == Durability::contentAndName) flushFolderOf(destination_);
}

bool AtomicFile::isPathOfOne(const std::filesystem::path& file) {
    return file.parent_path() == openFiles;
}

bool AtomicFile::isTemporaryName(std::string_view name) noexcept {
    return name.size() == prefix.size() + randomLetters && name.starts_with(prefix) &&
           name.find_first_not_of(letters, prefix.size()) == std::string_view::npos;
}

void AtomicFile::removeLeftoversBeside(const std::filesystem::path& destination) noexcept try {
    const auto parent = destination.parent_path();
    for (const auto& entry : std::filesystem::directory_iterator(parent.empty() ? "." : parent)) {
        if (!isTemporaryName(entry.path().filename().string())) continue;
        const Descriptor file(::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        struct stat status {};
        if (!file.isOpen() || ::fstat(file.get(), &status) != 0) continue;
        // An empty one may be so new that its owner has not locked it yet.
        const bool isSettled = status.st_size > 0 || std::time(nullptr) - status.st_mtime > 60;
        const bool isOurs = S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && isSettled;
        if (isOurs && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) ::unlink(entry.path().c_str());
    }
} catch (const std::exception&) {  // a folder that cannot be listed: nothing depends on it
}

void AtomicFile::fail() const {
    throw FileError(destination_, "cannot write", errno);
}

void flushFolderOf(const std::filesystem::path& file) {
    const auto parent = file.parent_path();
    const Descriptor folder(::open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // EINVAL: some network file systems do not flush folders. EACCES: a folder may be writable but not readable,
    // and cannot be opened then; the new file is in place.
    if (folder.isOpen() ? ::fsync(folder.get()) == 0 || errno == EINVAL : errno == EACCES) return;
    throw FileError(file, "cannot flush its folder to disk", errno);
}

}  // namespace lumenwhirl
