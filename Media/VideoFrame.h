#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

struct AVFrame;

namespace lumenwhirl {

/// An exact fraction; as a time base, seconds per tick.
struct Rational {
    int numerator = 0, denominator = 1;
    [[nodiscard]] double value() const noexcept { return static_cast<double>(numerator) / denominator; }
    bool operator==(const Rational&) const = default;
};

/// All planar, planes Y, U, V; BT.709, limited range, left-sited chroma.
enum class PixelFormat {
    yuv420p8,   // chroma halved both ways; a byte a sample, luma 16...235
    yuv422p10,  // chroma halved across; 10 bits in a 16-bit word of the machine's byte order, luma 64...940
};

/// One picture in memory, shared: copies refer to the same pixels. Whoever allocated it may write the pixels
/// until handing it on; afterwards everyone only reads. The pixels live as long as any copy.
class VideoFrame {
public:
    /// Uninitialised pixels, rows aligned for SIMD. Sizes in luma pixels, even (4:2:2 also of an odd height),
    /// 2...32768. Throws std::bad_alloc.
    [[nodiscard]] static VideoFrame allocate(int width, int height, PixelFormat format);

    [[nodiscard]] int width() const noexcept;
    [[nodiscard]] int height() const noexcept;
    [[nodiscard]] PixelFormat format() const noexcept { return format_; }
    /// The first sample of a plane, whatever the samples' type.
    [[nodiscard]] const std::uint8_t* plane(int index) const noexcept;
    [[nodiscard]] std::uint8_t* mutablePlane(int index) noexcept;
    [[nodiscard]] std::ptrdiff_t stride(int index) const noexcept;  // bytes
    /// True while no other copy, nor an encoder, refers to the pixels, so that they may be drawn anew.
    [[nodiscard]] bool isUnshared() const noexcept;

    /// Presentation time in ticks of the reader's time base, and in seconds.
    [[nodiscard]] std::int64_t pts() const noexcept { return pts_; }
    [[nodiscard]] double time() const noexcept { return time_; }

private:
    friend class VideoReader;
    friend class VideoWriter;
    friend class LiveWriter;
    std::shared_ptr<AVFrame> frame_;
    PixelFormat format_ = PixelFormat::yuv420p8;
    std::int64_t pts_ = 0;
    double time_ = 0;
};

}  // namespace lumenwhirl
