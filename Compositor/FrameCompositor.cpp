#include "Compositor/FrameCompositor.h"

#include "Compositor/Artwork.h"
#include "Compositor/BandPool.h"
#include "Compositor/Kernels/Kernels.h"
#include "Compositor/OverlayTile.h"
#include "Compositor/PlaneResampler.h"
#include "Compositor/StyledCanvas.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <tuple>

namespace lumenwhirl {
namespace {

/// The part of the recorded frame that the camera shows: recorded pixel (x, y) is drawn at
/// ((x - left) * scale, (y - top) * scale) of a view as large as the frame.
struct View {
    double left = 0, top = 0, scale = 1;
};

View viewFor(const std::optional<CameraState>& camera, Size frame) {
    if (!camera || !(camera->scale > 1.001)) return {};
    const double width = frame.width / camera->scale, height = frame.height / camera->scale;
    return {std::clamp(camera->center.x - width / 2, 0.0, frame.width - width),
            std::clamp(camera->center.y - height / 2, 0.0, frame.height - height), camera->scale};
}

/// Columns or rows [begin, end), both even, that hold an extent of canvas pixels, within a canvas side.
struct EvenRange {
    int begin = 0, end = 0;
    [[nodiscard]] int count() const noexcept { return end - begin; }
};

EvenRange evenRange(double start, double length, int side) {
    const double low = std::clamp(std::floor((start - 1) / 2) * 2, 0.0, static_cast<double>(side));
    const double high = std::clamp(std::ceil((start + length + 1) / 2) * 2, low, static_cast<double>(side));
    return {static_cast<int>(low), static_cast<int>(high)};
}

}  // namespace

template <class Sample>
struct BasicFrameCompositor<Sample>::Parts {
    using Canvas = StyledCanvas<Sample>;
    using Out = BasicPicture<Sample>;
    using Tile = OverlayTile<Sample>;
    /// A pill or caption where it lies on the canvas. Two plates are the same when text, look, size and place
    /// within the pixel grid are.
    using PlateKey = std::tuple<std::string, int, int, int, int>;

    const Kernels* kernels;
    BandPool pool;
    std::vector<PlaneResampler::Scratch> scratches;  // of each band
    Artwork artwork;
    std::array<Image, 4> rings{Artwork::ring(0), Artwork::ring(1), Artwork::ring(2), Artwork::ring(3)};
    std::optional<Canvas> prepared, unstyled;
    PlaneResampler luma, chroma;
    std::map<PlateKey, Tile> plates;
    struct {
        std::string text;
        CaptionStyle style;
        Size size;
    } measuredCaption;  // the caption last drawn
    ImageResampler resampler;
    AxisMap movingColumns, movingRows;
    Tile moving;

    Parts(int threads, const Kernels& rowKernels) : kernels(&rowKernels), pool(threads) {
        // More bands than threads, so that one slow thread does not keep the others waiting long.
        scratches.resize(threads > 1 ? 4 * static_cast<std::size_t>(threads) : 1);
    }

    const Canvas& unstyledFor(const PictureView& frame) {
        const Size size{static_cast<double>(frame.width()), static_cast<double>(frame.height())};
        if (!unstyled || unstyled->content() != size) unstyled = Canvas::unstyled(size);
        return *unstyled;
    }

