#pragma once

#include <array>
#include <atomic>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

namespace lumenwhirl {

/// BT.709, limited range, left-sited chroma in half as many columns as luma.
enum class PixelFormat {
    yuv420p8,   // planes Y, Cb, Cr; chroma in half the rows too; a byte a sample, luma 16...235
    yuv422p10,  // planes Y, Cb, Cr; 10 bits in a 16-bit word of the machine's byte order, luma 64...940
    nv12,       // as yuv420p8, but Cb and Cr take turns in one plane: what graphics cards encode from
};

/// The planar format whose samples are of this type.
template <class Sample>
struct PictureFormat;
template <>
struct PictureFormat<std::uint8_t> {
    static constexpr PixelFormat pixelFormat = PixelFormat::yuv420p8;  // what is recorded, and most encoders take
    static constexpr int unit = 1;                                     // sample steps to a step of an 8-bit code
    static constexpr int chromaRowsShift = 1;                          // luma rows to chroma rows
    static constexpr int lowest = 0, highest = 255;
};
template <>
struct PictureFormat<std::uint16_t> {
    static constexpr PixelFormat pixelFormat = PixelFormat::yuv422p10;  // for editing
    static constexpr int unit = 4;
    static constexpr int chromaRowsShift = 0;
    // Codes beyond are for synchronisation (Rec. ITU-R BT.709-6, item 5.6).
    static constexpr int lowest = 4, highest = 1019;
};

/// One plane, borrowed. Rows are `stride` samples apart.
template <class Sample>
struct Plane {
    Sample* data = nullptr;
    std::ptrdiff_t stride = 0;
    int width = 0, height = 0;
    [[nodiscard]] Sample* row(int y) const noexcept { return data + stride * y; }
};

/// The planes of a picture of PictureFormat<Sample>, borrowed.
template <class Sample>
struct Planes {
    std::array<Plane<Sample>, 3> planes;
    [[nodiscard]] int width() const noexcept { return planes[0].width; }
    [[nodiscard]] int height() const noexcept { return planes[0].height; }
    [[nodiscard]] Plane<Sample>& operator[](std::size_t index) noexcept { return planes[index]; }
    [[nodiscard]] const Plane<Sample>& operator[](std::size_t index) const noexcept { return planes[index]; }
};

/// One picture in memory, shared: copies refer to the same pixels, which live as long as any of them. Whoever made
/// it may write the pixels until handing it on; from then on everyone only reads.
class Picture {
public:
    /// No picture: no pixels, a size of 0.
    Picture() = default;
    /// Uninitialised pixels, rows aligned for SIMD. Sizes in luma pixels, even (yuv422p10 also of an odd height),
    /// 2...32768. Throws std::bad_alloc.
    Picture(int width, int height, PixelFormat format);
    /// Wraps pixels that belong to somebody else: read-only, kept alive by `owner`. Strides in bytes.
    Picture(int width, int height, PixelFormat format, const std::array<const std::uint8_t*, 3>& planes,
            const std::array<std::ptrdiff_t, 3>& strides, std::shared_ptr<const void> owner);

    Picture(const Picture& other) noexcept : pixels_(other.pixels_) {
        if (pixels_) pixels_->owners.fetch_add(1, std::memory_order_relaxed);
    }
    Picture(Picture&& other) noexcept : pixels_(std::exchange(other.pixels_, nullptr)) {}
    Picture& operator=(Picture other) noexcept {
        std::swap(pixels_, other.pixels_);
        return *this;
    }
    ~Picture() {
        if (pixels_ && pixels_->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) delete pixels_;
    }

    [[nodiscard]] int width() const noexcept { return pixels_ ? pixels_->width : 0; }
    [[nodiscard]] int height() const noexcept { return pixels_ ? pixels_->height : 0; }
    [[nodiscard]] PixelFormat format() const noexcept { return pixels_->format; }
    /// The first sample of a plane, whatever the samples' type.
    [[nodiscard]] const std::uint8_t* plane(int index) const noexcept { return pixels_->data[at(index)]; }
    [[nodiscard]] std::uint8_t* mutablePlane(int index) noexcept {
        assert(pixels_->isOurs);
        return pixels_->data[at(index)];
    }
    [[nodiscard]] std::ptrdiff_t stride(int index) const noexcept { return pixels_->strides[at(index)]; }  // bytes

    /// All planes, typed; of PictureFormat<Sample>. Valid as long as the pixels.
    template <class Sample = std::uint8_t>
    [[nodiscard]] Planes<const Sample> planes() const noexcept {
        return planesAs<const Sample>();
    }
    template <class Sample = std::uint8_t>
    [[nodiscard]] Planes<Sample> mutablePlanes() noexcept {
        assert(pixels_->isOurs);
        return planesAs<Sample>();
    }

    /// True when both refer to the same pixels.
    [[nodiscard]] bool isSame(const Picture& other) const noexcept { return pixels_ == other.pixels_; }
    /// True if nobody else refers to the pixels, so that they may be overwritten. Whatever others did with them
    /// happened before.
    [[nodiscard]] bool isUnshared() const noexcept {
        return pixels_ && pixels_->isOurs && pixels_->owners.load(std::memory_order_acquire) == 1;
    }

    /// A number that the owner of the pixels may keep with them, such as which frame they show; 0 at first.
    [[nodiscard]] std::int64_t& mark() noexcept { return pixels_->mark; }

private:
    struct Pixels {
        // Counted here, not by std::shared_ptr, whose count cannot be read with an order that isUnshared() needs.
        std::atomic<int> owners = 1;
        PixelFormat format = PixelFormat::yuv420p8;
        int width = 0, height = 0;
        std::array<std::uint8_t*, 3> data{};
        std::array<std::ptrdiff_t, 3> strides{};
        std::shared_ptr<const void> owner;
        std::int64_t mark = 0;
        bool isOurs = true;  // allocated here, not somebody else's
    };
    [[nodiscard]] static std::size_t at(int index) noexcept { return static_cast<std::size_t>(index); }

    template <class Sample>
    [[nodiscard]] Planes<Sample> planesAs() const noexcept {
        using Format = PictureFormat<std::remove_const_t<Sample>>;
        assert(pixels_ && pixels_->format == Format::pixelFormat);
        const auto plane = [this](std::size_t index, int width, int height) {
            // Rows are aligned for far larger types.
            return Plane<Sample>{reinterpret_cast<Sample*>(pixels_->data[index]),
                                 pixels_->strides[index] / static_cast<std::ptrdiff_t>(sizeof(Sample)), width,
                                 height};
        };
        const int w = pixels_->width, h = pixels_->height, chromaRows = h >> Format::chromaRowsShift;
        return {{plane(0, w, h), plane(1, w / 2, chromaRows), plane(2, w / 2, chromaRows)}};
    }

    Pixels* pixels_ = nullptr;
};

}  // namespace lumenwhirl
