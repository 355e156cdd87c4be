#include "Demo/FrameMaker.h"

#include "Pixels/Bt709.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace lumenwhirl::demo {
namespace {

constexpr bt709::FixedWeights weights = bt709::fixedWeights(1 << 16);

struct Rgb {
    int red, green, blue;
    explicit Rgb(std::uint32_t pixel)
        : red(static_cast<int>(pixel >> 16U & 255U)),
          green(static_cast<int>(pixel >> 8U & 255U)),
          blue(static_cast<int>(pixel & 255U)) {}
    void add(const Rgb& other, int weight) {
        red += weight * other.red;
        green += weight * other.green;
        blue += weight * other.blue;
    }
};

void convertLuma(const std::uint32_t* pixels, std::uint8_t* luma, int count) {
    for (int x = 0; x < count; ++x) {
        const Rgb color(pixels[x]);
        luma[x] = static_cast<std::uint8_t>(
            (weights.yr * color.red + weights.yg * color.green + weights.yb * color.blue + (16 << 16) + (1 << 15)) >> 16);
    }
}

/// Of two rows, weighted 1 2 1 around column `x`: 8 times the mean at a left-sited chroma sample.
Rgb sumAt(const std::uint32_t* upper, const std::uint32_t* lower, int x, int last) {
    Rgb sum(0);
    for (const std::uint32_t* const row : {upper, lower}) {
        sum.add(Rgb(row[std::max(x - 1, 0)]), 1);
        sum.add(Rgb(row[x]), 2);
        sum.add(Rgb(row[std::min(x + 1, last)]), 1);
    }
    return sum;
}

std::uint8_t chroma(int r, int g, int b, const Rgb& sum) {
    return static_cast<std::uint8_t>((r * sum.red + g * sum.green + b * sum.blue + (128 << 19) + (1 << 18)) >> 19);
}

}  // namespace

FrameMaker::FrameMaker(int width, int height)
    : picture_(width, height, PixelFormat::yuv420p8) {}

void FrameMaker::convert(cairo_surface_t* surface, cairo_rectangle_int_t area) {
    const int width = picture_.width(), height = picture_.height();
    // Chroma samples take in their neighbours on both sides.
    const int left = std::max(area.x - 1, 0) / 2 * 2, right = std::min((area.x + area.width + 2) / 2 * 2, width);
    const int top = area.y / 2 * 2, bottom = std::min((area.y + area.height + 1) / 2 * 2, height);
    const auto pixelRow = [pixels = cairo_image_surface_get_data(surface),
                           stride = std::ptrdiff_t{cairo_image_surface_get_stride(surface)}](int y) {
        return reinterpret_cast<const std::uint32_t*>(pixels + stride * y);
    };
    const auto planeRow = [this](int plane, int y) {
        return picture_.mutablePlane(plane) + picture_.stride(plane) * y;
    };
    for (int y = top; y < bottom; y += 2) {
        const std::uint32_t *const upper = pixelRow(y), *const lower = pixelRow(y + 1);
        convertLuma(upper + left, planeRow(0, y) + left, right - left);
        convertLuma(lower + left, planeRow(0, y + 1) + left, right - left);
        std::uint8_t *const rowU = planeRow(1, y / 2), *const rowV = planeRow(2, y / 2);
        for (int x = left; x < right; x += 2) {
            const Rgb sum = sumAt(upper, lower, x, width - 1);
            rowU[x / 2] = chroma(weights.cbr, weights.cbg, weights.cbb, sum);
            rowV[x / 2] = chroma(weights.crr, weights.crg, weights.crb, sum);
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
    Picture frame = pool_.take(picture_.width(), picture_.height(), PixelFormat::yuv420p8);
    for (int plane = 0; plane < 3; ++plane) {
        const int divisor = plane == 0 ? 1 : 2;
        for (int y = 0; y < frame.height() / divisor; ++y)
            std::memcpy(frame.mutablePlane(plane) + frame.stride(plane) * y,
                        picture_.plane(plane) + picture_.stride(plane) * y,
                        static_cast<std::size_t>(frame.width() / divisor));
    }
    latest_ = frame;
    return frame;
}

}  // namespace lumenwhirl::demo
