#include "Exporter/TemporaryFile.h"

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <system_error>

namespace lumenwhirl {

TemporaryFile::TemporaryFile(const std::filesystem::path& target, std::string_view purpose) {
    std::random_device random;
    std::error_code ignored;  // in a folder that cannot even be looked into, whoever creates the file finds out
    do {
        const std::uint64_t number = std::uint64_t{random()} << 32 | random();
        path_ = target.parent_path() / (".lumenwhirl-" + std::to_string(number) + "-" + std::string(purpose));
    } while (std::filesystem::exists(std::filesystem::symlink_status(path_, ignored)));
}

TemporaryFile::~TemporaryFile() {
    std::error_code ignored;  // nothing more can be done, and what failed before matters more
    std::filesystem::remove(path_, ignored);
}

void TemporaryFile::create() const {
    errno = 0;
    if (std::ofstream(path_, std::ios::binary)) return;
    throw std::filesystem::filesystem_error("cannot create", path_,
                                            std::error_code(errno != 0 ? errno : EIO, std::generic_category()));
}

void TemporaryFile::moveTo(const std::filesystem::path& target) {
    std::filesystem::rename(path_, target);
}

}  // namespace lumenwhirl
