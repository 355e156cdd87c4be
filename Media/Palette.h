#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace lumenwhirl {

/// A rectangle of pixels in memory: bytes R, G, B, A; A is ignored. Rows are `stride` bytes apart.
struct RgbaPixels {
    const std::uint8_t* first = nullptr;
    int width = 0, height = 0;
    std::ptrdiff_t stride = 0;
};

/// Chooses a few colours for many images, and draws the images in those colours, dithered. One thread at a time.
class Palette {
public:
    static constexpr int mostColors = 255;  // of the 256 indices; the last one stays free

    /// `file` is named in errors.
    explicit Palette(const std::filesystem::path& file);
    ~Palette();
    Palette(Palette&&) noexcept;
    Palette& operator=(Palette&&) noexcept;

    /// Counts the colours of an image. Memory does not grow with the number of images. Throws MediaError
    /// (encoderFailed), like everything here.
    void learn(const RgbaPixels& picture);
    /// Chooses the colours from what was learned: at least one image.
    void choose();
    /// After choose(): 0xAARRGGBB, opaque, at most mostColors.
    [[nodiscard]] std::span<const std::uint32_t> colors() const noexcept;
    /// After choose(): the image as indices into colors(), row by row without gaps. Valid until the next call.
    [[nodiscard]] const std::uint8_t* map(const RgbaPixels& picture);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
