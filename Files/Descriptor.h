#pragma once

#include <unistd.h>

#include <filesystem>
#include <utility>

namespace lumenwhirl {

/// Owns a file descriptor; a negative value is none.
class Descriptor {
public:
    explicit Descriptor(int value) noexcept : value_(value) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (value_ >= 0) ::close(value_);
    }
    [[nodiscard]] int get() const noexcept { return value_; }
    [[nodiscard]] bool isOpen() const noexcept { return value_ >= 0; }
    /// False, with `errno`, on an error: some file systems report only here that a write failed.
    [[nodiscard]] bool close() noexcept { return ::close(std::exchange(value_, -1)) == 0; }

private:
    int value_;
};

/// Creates a file for writing that only its owner may open (0600). Fails, with `errno`, where anything of that
/// name is there already, links included, and with EPERM in a folder that belongs to somebody else: in folders
/// that others can write to, they could have prepared it.
[[nodiscard]] Descriptor createNewFile(const std::filesystem::path& file);

}  // namespace lumenwhirl
