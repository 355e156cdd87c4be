#include "Tests/Compositor/Composing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numbers>
#include <optional>
#include <vector>

namespace lumenwhirl {
namespace {

/// One plane in full precision.
struct Field {
    int width = 0, height = 0;
    std::vector<double> samples;
    Field(int w, int h)
        : width(w), height(h), samples(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}
    double& at(int x, int y) {
        return samples[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                       static_cast<std::size_t>(x)];
    }
    [[nodiscard]] double at(int x, int y) const {
        const int cx = std::clamp(x, 0, width - 1), cy = std::clamp(y, 0, height - 1);  // edges go on
        return samples[static_cast<std::size_t>(cy) * static_cast<std::size_t>(width) +
                       static_cast<std::size_t>(cx)];
    }
};

template <class Sample>
Field planeOf(const Plane<Sample>& plane) {
    Field result(plane.width, plane.height);
    for (int y = 0; y < plane.height; ++y)
        for (int x = 0; x < plane.width; ++x) result.at(x, y) = plane.row(y)[x];
    return result;
}

/// Structural similarity (Wang, Bovik, Sheikh, Simoncelli, "Image quality assessment", 2004) with windows of 8 x 8
/// samples, every fourth, inside a margin.
double similarity(const Field& a, const Field& b, int margin) {
    constexpr double c1 = 0.01 * 255 * 0.01 * 255, c2 = 0.03 * 255 * 0.03 * 255;
    double sum = 0;
    int windows = 0;
    for (int top = margin; top + 8 <= a.height - margin; top += 4) {
        for (int left = margin; left + 8 <= a.width - margin; left += 4) {
            double meanA = 0, meanB = 0, squareA = 0, squareB = 0, product = 0;
            for (int y = top; y < top + 8; ++y) {
                for (int x = left; x < left + 8; ++x) {
                    const double p = a.at(x, y), q = b.at(x, y);
                    meanA += p / 64, meanB += q / 64;
                    squareA += p * p / 64, squareB += q * q / 64, product += p * q / 64;
                }
            }
            const double varianceA = squareA - meanA * meanA, varianceB = squareB - meanB * meanB;
            const double covariance = product - meanA * meanB;
            sum += (2 * meanA * meanB + c1) * (2 * covariance + c2) /
                   ((meanA * meanA + meanB * meanB + c1) * (varianceA + varianceB + c2));
            ++windows;
        }
    }
    return sum / windows;
}

/// A kernel of the given reach, in source samples where it is not stretched.
struct Kernel {
    double reach;
    std::function<double(double)> weight;
};
double sinc(double x) {
    return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}
const Kernel lanczos{3, [](double x) { return sinc(x) * sinc(x / 3); }};
const Kernel catmullRom{2, [](double x) {
                            x = std::abs(x);
                            return x < 1 ? 1 + x * x * (1.5 * x - 2.5) : 2 + x * (-4 + x * (2.5 - 0.5 * x));
                        }};

/// The slow way: every sample by itself, out(x, y) lying at source sample (x * step + left, y * step + top), the
/// kernel as wide as `stretch` says.
Field resampled(const Field& source, int width, int height, double step, double left, double top,
                const Kernel& kernel, double stretch) {
    Field out(width, height);
    const double reach = kernel.reach * stretch;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double u = x * step + left, v = y * step + top;
            double sum = 0, weights = 0;
            for (int row = static_cast<int>(std::ceil(v - reach)); row <= v + reach; ++row) {
                for (int column = static_cast<int>(std::ceil(u - reach)); column <= u + reach; ++column) {
                    const double weight =
                        kernel.weight((u - column) / stretch) * kernel.weight((v - row) / stretch);
                    sum += weight * source.at(column, row);
                    weights += weight;
                }
            }
            out.at(x, y) = std::clamp(sum / weights, 0.0, 255.0);
        }
    }
    return out;
}