    void drawVideo(const Canvas& canvas, const PictureView& frame, const View& view, const Out& out);
    void drawCursor(const Canvas& canvas, const CursorState& cursor, double size, const View& view,
                    const Out& out);
    void drawMoving(const Canvas& canvas, const Image& image, Point corner, double scale, double opacity,
                    const View& view, const Out& out);
    void drawCaptionAndPills(const Canvas& canvas, const FrameState& state, const Out& out);
    template <class Draw>
    void drawPlate(const Canvas& canvas, const std::string& key, Point corner, Size size, double opacity,
                   const Out& out, Draw&& draw);
    static void finish(const Canvas& canvas, const Out& out);
};

template <class Sample>
void BasicFrameCompositor<Sample>::Parts::drawVideo(const Canvas& canvas, const PictureView& frame,
                                                    const View& view, const Out& out) {
    const Rect& rect = canvas.videoRect();
    const double step = 1 / (canvas.contentScale() * view.scale);  // recorded pixels a canvas pixel
    // Luma sample k covers [k, k + 1); chroma sample k sits on the left luma column of its pair, between its rows.
    const PlaneResampler::Axis across{step, (0.5 - rect.x) * step + view.left - 0.5};
    const PlaneResampler::Axis down{step, (0.5 - rect.y) * step + view.top - 0.5};
    const PlaneResampler::Axis chromaAcross{step, across.origin / 2};
    // Recorded chroma row k lies between luma rows 2k and 2k + 1: at 2k + 1 from the top edge. A finished one lies
    // so too (4:2:0), or beside its luma row (4:2:2).
    constexpr bool isHalved = PictureFormat<Sample>::chromaRowsShift == 1;
    const double firstRow = isHalved ? 1 : 0.5;
    const PlaneResampler::Axis chromaDown{isHalved ? step : step / 2,
                                          ((firstRow - rect.y) * step + view.top - 1) / 2};
    luma.setMap(canvas.columns(0), canvas.rows(0), across, down, frame.planes[0].width, frame.planes[0].height);
    chroma.setMap(canvas.columns(1), canvas.rows(1), chromaAcross, chromaDown, frame.planes[1].width,
                  frame.planes[1].height);
    const int bands = static_cast<int>(scratches.size());
    pool.run(bands, [&](int band) {
        for (int plane = 0; plane < 3; ++plane) {
            const auto p = static_cast<std::size_t>(plane);
            const Span all = canvas.rows(plane);
            const int count = all.end - all.begin;
            const Span rows{all.begin + count * band / bands, all.begin + count * (band + 1) / bands};
            (plane == 0 ? luma : chroma)
                .run(canvas, plane, rows, *kernels, frame.planes[p], out.planes[p],
                     scratches[static_cast<std::size_t>(band)]);
        }
    });
}

/// Artwork that lies in the recorded frame, its top-left corner at `corner` and each of its pixels `scale` wide.
template <class Sample>
void BasicFrameCompositor<Sample>::Parts::drawMoving(const Canvas& canvas, const Image& image, Point corner,
                                                     double scale, double opacity, const View& view,
                                                     const Out& out) {
    const double zoom = canvas.contentScale() * view.scale;
    const double factor = scale * zoom;  // canvas pixels an image pixel
    const double x = canvas.videoRect().x + (corner.x - view.left) * zoom;
    const double y = canvas.videoRect().y + (corner.y - view.top) * zoom;
    if (!(factor > 0) || !std::isfinite(x) || !std::isfinite(y)) return;
    const EvenRange columns = evenRange(x, image.width * factor, canvas.width());
    const EvenRange rows = evenRange(y, image.height * factor, canvas.height());
    if (columns.count() <= 0 || rows.count() <= 0) return;
    movingColumns.build(
        {columns.begin, columns.end, 1 / factor, (0.5 - x) / factor - 0.5, image.width, AxisMap::Filter::smooth});
    movingRows.build(
        {rows.begin, rows.end, 1 / factor, (0.5 - y) / factor - 0.5, image.height, AxisMap::Filter::smooth});
    resampler.resample(image, movingColumns, movingRows);
    moving.assign(resampler, columns.count(), rows.count());
    moving.draw(canvas, *kernels, columns.begin, rows.begin, opacity, out);
}

template <class Sample>
void BasicFrameCompositor<Sample>::Parts::drawCursor(const Canvas& canvas, const CursorState& cursor, double size,
                                                     const View& view, const Out& out) {
    const double shortSide = std::min(canvas.content().width, canvas.content().height);
    const double unit = 0.05 * shortSide;
    for (const Ripple& ripple : cursor.ripples) {
        const double radius = unit * ripple.progress, alpha = (1 - ripple.progress) * 0.7;
        if (!(radius > 0.5) || !(alpha > 0.01)) continue;
        const double scale = radius / Artwork::ringBaseRadius, half = Artwork::ringImageSize / 2 * scale;
        // The smallest drawing that is still twice as fine as the canvas: less to resample, the same to see.
        std::size_t halvings = 0;
        double enlarged = scale;  // frame pixels a pixel of that drawing
        while (halvings + 1 < rings.size() && 2 * enlarged * canvas.contentScale() * view.scale <= 0.5) {
            ++halvings;
            enlarged *= 2;
        }
        drawMoving(canvas, rings[halvings], {ripple.center.x - half, ripple.center.y - half}, enlarged, alpha,
                   view, out);
    }
    if (!cursor.isVisible()) return;
    // Twice the detail of the unzoomed canvas keeps the arrow's edges sharp under the usual zooms.
    const int detail = std::clamp(static_cast<int>(std::ceil(2 * canvas.contentScale())), 1, 8);
    const Artwork::Arrow& arrow = artwork.arrow(size * shortSide * 0.03, detail);
    drawMoving(canvas, arrow.image, {cursor.position.x - arrow.margin, cursor.position.y - arrow.margin},
               1.0 / detail, cursor.opacity, view, out);
}

/// `draw(placement)` gives the plate's image; it is asked once for each look and place in the pixel grid. `corner`
/// and `size` are recorded-frame pixels, untouched by the camera.
template <class Sample>
template <class Draw>
void BasicFrameCompositor<Sample>::Parts::drawPlate(const Canvas& canvas, const std::string& key, Point corner,
                                                    Size size, double opacity, const Out& out, Draw&& draw) {
    const double scale = canvas.contentScale();
    const double x = canvas.videoRect().x + corner.x * scale, y = canvas.videoRect().y + corner.y * scale;
    const EvenRange columns = evenRange(x, size.width * scale, canvas.width());
    const EvenRange rows = evenRange(y, size.height * scale, canvas.height());
    if (columns.count() <= 0 || rows.count() <= 0) return;
    const auto phase = [](double offset) { return static_cast<int>(std::lround(offset * 64)); };
    const PlateKey plate{key, phase(x - columns.begin), phase(y - rows.begin), columns.count(), rows.count()};
    auto found = plates.find(plate);
    if (found == plates.end()) {
        found = plates.emplace(plate, Tile()).first;
        found->second.assign(
            draw(Artwork::Placement{x - columns.begin, y - rows.begin, scale, columns.count(), rows.count()}));
    }
    found->second.draw(canvas, *kernels, columns.begin, rows.begin, opacity, out);
}

template <class Sample>
void BasicFrameCompositor<Sample>::Parts::drawCaptionAndPills(const Canvas& canvas, const FrameState& state,
                                                              const Out& out) {
    const double width = canvas.content().width, height = canvas.content().height;
    const double shortSide = std::min(width, height), unit = 0.05 * shortSide;
    double pillBottom = height - height * 0.06;  // y of the pills' lower edge
    if (!state.caption.empty()) {
        const CaptionStyle& style = state.captionStyle;
        if (state.caption != measuredCaption.text || style != measuredCaption.style)
            measuredCaption = {state.caption, style, artwork.captionSize(state.caption, width, shortSide, style)};
        const Size size = measuredCaption.size;
        double top = height - height * 0.05 - size.height;
        if (style.position == "top") top = height - height * 0.95;
        if (style.position == "center") top = (height - size.height) * 0.5;
        const std::string key = "caption|" + style.font + '|' + style.weight + '|' + std::to_string(style.size) +
                                '|' + style.textColor + '|' + style.backgroundColor + '|' +
                                (style.uppercase ? "1|" : "0|") + std::to_string(shortSide) + '|' +
                                std::to_string(width) + '|' + state.caption;
        drawPlate(canvas, key, {(width - size.width) * 0.5, top}, size, 1, out,
                  [&](const Artwork::Placement& place) {
                      return artwork.caption(state.caption, width, shortSide, style, place);
                  });
        pillBottom = top - 0.02 * shortSide;
    }
    if (state.keystrokes.empty()) return;
    const double gap = 0.35 * unit;
    double row = gap * static_cast<double>(state.keystrokes.size() - 1);
    std::vector<double> widths;
    for (const KeyPill& pill : state.keystrokes) row += widths.emplace_back(artwork.pillWidth(pill.text, unit));
    double x = (width - row) * 0.5;
    for (std::size_t i = 0; i < widths.size(); ++i) {
        const KeyPill& pill = state.keystrokes[i];
        drawPlate(canvas, "pill|" + std::to_string(unit) + '|' + pill.text, {x, pillBottom - unit},
                  {widths[i], unit}, pill.opacity, out,
                  [&](const Artwork::Placement& place) { return artwork.pill(pill.text, unit, place); });
        x += widths[i] + gap;
    }
}

template <class Sample>
void BasicFrameCompositor<Sample>::Parts::finish(const Canvas& canvas, const Out& out) {
    for (int plane = 0; plane < 3; ++plane) {
        const Span rows = canvas.rows(plane);
        for (int y = rows.begin; y < rows.end; ++y)
            canvas.finishRow(plane, y, out.planes[static_cast<std::size_t>(plane)].row(y));
    }
}

template <class Sample>
BasicFrameCompositor<Sample>::BasicFrameCompositor(int threads)
    : BasicFrameCompositor(threads, Kernels::fastest()) {}
template <class Sample>
BasicFrameCompositor<Sample>::BasicFrameCompositor(int threads, const Kernels& kernels)
    : parts_(std::make_unique<Parts>(threads, kernels)) {}
template <class Sample>
BasicFrameCompositor<Sample>::~BasicFrameCompositor() = default;
template <class Sample>
BasicFrameCompositor<Sample>::BasicFrameCompositor(BasicFrameCompositor&&) noexcept = default;
template <class Sample>
BasicFrameCompositor<Sample>& BasicFrameCompositor<Sample>::operator=(BasicFrameCompositor&&) noexcept = default;

template <class Sample>
void BasicFrameCompositor<Sample>::prepareStyle(const RenderStyle& style, Size canvas, Size contentSize) {
    parts_->prepared.emplace(style, canvas, contentSize);
    parts_->plates.clear();
    parts_->measuredCaption = {};
}

template <class Sample>
void BasicFrameCompositor<Sample>::drawBase(const BasicPicture<Sample>& out) const {
    if (!parts_->prepared) return;
    const BasicPicture<const Sample> base = parts_->prepared->base();
    for (std::size_t p = 0; p < 3; ++p)
        for (int y = 0; y < base.planes[p].height; ++y)
            std::copy_n(base.planes[p].row(y), base.planes[p].width, out.planes[p].row(y));
}

template <class Sample>
void BasicFrameCompositor<Sample>::render(const PictureView& frame, const FrameState& state,
                                          const BasicPicture<Sample>& out) {
    Parts& parts = *parts_;
    const auto& canvas = parts.prepared ? *parts.prepared : parts.unstyledFor(frame);
    const View view = viewFor(state.camera, canvas.content());
    parts.drawVideo(canvas, frame, view, out);
    parts.drawCursor(canvas, state.cursor, state.cursorSize, view, out);
    parts.drawCaptionAndPills(canvas, state, out);
    Parts::finish(canvas, out);
}

template <class Sample>
void BasicFrameCompositor<Sample>::composite(const PictureView& frame, const CursorState& cursor,
                                             double cursorSize, const std::optional<CameraState>& camera,
                                             const BasicPicture<Sample>& out) {
    Parts& parts = *parts_;
    const auto& canvas = parts.unstyledFor(frame);
    const View view = viewFor(camera, canvas.content());
    parts.drawVideo(canvas, frame, view, out);
    parts.drawCursor(canvas, cursor, cursorSize, view, out);
}

template class BasicFrameCompositor<std::uint8_t>;
template class BasicFrameCompositor<std::uint16_t>;

}  // namespace lumenwhirl
