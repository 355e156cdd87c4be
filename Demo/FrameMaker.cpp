#include "Demo/FrameMaker.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace lumenwhirl::demo {
namespace {

// BT.709 with limited range, in units of 1/65536: luma 16...235 from 0.2126 R + 0.7152 G + 0.0722 B,
// chroma 16...240 from (B - Y) / 1.8556 and (R - Y) / 1.5748.
constexpr double kr = 0.2126, kg = 0.7152, kb = 0.0722, one = 65536;
constexpr int fixed(double value) {
    return static_cast<int>(value < 0 ? value - 0.5 : value + 0.5);
}
constexpr int yr = fixed(kr * 219 / 255 * one), yg = fixed(kg * 219 / 255 * one), yb = fixed(kb * 219 / 255 * one);
constexpr double u = 224 / 255.0 / 1.8556 * one, v = 224 / 255.0 / 1.5748 * one;
constexpr int ur = fixed(-kr * u), ug = fixed(-kg * u), ub = -ur - ug;  // grey has no chroma, exactly
constexpr int vg = fixed(-kg * v), vb = fixed(-kb * v), vr = -vg - vb;

constexpr int red(std::uint32_t pixel) {
    return static_cast<int>(pixel >> 16U & 255U);
}
constexpr int green(std::uint32_t pixel) {
    return static_cast<int>(pixel >> 8U & 255U);
}
constexpr int blue(std::uint32_t pixel) {
    return static_cast<int>(pixel & 255U);
}

void convertLuma(const std::uint32_t* pixels, std::uint8_t* luma, int count) {
    for (int x = 0; x < count; ++x) {
        const std::uint32_t pixel = pixels[x];
        luma[x] = static_cast<std::uint8_t>(
            (yr * red(pixel) + yg * green(pixel) + yb * blue(pixel) + (16 << 16) + (1 << 15)) >> 16);
    }
}

/// The sums of two rows' channels, weighted 1 2 1 around column `x`: 8 times the mean at a left-sited chroma
/// sample.
struct Sums {
    int red = 0, green = 0, blue = 0;
};

Sums sumsAt(const std::uint32_t* upper, const std::uint32_t* lower, int x, int last) {
    const int left = std::max(x - 1, 0), right = std::min(x + 1, last);
    Sums sums;
    for (const std::uint32_t* const row : {upper, lower}) {
        sums.red += red(row[left]) + 2 * red(row[x]) + red(row[right]);
        sums.green += green(row[left]) + 2 * green(row[x]) + green(row[right]);
        sums.blue += blue(row[left]) + 2 * blue(row[x]) + blue(row[right]);
    }
    return sums;
}

std::uint8_t chroma(int r, int g, int b, const Sums& sums) {
    return static_cast<std::uint8_t>((r * sums.red + g * sums.green + b * sums.blue + (128 << 19) + (1 << 18)) >>
                                     19);
}

}  // namespace

FrameMaker::FrameMaker(int width, int height) : width_(width), height_(height) {
    assert(width % 2 == 0 && height % 2 == 0);
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const int divisor = i == 0 ? 1 : 2;
        planes_[i] = {width / divisor, height / divisor, {}};
        planes_[i].samples.resize(static_cast<std::size_t>(planes_[i].width) *
                                  static_cast<std::size_t>(planes_[i].height));
    }
}

void FrameMaker::convert(cairo_surface_t* surface, cairo_rectangle_int_t area) {
    // Chroma samples take in their neighbours on both sides.
    const int left = std::max(area.x - 1, 0) / 2 * 2, right = std::min((area.x + area.width + 2) / 2 * 2, width_);
    const int top = area.y / 2 * 2, bottom = std::min((area.y + area.height + 1) / 2 * 2, height_);
    const unsigned char* const pixels = cairo_image_surface_get_data(surface);
    const std::ptrdiff_t stride = cairo_image_surface_get_stride(surface);
    const auto pixelRow = [pixels, stride](int y) {
        return reinterpret_cast<const std::uint32_t*>(pixels + stride * y);
    };
    for (int y = top; y < bottom; y += 2) {
        const std::uint32_t *const upper = pixelRow(y), *const lower = pixelRow(y + 1);
        convertLuma(upper + left, planes_[0].row(y) + left, right - left);
        convertLuma(lower + left, planes_[0].row(y + 1) + left, right - left);
        std::uint8_t *const rowU = planes_[1].row(y / 2), *const rowV = planes_[2].row(y / 2);
        for (int x = left; x < right; x += 2) {
            const Sums sums = sumsAt(upper, lower, x, width_ - 1);
            rowU[x / 2] = chroma(ur, ug, ub, sums);
            rowV[x / 2] = chroma(vr, vg, vb, sums);
        }
    }
}

VideoFrame& FrameMaker::unsharedFrame() {
    const auto free =
        std::find_if(frames_.begin(), frames_.end(), [](const VideoFrame& f) { return f.isUnshared(); });
    if (free != frames_.end()) {
        current_ = static_cast<std::size_t>(free - frames_.begin());
    } else {
        current_ = frames_.size();
        frames_.push_back(VideoFrame::allocate(width_, height_, PixelFormat::yuv420p8));
    }
    return frames_[current_];
}

const VideoFrame& FrameMaker::make(cairo_surface_t* surface, const cairo_region_t* changed) {
    if (cairo_region_is_empty(changed) && !frames_.empty()) return frames_[current_];
    for (int i = 0; i < cairo_region_num_rectangles(changed); ++i) {
        cairo_rectangle_int_t area;
        cairo_region_get_rectangle(changed, i, &area);
        convert(surface, area);
    }
    VideoFrame& frame = unsharedFrame();
    for (int i = 0; i < 3; ++i) {
        Plane& plane = planes_[static_cast<std::size_t>(i)];
        for (int y = 0; y < plane.height; ++y)
            std::memcpy(frame.mutablePlane(i) + frame.stride(i) * y, plane.row(y),
                        static_cast<std::size_t>(plane.width));
    }
    return frame;
}

}  // namespace lumenwhirl::demo
