#include "Files/AtomicFile.h"

#include "Files/FileError.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
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

}  // namespace

AtomicFile::AtomicFile(std::filesystem::path destination, Access access)
    : destination_(std::move(destination)),
      temporary_(newNameBeside(destination_)),
      descriptor_(::open(temporary_.path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                         access == Access::owner ? 0600 : 0666)) {
    if (descriptor_.isOpen()) return;
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

void AtomicFile::copyFrom(const std::filesystem::path& source) {
    const Descriptor input(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
    if (!input.isOpen()) throw FileError(source, "cannot open", errno);
    std::array<char, std::size_t{1} << 16> block;
    while (true) {
        const ssize_t count = ::read(input.get(), block.data(), block.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw FileError(source, "cannot read", errno);
        if (count == 0) return;
        write({block.data(), static_cast<std::size_t>(count)});
    }
}

void AtomicFile::commit(Durability durability) {
    // EINVAL: the file system cannot flush single files.
    if (durability != Durability::none && ::fsync(descriptor_.get()) != 0 && errno != EINVAL) fail();
    if (!descriptor_.close() || ::rename(path().c_str(), destination_.c_str()) != 0) fail();
    temporary_.release();
    if (durability == Durability::contentAndName) flushFolderOf(destination_);
}

bool AtomicFile::isTemporaryName(std::string_view name) noexcept {
    return name.size() == prefix.size() + randomLetters && name.starts_with(prefix) &&
           name.find_first_not_of(letters, prefix.size()) == std::string_view::npos;
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
