#include "Demo/FrameMaker.h"

#include "Pixels/Bt709.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace lumenwhirl::demo {
namespace {

constexpr bt709::FixedWeights weights = bt709::fixedWeights(1 << 16);

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
        luma[x] = static_cast<std::uint8_t>((weights.yr * red(pixel) + weights.yg * green(pixel) +
                                             weights.yb * blue(pixel) + (16 << 16) + (1 << 15)) >>
                                            16);
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
            rowU[x / 2] = chroma(weights.cbr, weights.cbg, weights.cbb, sums);
            rowV[x / 2] = chroma(weights.crr, weights.crg, weights.crb, sums);
        }
    }
}

Picture FrameMaker::make(cairo_surface_t* surface, const cairo_region_t* changed) {
    if (cairo_region_is_empty(changed) && latest_) return *latest_;
    for (int i = 0; i < cairo_region_num_rectangles(changed); ++i) {
        cairo_rectangle_int_t area;
        cairo_region_get_rectangle(changed, i, &area);
        convert(surface, area);
    }
    Picture picture = pool_.take(width_, height_, PixelFormat::yuv420p8);
    for (int i = 0; i < 3; ++i) {
        Plane& plane = planes_[static_cast<std::size_t>(i)];
        for (int y = 0; y < plane.height; ++y)
            std::memcpy(picture.mutablePlane(i) + picture.stride(i) * y, plane.row(y),
                        static_cast<std::size_t>(plane.width));
    }
    latest_ = picture;
    return picture;
}

}  // namespace lumenwhirl::demo
