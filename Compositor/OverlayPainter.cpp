#include "Compositor/OverlayPainter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>

namespace lumenwhirl {
namespace {

/// More than are ever on screen at once; an hour's captions do not pile up.
constexpr std::size_t mostKeptPlates = 48;

/// More rings within half a second come from a program, and nobody could tell them apart.
constexpr std::size_t mostRipples = 100;

/// Columns or rows [begin, end), both even, that hold an extent of canvas pixels, within a canvas side.
Span evenSpan(double start, double length, int side) {
    const double low = std::clamp(std::floor((start - 1) / 2) * 2, 0.0, static_cast<double>(side));
    const double high = std::clamp(std::ceil((start + length + 1) / 2) * 2, low, static_cast<double>(side));
    return {static_cast<int>(low), static_cast<int>(high)};
}

}  // namespace

template <class Sample>
void OverlayPainter<Sample>::begin() {
    items_.clear();
    ++plans_;
}

template <class Sample>
void OverlayPainter<Sample>::forget() {
    items_.clear();
    plates_.clear();
    measuredCaption_ = {};
}

template <class Sample>
void OverlayPainter<Sample>::planMoving(const Canvas& canvas, const Image& image, std::int64_t look, Point corner,
                                        double scale, double opacity, const CameraView& view) {
    const double zoom = canvas.contentScale() * view.scale;
    const double factor = scale * zoom;  // canvas pixels an image pixel
    const double x = canvas.videoRect().x + (corner.x - view.left) * zoom;
    const double y = canvas.videoRect().y + (corner.y - view.top) * zoom;
    if (!(factor > 0) || !std::isfinite(x) || !std::isfinite(y)) return;
    const Span columns = evenSpan(x, image.width * factor, canvas.width());
    const Span rows = evenSpan(y, image.height * factor, canvas.height());
    if (columns.isEmpty() || rows.isEmpty()) return;
    items_.push_back({typename Item::Moving{&image, look, corner, scale}, opacity, columns, rows});
}

template <class Sample>
void OverlayPainter<Sample>::planCursor(const Canvas& canvas, const CursorState& cursor, double size,
                                        const CameraView& view) {
    const double shortSide = std::min(canvas.content().width, canvas.content().height);
    const double unit = 0.05 * shortSide;
    const std::size_t newest = std::min(cursor.ripples.size(), mostRipples);
    for (const Ripple& ripple : std::span(cursor.ripples).last(newest)) {
        const double radius = unit * ripple.progress, alpha = (1 - ripple.progress) * 0.7;
        if (!(radius > 0.5) || !(alpha > 0.01)) continue;
        const double scale = radius / Artwork::ringBaseRadius, half = Artwork::ringImageSize / 2 * scale;
        // The smallest drawing that is still twice as fine as the canvas: less to resample, the same to see.
        std::size_t halvings = 0;
        double enlarged = scale;  // frame pixels a pixel of that drawing
        while (halvings + 1 < rings_.size() && 2 * enlarged * canvas.contentScale() * view.scale <= 0.5) {
            ++halvings;
            enlarged *= 2;
        }
        planMoving(canvas, rings_[halvings], 0, {ripple.center.x - half, ripple.center.y - half}, enlarged, alpha,
                   view);
    }
    if (!cursor.isVisible()) return;
    // Twice the detail of the unzoomed canvas keeps the arrow's edges sharp under the usual zooms.
    const int detail = std::clamp(static_cast<int>(std::ceil(2 * canvas.contentScale())), 1, 8);
    const Artwork::Arrow& arrow = artwork_.arrow(size * shortSide * 0.03, detail);
    const std::int64_t look = std::int64_t{arrow.key} * 16 + detail;
    planMoving(canvas, arrow.image, look, {cursor.position.x - arrow.margin, cursor.position.y - arrow.margin},
               1.0 / detail, cursor.opacity, view);
}

/// `draw(placement)` gives the plate's image; it is asked once for each look and place in the pixel grid. `corner`
/// and `size` are recorded-frame pixels, untouched by the camera.
template <class Sample>
template <class Draw>
void OverlayPainter<Sample>::planPlate(const Canvas& canvas, const std::string& key, Point corner, Size size,
                                       double opacity, Draw&& draw) {
    const double scale = canvas.contentScale();
    const double x = canvas.videoRect().x + corner.x * scale, y = canvas.videoRect().y + corner.y * scale;
    const Span columns = evenSpan(x, size.width * scale, canvas.width());
    const Span rows = evenSpan(y, size.height * scale, canvas.height());
    if (columns.isEmpty() || rows.isEmpty()) return;
    const int width = columns.end - columns.begin, height = rows.end - rows.begin;
    const auto phase = [](double offset) { return static_cast<int>(std::lround(offset * 64)); };
    const PlateKey plateKey{key, phase(x - columns.begin), phase(y - rows.begin), width, height};
    auto found = plates_.find(plateKey);
    if (found == plates_.end()) {
        CachedPlate plate;
        plate.look = ++looks_;
        plate.tile.assign(draw(Artwork::Placement{x - columns.begin, y - rows.begin, scale, width, height}));
        found = plates_.emplace(plateKey, std::move(plate)).first;
    }
    found->second.lastPlanned = plans_;
    items_.push_back({typename Item::Plate{&found->second.tile, found->second.look}, opacity, columns, rows});
}

template <class Sample>
void OverlayPainter<Sample>::planCaptionAndPills(const Canvas& canvas, const std::string& caption,
                                                 const CaptionStyle& style, const std::vector<KeyPill>& pills) {
    const double width = canvas.content().width, height = canvas.content().height;
    const double shortSide = std::min(width, height), unit = 0.05 * shortSide;
    double pillBottom = height - height * 0.06;  // y of the pills' lower edge
    if (!caption.empty()) {
        if (caption != measuredCaption_.text || style != measuredCaption_.style)
            measuredCaption_ = {caption, style, artwork_.captionSize(caption, width, shortSide, style)};
        const Size size = measuredCaption_.size;
        double top = height - height * 0.05 - size.height;
        if (style.position == "top") top = height - height * 0.95;
        if (style.position == "center") top = (height - size.height) * 0.5;
        const std::string key = "caption|" + style.font + '|' + style.weight + '|' + std::to_string(style.size) +
                                '|' + style.textColor + '|' + style.backgroundColor + '|' +
                                (style.uppercase ? "1|" : "0|") + std::to_string(shortSide) + '|' +
                                std::to_string(width) + '|' + caption;
        planPlate(canvas, key, {(width - size.width) * 0.5, top}, size, 1, [&](const Artwork::Placement& place) {
            return artwork_.caption(caption, width, shortSide, style, place);
        });
        pillBottom = top - 0.02 * shortSide;
    }
    if (!pills.empty()) {
        const double gap = 0.35 * unit;
        double row = gap * static_cast<double>(pills.size() - 1);
        std::vector<double> widths;
        for (const KeyPill& pill : pills) row += widths.emplace_back(artwork_.pillWidth(pill.text, unit));
        double x = (width - row) * 0.5;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            const KeyPill& pill = pills[i];
            planPlate(canvas, "pill|" + std::to_string(unit) + '|' + pill.text, {x, pillBottom - unit},
                      {widths[i], unit}, pill.opacity,
                      [&](const Artwork::Placement& place) { return artwork_.pill(pill.text, unit, place); });
            x += widths[i] + gap;
        }
    }
    if (plates_.size() > mostKeptPlates)
        std::erase_if(plates_, [this](const auto& plate) { return plate.second.lastPlanned != plans_; });
}

