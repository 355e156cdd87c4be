#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace lumenwhirl {

/// A rectangle of pixels in memory: R, G, B, A bytes, 8 bits each; A is not looked at. Rows are `stride` bytes
/// apart.
struct RgbaPixels {
    const std::uint8_t* first = nullptr;
    int width = 0, height = 0;
    std::ptrdiff_t stride = 0;
};

/// The few colours that stand for those of many pictures, and the pictures in those colours, dithered. One thread
/// at a time.
class Palette {
public:
    static constexpr int mostColors = 255;  // of the 256 that an index can tell; the last one stays free

    /// `file` is what errors name.
    explicit Palette(const std::filesystem::path& file);
    ~Palette();
    Palette(Palette&&) noexcept;
    Palette& operator=(Palette&&) noexcept;

    /// Counts the colours of a picture. Memory does not grow with the number of pictures. Throws MediaError
    /// (encoderFailed), as all here.
    void learn(const RgbaPixels& picture);
    /// Chooses the colours from what was learned, at least one picture.
    void choose();
    /// After choose(): 0xAARRGGBB, opaque, at most mostColors.
    [[nodiscard]] std::span<const std::uint32_t> colors() const noexcept;
    /// After choose(): the picture as indices of colours(), row by row without gaps. Valid until the next call.
    [[nodiscard]] const std::uint8_t* map(const RgbaPixels& picture);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
