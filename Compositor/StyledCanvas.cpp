#include "Compositor/StyledCanvas.h"

#include "Compositor/ShadowMap.h"
#include "Pixels/AxisMap.h"
#include "Pixels/ImageResampler.h"
#include "Pixels/PlaneWriting.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <memory>
#include <variant>

namespace lumenwhirl {
namespace {

using Coverage = std::vector<std::uint8_t>;

/// How much of [i, i + 1) lies in [begin, end), 0...1.
double overlap(int i, double begin, double end) {
    return std::clamp(std::min(i + 1.0, end) - std::max<double>(i, begin), 0.0, 1.0);
}

/// How much of the pixel (x, y) a circle covers, by 16 rows of exact chords.
double coveredByCircle(int x, int y, double centerX, double centerY, double radius) {
    constexpr int lines = 16;
    double sum = 0;
    for (int i = 0; i < lines; ++i) {
        const double distance = y + (i + 0.5) / lines - centerY;
        if (std::abs(distance) >= radius) continue;
        const double half = std::sqrt(radius * radius - distance * distance);
        sum += overlap(x, centerX - half, centerX + half);
    }
    return sum / lines;
}

struct RoundedRect {
    Rect rect;
    double radius = 0;
    double sign = 1;  // -1: cut out
};

/// Adds a rounded rectangle's coverage of row y to what the row has, 0...1.
void addRow(std::vector<double>& row, int y, const RoundedRect& shape) {
    const Rect& rect = shape.rect;
    const double right = rect.x + rect.width, bottom = rect.y + rect.height;
    const double down = overlap(y, rect.y, bottom);
    if (rect.width <= 0 || rect.height <= 0 || down <= 0) return;
    const double r = std::clamp(shape.radius, 0.0, 0.5 * std::min(rect.width, rect.height));
    const double width = static_cast<double>(row.size());
    const int first = static_cast<int>(std::clamp(std::floor(rect.x), 0.0, width));
    const int last = static_cast<int>(std::clamp(std::ceil(right), 0.0, width));
    const bool isCornerRow = y < rect.y + r || y + 1 > bottom - r;
    for (int x = first; x < last; ++x) {
        const bool isCorner = isCornerRow && (x < rect.x + r || x + 1 > right - r);
        double covered = overlap(x, rect.x, right) * down;
        if (isCorner) {
            const double centerX = x < rect.x + r ? rect.x + r : right - r;
            const double centerY = y < rect.y + r ? rect.y + r : bottom - r;
            // Where a pixel reaches past the circle's centre the straight part begins; it is within both then.
            const bool isPastX = (x < rect.x + r) ? x + 1 > centerX : x < centerX;
            const bool isPastY = (y < rect.y + r) ? y + 1 > centerY : y < centerY;
            if (!isPastX && !isPastY) covered = coveredByCircle(x, y, centerX, centerY, r);
        }
        row[static_cast<std::size_t>(x)] += shape.sign * covered;
    }
}

/// Whether rows y - 1 and y look the same: both go straight through the shape, or miss it.
bool continues(int y, const RoundedRect& shape) {
    const double top = shape.rect.y, bottom = shape.rect.y + shape.rect.height;
    const double r = std::max(shape.radius, 0.0);
    const bool isInside = y - 1 >= top + r && y + 1 <= bottom - r;
    return isInside || y + 1 <= top || y - 1 >= bottom;
}

Coverage covered(std::initializer_list<RoundedRect> shapes, double opacity, int width, int height) {
    Coverage coverage;
    coverage.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    std::vector<double> row(static_cast<std::size_t>(width));
    for (int y = 0; y < height; ++y) {
        const bool isSame =
            y > 0 && std::ranges::all_of(shapes, [y](const RoundedRect& shape) { return continues(y, shape); });
        if (isSame) {  // most rows are
            coverage.resize(coverage.size() + row.size());
            std::copy_n(coverage.end() - 2 * width, width, coverage.end() - width);
            continue;
        }
        std::ranges::fill(row, 0.0);
        for (const RoundedRect& shape : shapes) addRow(row, y, shape);
        for (const double value : row)
            coverage.push_back(static_cast<std::uint8_t>(255 * opacity * std::clamp(value, 0.0, 1.0) + 0.5));
    }
    return coverage;
}

Coverage filledRect(const Rect& rect, double radius, int width, int height) {
    return covered({{rect, radius, 1}}, 1, width, height);
}

/// A line inside the rectangle's edge, its middle a rounded rectangle of the given radius.
Coverage strokedRect(const Rect& rect, double radius, double lineWidth, double alpha, int width, int height) {
    const Rect inner{rect.x + lineWidth, rect.y + lineWidth, rect.width - 2 * lineWidth,
                     rect.height - 2 * lineWidth};
    return covered({{rect, radius > 0 ? radius + lineWidth / 2 : 0, 1}, {inner, radius - lineWidth / 2, -1}},
                   alpha, width, height);
}

/// Coverage of chroma samples of a format: what their neighbourhood in luma has.
template <class Sample>
Coverage chromaCoverage(const Coverage& luma, int width, int height) {
    constexpr int shift = PictureFormat<Sample>::chromaRowsShift;
    Coverage chroma;
    chroma.reserve((luma.size() / 2) >> shift);
    for (int y = 0; y < height >> shift; ++y) {
        const std::uint8_t* upper =
            luma.data() + static_cast<std::size_t>(y << shift) * static_cast<std::size_t>(width);
        const std::uint8_t* lower = shift == 1 ? upper + width : upper;
        for (int x = 0; x < width / 2; ++x) {
            const int left = std::max(2 * x - 1, 0), middle = 2 * x, right = 2 * x + 1;
            const int sum =
                upper[left] + 2 * upper[middle] + upper[right] + lower[left] + 2 * lower[middle] + lower[right];
            chroma.push_back(static_cast<std::uint8_t>((sum + 4) / 8));
        }
    }
    return chroma;
}

template <class Sample>
Sample mixed(Sample from, Sample to, std::uint8_t coverage) {
    return static_cast<Sample>((from * (255 - coverage) + to * coverage + 127) / 255);
}

/// Red, green and blue of a row, 0...1.
struct RgbRow {
    std::vector<float> red, green, blue;
    explicit RgbRow(int width) : red(static_cast<std::size_t>(width)), green(red.size()), blue(red.size()) {}
    void fill(double r, double g, double b) {
        std::fill(red.begin(), red.end(), static_cast<float>(r));
        std::fill(green.begin(), green.end(), static_cast<float>(g));
        std::fill(blue.begin(), blue.end(), static_cast<float>(b));
    }
};

/// Paints the background's row y.
using RowPainter = std::function<void(int y, RgbRow& row)>;

Color opaque(const Color& color) {  // over black
    return {color.red * color.alpha, color.green * color.alpha, color.blue * color.alpha, 1};
}

RowPainter painterFor(const RenderStyle::Solid& solid, int, int) {
    return [color = opaque(solid.color)](int, RgbRow& row) { row.fill(color.red, color.green, color.blue); };
}

RowPainter painterFor(const RenderStyle::Gradient& gradient, int, int height) {
    return [top = opaque(gradient.top), bottom = opaque(gradient.bottom), height](int y, RgbRow& row) {
        const double t = (y + 0.5) / height;
        row.fill(std::lerp(top.red, bottom.red, t), std::lerp(top.green, bottom.green, t),
                 std::lerp(top.blue, bottom.blue, t));
    };
}

RowPainter painterFor(const RenderStyle::Picture& picture, int width, int height) {
    if (!picture.image || picture.image->width <= 0 || picture.image->height <= 0)
        return painterFor(RenderStyle::Solid{}, width, height);
    const Image& image = *picture.image;
    const double scale =
        std::max(static_cast<double>(width) / image.width, static_cast<double>(height) / image.height);
    const auto axis = [scale](int out, int in) {
        AxisMap map;
        const double start = (out - in * scale) / 2;  // where the scaled image begins
        map.build({0, out, 1 / scale, (0.5 - start) / scale - 0.5, in, AxisMap::Filter::sharp});
        return map;
    };
    auto resampler = std::make_shared<ImageResampler>();
    resampler->resample(image, axis(width, image.width), axis(height, image.height));
    return [resampler](int y, RgbRow& row) {
        const ImageResampler::Pixel* in = resampler->row(y);
        for (std::size_t x = 0; x < row.red.size(); ++x) {
            row.red[x] = std::clamp(in[x][0] / 255, 0.0F, 1.0F);
            row.green[x] = std::clamp(in[x][1] / 255, 0.0F, 1.0F);
            row.blue[x] = std::clamp(in[x][2] / 255, 0.0F, 1.0F);
        }
    };
}

}  // namespace

template <class Sample>
StyledCanvas<Sample>::StyledCanvas(const RenderStyle& style, Size canvas, Size content) : content_(content) {
    base_ = Picture(static_cast<int>(canvas.width), static_cast<int>(canvas.height),
                    PictureFormat<Sample>::pixelFormat);
    place(style.paddingPx, canvas);
    const double radius = std::min(style.cornerRadiusPx, 0.5 * std::min(videoRect_.width, videoRect_.height));
    const Coverage fill = filledRect(videoRect_, radius, width(), height());
    paintBase(style, fill);
    buildMasks(style, fill, radius);
}

template <class Sample>
StyledCanvas<Sample> StyledCanvas<Sample>::unstyled(Size content) {
    return {RenderStyle::plain(), content, content};
}

template <class Sample>
void StyledCanvas<Sample>::place(double paddingPx, Size canvas) {
    Rect box{paddingPx, paddingPx, std::max(canvas.width - 2 * paddingPx, 1.0),
             std::max(canvas.height - 2 * paddingPx, 1.0)};
    // A padding beyond the middle is measured from the left and from the lower edge.
    if (canvas.height - 2 * paddingPx < 1) box.y = canvas.height - paddingPx - 1;
    if (content_.width <= 0 || content_.height <= 0) {
        videoRect_ = box;
    } else {
        const double scale = std::min(box.width / content_.width, box.height / content_.height);
        const double width = content_.width * scale, height = content_.height * scale;
        videoRect_ = {box.x + box.width / 2 - width * 0.5, box.y + box.height / 2 - height * 0.5, width, height};
    }
    contentScale_ = content_.width > 0 ? videoRect_.width / content_.width : 1;
}

template <class Sample>
void StyledCanvas<Sample>::paintBase(const RenderStyle& style, const Coverage& fill) {
    const RowPainter paint = std::visit(
        [&](const auto& background) { return painterFor(background, width(), height()); }, style.background);
    std::optional<ShadowMap> shadow;
    if (style.shadow.opacity > 0) shadow.emplace(fill, width(), height(), style.shadow.radius);

    const bool isFlat = std::holds_alternative<RenderStyle::Solid>(style.background) && !shadow;
    RgbRow colors(width());
    std::vector<float> shade(colors.red.size(), 0.0F);
    const auto opacity = static_cast<float>(style.shadow.opacity);
    writePlanes(base_.mutablePlanes<Sample>(), isFlat ? Rounding::nearest : Rounding::dithered,
                [&](int y, YuvRow& row) {
                    paint(y, colors);
                    if (shadow) {
                        const double source = y + 0.5 - style.shadow.yOffset;
                        if (source < 0) {  // the shadow was cut at the canvas, then moved
                            std::fill(shade.begin(), shade.end(), 0.0F);
                        } else {
                            shadow->row(source, shade);
                        }
                    }
                    for (std::size_t x = 0; x < shade.size(); ++x) {
                        const float kept = 1 - shade[x] * opacity;
                        const bt709::Sample sample =
                            bt709::fromRgb(colors.red[x] * kept, colors.green[x] * kept, colors.blue[x] * kept);
                        row.y[x] = sample.y;
                        row.cb[x] = sample.cb;
                        row.cr[x] = sample.cr;
                    }
                });
}

template <class Sample>
void StyledCanvas<Sample>::buildMasks(const RenderStyle& style, const Coverage& fill, double radius) {
    Coverage stroke;
    Color color;
    if (style.border && style.border->widthPx > 0) {
        color = style.border->color;
        stroke = strokedRect(videoRect_, radius, style.border->widthPx, color.alpha, width(), height());
    }
    const bt709::Sample sample = bt709::fromRgb(static_cast<float>(color.red), static_cast<float>(color.green),
                                                static_cast<float>(color.blue));
    const std::array<float, 3> samples{sample.y, sample.cb, sample.cr};

    const Coverage chromaFill = chromaCoverage<Sample>(fill, width(), height());
    const Coverage chromaStroke = stroke.empty() ? stroke : chromaCoverage<Sample>(stroke, width(), height());
    for (int plane = 0; plane < 3; ++plane) {
        const Coverage& mask = plane == 0 ? fill : chromaFill;
        const Coverage& border = plane == 0 ? stroke : chromaStroke;
        Mask& result = masks_[static_cast<std::size_t>(plane)];
        const Plane<Sample> out = base_.mutablePlanes<Sample>()[static_cast<std::size_t>(plane)];
        const auto borderSample = static_cast<Sample>(
            std::lround(PictureFormat<Sample>::unit * samples[static_cast<std::size_t>(plane)]));
        result.rows = {out.height, 0};
        result.columns = {out.width, 0};
        const auto collect = [](Mixtures& mixtures, const std::uint8_t* row, Span span, auto&& wanted,
                                auto&& with) {
            for (int x = span.begin; x < span.end; ++x)
                if (wanted(row[x])) mixtures.samples.push_back({x, with(x), row[x]});
            mixtures.firstOfRow.push_back(mixtures.samples.size());
        };
        result.edges.firstOfRow.push_back(0);
        result.borders.firstOfRow.push_back(0);
        for (int y = 0; y < out.height; ++y) {
            const std::uint8_t* row =
                mask.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(out.width);
            Span span{0, out.width};
            while (span.begin < span.end && row[span.begin] == 0) ++span.begin;
            while (span.end > span.begin && row[span.end - 1] == 0) --span.end;
            if (!span.isEmpty()) {
                result.rows = {std::min(result.rows.begin, y), y + 1};
                result.columns = {std::min(result.columns.begin, span.begin),
                                  std::max(result.columns.end, span.end)};
            }
            result.spans.push_back(span);
            const Sample* base = out.row(y);
            collect(
                result.edges, row, span, [](std::uint8_t c) { return c < 255; }, [&](int x) { return base[x]; });
            const auto borderAt = [&](int) { return borderSample; };
            if (border.empty()) {
                collect(
                    result.borders, row, {}, [](std::uint8_t) { return false; }, borderAt);
                continue;
            }
            const std::uint8_t* line =
                border.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(out.width);
            collect(
                result.borders, line, span, [](std::uint8_t c) { return c > 0; }, borderAt);
            // Beside the video's span no frame is ever drawn, so the border there belongs to the base.
            for (int x = 0; x < out.width; ++x)
                if (x < span.begin || x >= span.end) out.row(y)[x] = mixed(out.row(y)[x], borderSample, line[x]);
        }
        if (result.rows.isEmpty()) result.rows = result.columns = {0, 0};
    }
}

template <class Sample>
void StyledCanvas<Sample>::copyBase(const Planes<Sample>& out) const {
    const Planes<const Sample> base = base_.planes<Sample>();
    for (std::size_t p = 0; p < 3; ++p)
        for (int y = 0; y < base[p].height; ++y) std::copy_n(base[p].row(y), base[p].width, out[p].row(y));
}

template <class Sample>
void StyledCanvas<Sample>::finishRow(int plane, int row, Sample* out) const {
    const Mask& mask = maskOf(plane);
    for (const auto& [x, base, coverage] : mask.edges.row(row)) out[x] = mixed(base, out[x], coverage);
    for (const auto& [x, border, coverage] : mask.borders.row(row)) out[x] = mixed(out[x], border, coverage);
}

template class StyledCanvas<std::uint8_t>;
template class StyledCanvas<std::uint16_t>;

}  // namespace lumenwhirl