/// What a screen is full of: small text, black and coloured, and a few areas.
Picture screenful(int width, int height) {
    const CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    const CairoContext cairo(cairo_create(surface.get()));
    const auto fill = [&](double x, double y, double w, double h, const Color& color) {
        cairo_set_source_rgb(cairo.get(), color.red, color.green, color.blue);
        cairo_rectangle(cairo.get(), x, y, w, h);
        cairo_fill(cairo.get());
    };
    fill(0, 0, width, height, {0.98, 0.98, 0.99, 1});
    cairo_select_font_face(cairo.get(), "Inter", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    const std::array<Color, 4> colors{Color{0.1, 0.1, 0.13, 1}, Color{0.4, 0.42, 0.47, 1},
                                      Color{0.15, 0.39, 0.92, 1}, Color{0.86, 0.15, 0.15, 1}};
    for (int line = 0; 17 * line < height; ++line) {
        const Color& color = colors[static_cast<std::size_t>(line) % colors.size()];
        cairo_set_source_rgb(cairo.get(), color.red, color.green, color.blue);
        cairo_set_font_size(cairo.get(), 11 + line % 4);
        cairo_move_to(cairo.get(), 5.0 - 3 * line, 17 * line + 13);
        cairo_show_text(cairo.get(),
                        "The quick brown fox jumps over 13 lazy dogs; sphinx of black quartz, judge my vow. "
                        "Pack my box with five dozen liquor jugs, 24680 and 13579 of them.");
    }
    fill(width / 2.0, height / 3.0, width / 5.0, height / 6.0, {0.15, 0.39, 0.92, 1});
    fill(width / 6.0, height / 2.0, width / 7.0, height / 5.0, {0.94, 0.35, 0.16, 1});
    cairo_surface_flush(surface.get());
    return pictureFromImage(testing::imageOf(surface.get()));
}

/// Where plane 0, 1 or 2 of a canvas of the given scale and view samples the recorded plane: left-sited chroma,
/// between its rows.
struct Sampling {
    double step, left, top;
};
Sampling samplingOf(int plane, double step, double viewLeft, double viewTop) {
    // Luma sample i lies at i + 1/2 of the canvas; chroma sample i at 2i + 1/2 across and 2i + 1 down.
    if (plane == 0) return {step, 0.5 * step + viewLeft - 0.5, 0.5 * step + viewTop - 0.5};
    return {step, (0.5 * step + viewLeft - 0.5) / 2, (step + viewTop - 1) / 2};
}

/// Draws the recording edge to edge on a canvas of width * height and compares every plane with the reference.
void expectQuality(const Picture& recorded, int width, int height, const std::optional<CameraState>& camera,
                   const Kernel& kernel, double lumaWanted, double chromaWanted) {
    FrameState state;
    state.camera = camera;
    const Size canvas{static_cast<double>(width), static_cast<double>(height)};
    const Size content = testing::sizeOf(recorded);
    const Picture out = testing::finished(recorded, {}, canvas, state);

    const double zoom = camera ? camera->scale : 1;
    const double step = content.width / width / zoom;
    const double viewLeft = camera ? camera->center.x - content.width / zoom / 2 : 0;
    const double viewTop = camera ? camera->center.y - content.height / zoom / 2 : 0;
    for (int plane = 0; plane < 3; ++plane) {
        const auto p = static_cast<std::size_t>(plane);
        const Field got = planeOf(out.planes()[p]), source = planeOf(recorded.planes()[p]);
        const Sampling at = samplingOf(plane, step, viewLeft, viewTop);
        const Field expected =
            resampled(source, got.width, got.height, at.step, at.left, at.top, kernel, std::max(at.step, 1.0));
        EXPECT_GT(similarity(got, expected, 4), plane == 0 ? lumaWanted : chromaWanted)
            << "plane " << plane << " at a step of " << step;
    }
}

TEST(PictureQuality, scaledDownIsAsGoodAsAWindowedSinc) {
    const Picture recorded = screenful(384, 216);
    // Sizes of the same shape, so that the video fills them. A triangle as wide would come to 0.967 and 0.992.
    for (const auto& [width, height] : {std::pair{352, 198}, std::pair{256, 144}, std::pair{192, 108}})
        expectQuality(recorded, width, height, {}, lanczos, 0.99, 0.997);
}

TEST(PictureQuality, zoomedIsCubicToTheStep) {
    const Picture recorded = screenful(384, 216);
    expectQuality(recorded, 384, 216, CameraState{{180, 114}, 1.75}, catmullRom, 0.9995, 0.999);
    expectQuality(recorded, 384, 216, CameraState{{199.8, 106.6}, 1.13}, catmullRom, 0.9995, 0.999);
}

}  // namespace
}  // namespace lumenwhirl
