#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace lumenwhirl {

/// Makes pictures of four-byte pixels smaller. One thread at a time.
class PictureScaler {
public:
    struct Pixels {
        const std::uint8_t* data = nullptr;
        std::ptrdiff_t stride = 0;  // bytes
        int width = 0, height = 0;
    };

    PictureScaler();
    ~PictureScaler();
    PictureScaler(PictureScaler&&) noexcept;
    PictureScaler& operator=(PictureScaler&&) noexcept;

    /// Valid until the next call. Sizes above 0, at most 32768. Throws std::bad_alloc.
    [[nodiscard]] Pixels scale(const Pixels& from, int width, int height);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