template <class Sample>
void OverlayPainter<Sample>::draw(const Canvas& canvas, const CameraView& view, const Kernels& kernels,
                                  const RowPairs& rows, const Planes<Sample>& out) {
    for (const Item& item : items_) {
        bool isWanted = false;
        for (int pair = item.rows.begin / 2; pair < item.rows.end / 2; ++pair)
            isWanted = isWanted || rows.contains(pair);
        if (!isWanted) continue;
        if (const auto* plate = std::get_if<typename Item::Plate>(&item.what)) {
            plate->tile->draw(canvas, kernels, item.columns.begin, item.rows.begin, item.opacity, rows, out);
            continue;
        }
        const auto& moving = std::get<typename Item::Moving>(item.what);
        const double zoom = canvas.contentScale() * view.scale, factor = moving.scale * zoom;
        const double x = canvas.videoRect().x + (moving.corner.x - view.left) * zoom;
        const double y = canvas.videoRect().y + (moving.corner.y - view.top) * zoom;
        columns_.build({item.columns.begin, item.columns.end, 1 / factor, (0.5 - x) / factor - 0.5,
                        moving.image->width, AxisMap::Filter::smooth, AxisMap::Beyond::nothing});
        rows_.build({item.rows.begin, item.rows.end, 1 / factor, (0.5 - y) / factor - 0.5, moving.image->height,
                     AxisMap::Filter::smooth, AxisMap::Beyond::nothing});
        resampler_.resample(*moving.image, columns_, rows_);
        moving_.assign(resampler_, columns_.count(), rows_.count());
        moving_.draw(canvas, kernels, item.columns.begin, item.rows.begin, item.opacity, rows, out);
    }
}

template class OverlayPainter<std::uint8_t>;
template class OverlayPainter<std::uint16_t>;

}  // namespace lumenwhirl
