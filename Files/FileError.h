#pragma once

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace lumenwhirl {

/// Something is wrong with a file. what() is one line: "<file>: <problem>".
class FileError : public std::runtime_error {
public:
    FileError(const std::filesystem::path& file, const std::string& problem)
        : std::runtime_error(file.string() + ": " + problem), fileLength_(file.native().size()) {}
    /// A system call failed: the problem is "<action>: <the system's words>".
    FileError(const std::filesystem::path& file, const std::string& action, int errorNumber)
        : FileError(file, action + ": " + std::generic_category().message(errorNumber)) {
        errorNumber_ = errorNumber;
    }

    [[nodiscard]] std::filesystem::path file() const { return {std::string(what(), fileLength_)}; }
    [[nodiscard]] const char* problem() const noexcept { return what() + fileLength_ + 2; }
    /// The `errno` of a system call that failed, else 0.
    [[nodiscard]] int errorNumber() const noexcept { return errorNumber_; }

private:
    std::size_t fileLength_;  // its name and the problem stay in what(), so that copying cannot throw
    int errorNumber_ = 0;
};

}  // namespace lumenwhirl
