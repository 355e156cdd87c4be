#include "Files/WholeFile.h"

#include "Files/Descriptor.h"
#include "Files/FileError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace lumenwhirl {
namespace {

[[noreturn]] void refuseAsLarger(const std::filesystem::path& file, std::size_t mostBytes) {
    constexpr std::size_t mebibyte = std::size_t{1} << 20, gibibyte = std::size_t{1} << 30;
    const std::string limit = mostBytes % gibibyte == 0   ? std::to_string(mostBytes / gibibyte) + " GiB"
                              : mostBytes % mebibyte == 0 ? std::to_string(mostBytes / mebibyte) + " MiB"
                                                          : std::to_string(mostBytes) + " bytes";
    throw FileError(file, "is larger than " + limit);
}

}  // namespace

std::string readWholeFile(const std::filesystem::path& file, std::size_t mostBytes, std::size_t spareCapacity) {
    // Without O_NONBLOCK a pipe in the file's place would wait for a writer that never comes.
    const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor.isOpen()) throw FileError(file, "cannot open", errno);
    struct stat status {};
    if (::fstat(descriptor.get(), &status) != 0) throw FileError(file, "cannot read", errno);
    if (S_ISDIR(status.st_mode)) throw FileError(file, "is a folder, not a file");
    if (!S_ISREG(status.st_mode)) throw FileError(file, "is not a regular file");
    if (static_cast<std::uintmax_t>(status.st_size) > mostBytes) refuseAsLarger(file, mostBytes);

    // Up to the end, even if the file has grown since its size was asked for.
    const std::size_t spare = std::max<std::size_t>(spareCapacity, 1);
    std::string text(static_cast<std::size_t>(status.st_size) + spare, '\0');
    std::size_t filled = 0;
    while (true) {
        const ssize_t count = ::read(descriptor.get(), text.data() + filled, text.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw FileError(file, "cannot read", errno);
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
        if (filled > mostBytes) refuseAsLarger(file, mostBytes);
        if (text.size() - filled < spare) text.resize(2 * filled + spare);
    }
    text.resize(filled);
    return text;
}

}  // namespace lumenwhirl
