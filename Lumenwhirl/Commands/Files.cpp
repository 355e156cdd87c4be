#include "Lumenwhirl/Commands/Files.h"

#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/Terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <random>
#include <utility>
#include <vector>

namespace lumenwhirl {
namespace {

std::filesystem::path temporaryNameBeside(const std::filesystem::path& file) {
    std::random_device random;
    const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
    return folder / (".lumenwhirl-" + std::to_string(random()) + ".tmp");
}

}  // namespace

LumenwhirlPackage openPackage(const std::filesystem::path& path) {
    const Session::OpenedPackage opened = Session::openPackage(path);
    for (const std::string& notice : opened.notices()) tell(notice);
    return opened.package;
}

NewFile::NewFile(std::filesystem::path destination)
    : destination_(std::move(destination)), temporary_(temporaryNameBeside(destination_)) {
    descriptor_ = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ < 0) fail(errno);
}

NewFile::~NewFile() {
    if (descriptor_ < 0) return;
    close(descriptor_);
    unlink(temporary_.c_str());
}

void NewFile::write(std::string_view contents) {
    while (!contents.empty()) {
        const ssize_t written = ::write(descriptor_, contents.data(), contents.size());
        if (written < 0 && errno != EINTR) fail(errno);
        if (written > 0) contents.remove_prefix(static_cast<std::size_t>(written));
    }
}

void NewFile::copyFrom(const std::filesystem::path& source) {
    std::ifstream input(source, std::ios::binary);
    if (!input) throw CommandError(source.string() + ": cannot be opened");
    std::vector<char> block(std::size_t{1} << 16);
    while (input.read(block.data(), static_cast<std::streamsize>(block.size())) || input.gcount() > 0)
        write({block.data(), static_cast<std::size_t>(input.gcount())});
    if (input.bad()) throw CommandError(source.string() + ": cannot be read");
}

void NewFile::commit() {
    // On the disk before it takes its name, so that a power cut leaves the old file or the whole new one.
    if (fsync(descriptor_) != 0 && errno != EINVAL) fail(errno);
    if (rename(temporary_.c_str(), destination_.c_str()) != 0) fail(errno);
    close(std::exchange(descriptor_, -1));
}

void NewFile::fail(int error) const {
    throw CommandError(destination_.string() + ": cannot be written: " + std::strerror(error));
}

}  // namespace lumenwhirl
