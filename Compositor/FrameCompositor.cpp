#include "Compositor/FrameCompositor.h"

#include "Compositor/BandPool.h"
#include "Compositor/CameraView.h"
#include "Compositor/ChangedRows.h"
#include "Compositor/OverlayPainter.h"
#include "Compositor/PlaneResampler.h"
#include "Compositor/RowPairs.h"
#include "Compositor/StyledCanvas.h"
#include "Pixels/Kernels/Kernels.h"

#include <algorithm>
#include <utility>

namespace lumenwhirl {

template <class Sample>
struct BasicFrameCompositor<Sample>::Parts {
    using Canvas = StyledCanvas<Sample>;
    using Out = BasicPicture<Sample>;
    using Item = typename OverlayPainter<Sample>::Item;

    const Kernels* kernels;
    BandPool pool;
    std::vector<PlaneResampler::Scratch> scratches;  // of each band
    OverlayPainter<Sample> overlays;
    std::optional<Canvas> prepared, unstyled;
    PlaneResampler luma, chroma;

    // What the last frame showed, so that the next one need not draw it again.
    std::int64_t number = 0;              // of that frame, from 1 on
    std::vector<std::int64_t> changedAt;  // since which frame each pair of rows has looked as it does
    const Canvas* lastCanvas = nullptr;   // null: no frame yet, or of another style
    CameraView lastView;
    std::vector<Item> lastOverlays;
    ChangedRows changes;
    RowPairs wanted, overlaid;  // rows to be drawn, and those that have overlays

    Parts(int threads, const Kernels& rowKernels) : kernels(&rowKernels), pool(threads) {
        // More bands than threads, so that one slow thread does not keep the others waiting long.
        scratches.resize(threads > 1 ? 4 * static_cast<std::size_t>(threads) : 1);
    }

    const Canvas& canvasFor(const PictureView& frame) { return prepared ? *prepared : unstyledFor(frame); }
    const Canvas& unstyledFor(const PictureView& frame) {
        const Size size{static_cast<double>(frame.width()), static_cast<double>(frame.height())};
        if (!unstyled || unstyled->content() != size) {
            unstyled = Canvas::unstyled(size);
            overlays.forget();
            lastCanvas = nullptr;
        }
        return *unstyled;
    }

    void draw(const Canvas& canvas, const PictureView& frame, const Previous* previous, const CameraView& view,
              const Out& out, std::int64_t& drawn);
    void chooseRows(const Canvas& canvas, const BasicPicture<const Sample>* finished, std::int64_t shown,
                    const Out& out);
    void setMaps(const Canvas& canvas, const PictureView& frame, const CameraView& view);
    void noteChanges(const Canvas& canvas);
    [[nodiscard]] bool sourceChanged(const Canvas& canvas, int pair) const;
    void drawVideo(const Canvas& canvas, const PictureView& frame, const Out& out);
    void finishOverlaid(const Canvas& canvas, const Out& out) const;
};

/// Draws the planned overlays over the video, where `out` does not show them yet.
template <class Sample>
void BasicFrameCompositor<Sample>::Parts::draw(const Canvas& canvas, const PictureView& frame,
                                               const Previous* previous, const CameraView& view, const Out& out,
                                               std::int64_t& drawn) {
    const std::int64_t shown = std::exchange(drawn, 0);  // should this fail half-way, nothing can be relied on
    ++number;
    setMaps(canvas, frame, view);
    const bool isComparable = previous && lastCanvas == &canvas && lastView == view &&
                              previous->frame.width() == frame.width() &&
                              previous->frame.height() == frame.height();
    if (isComparable) {
        changes.compare(previous->frame, frame);
        noteChanges(canvas);
    } else {
        changedAt.assign(static_cast<std::size_t>(canvas.height() / 2), number);
    }
    lastCanvas = &canvas;
    lastView = view;
    lastOverlays = overlays.plan();

    chooseRows(canvas, isComparable ? &previous->finished : nullptr, shown, out);
    overlaid.clear(canvas.height());
    for (const Item& item : overlays.plan())
        for (int pair = item.rows.begin / 2; pair < item.rows.end / 2; ++pair) overlaid.add(pair);
    drawVideo(canvas, frame, out);
    overlays.draw(canvas, view, *kernels, wanted, out);
    finishOverlaid(canvas, out);
    drawn = number;
}

/// Finds the rows that must be drawn; those that the last finished frame shows are copied from there.
template <class Sample>
void BasicFrameCompositor<Sample>::Parts::chooseRows(const Canvas& canvas,
                                                     const BasicPicture<const Sample>* finished,
                                                     std::int64_t shown, const Out& out) {
    wanted.clear(canvas.height());
    for (int pair = 0; pair < wanted.count(); ++pair) {
        const std::int64_t changed = changedAt[static_cast<std::size_t>(pair)];
        if (changed <= shown) continue;
        if (changed == number || !finished) {
            wanted.add(pair);
            continue;
        }
        for (int plane = 0; plane < 3; ++plane) {
            const auto p = static_cast<std::size_t>(plane);
            const int shift = plane == 0 ? 1 : 1 - PictureFormat<Sample>::chromaRowsShift;
            for (int row = pair << shift; row < (pair + 1) << shift; ++row) {
                const Span span = canvas.columns(plane, row);
                std::copy(finished->planes[p].row(row) + span.begin, finished->planes[p].row(row) + span.end,
                          out.planes[p].row(row) + span.begin);
            }
        }
    }
}

template <class Sample>
void BasicFrameCompositor<Sample>::Parts::setMaps(const Canvas& canvas, const PictureView& frame,
                                                  const CameraView& view) {
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
}

/// Notes which rows look different from the last frame's.
template <class Sample>
void BasicFrameCompositor<Sample>::Parts::noteChanges(const Canvas& canvas) {
    for (int pair = 0; pair < canvas.height() / 2; ++pair)
        if (sourceChanged(canvas, pair)) changedAt[static_cast<std::size_t>(pair)] = number;
    const auto noteThoseMissing = [this](const std::vector<Item>& items, const std::vector<Item>& others) {
        for (const Item& item : items) {
            if (std::ranges::find(others, item) != others.end()) continue;
            std::fill(changedAt.begin() + item.rows.begin / 2, changedAt.begin() + item.rows.end / 2, number);
        }
    };
    noteThoseMissing(overlays.plan(), lastOverlays);
    noteThoseMissing(lastOverlays, overlays.plan());
}

template <class Sample>
bool BasicFrameCompositor<Sample>::Parts::sourceChanged(const Canvas& canvas, int pair) const {
    for (int row = 2 * pair; row < 2 * pair + 2; ++row) {
        if (row < canvas.rows(0).begin || row >= canvas.rows(0).end) continue;
        const Span source = luma.sourceRows(row);
        if (changes.any(source.begin / 2, std::min((source.end + 1) / 2, changes.count()))) return true;
    }
    constexpr int rowsShift = 1 - PictureFormat<Sample>::chromaRowsShift;
    for (int row = pair << rowsShift; row < (pair + 1) << rowsShift; ++row) {
        if (row < canvas.rows(1).begin || row >= canvas.rows(1).end) continue;
        const Span source = chroma.sourceRows(row);
        if (changes.any(source.begin, source.end)) return true;
    }
    return false;
}

template <class Sample>
void BasicFrameCompositor<Sample>::Parts::drawVideo(const Canvas& canvas, const PictureView& frame,
                                                    const Out& out) {
    const int bands = static_cast<int>(scratches.size());
    pool.run(bands, [&](int band) {
        for (int plane = 0; plane < 3; ++plane) {
            const auto p = static_cast<std::size_t>(plane);
            const Span all = canvas.rows(plane);
            const int count = all.end - all.begin;
            const Span rows{all.begin + count * band / bands, all.begin + count * (band + 1) / bands};
            (plane == 0 ? luma : chroma)
                .run(canvas, plane, rows, wanted, overlaid, *kernels, frame.planes[p], out.planes[p],
                     scratches[static_cast<std::size_t>(band)]);
        }
    });
}

template <class Sample>
void BasicFrameCompositor<Sample>::Parts::finishOverlaid(const Canvas& canvas, const Out& out) const {
    for (int plane = 0; plane < 3; ++plane) {
        const Span rows = canvas.rows(plane);
        for (int y = rows.begin; y < rows.end; ++y)
            if (wanted.containsRow<Sample>(plane, y) && overlaid.containsRow<Sample>(plane, y))
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
    parts_->overlays.forget();
    parts_->lastCanvas = nullptr;
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
    std::int64_t none = 0;
    renderChanges(frame, nullptr, state, out, none);
}

template <class Sample>
void BasicFrameCompositor<Sample>::renderChanges(const PictureView& frame, const Previous* previous,
                                                 const FrameState& state, const BasicPicture<Sample>& out,
                                                 std::int64_t& drawn) {
    Parts& parts = *parts_;
    const auto& canvas = parts.canvasFor(frame);
    const CameraView view = viewOf(state.camera, canvas.content());
    parts.overlays.begin();
    parts.overlays.planCursor(canvas, state.cursor, state.cursorSize, view);
    parts.overlays.planCaptionAndPills(canvas, state.caption, state.captionStyle, state.keystrokes);
    parts.draw(canvas, frame, previous, view, out, drawn);
}

template <class Sample>
void BasicFrameCompositor<Sample>::composite(const PictureView& frame, const CursorState& cursor,
                                             double cursorSize, const std::optional<CameraState>& camera,
                                             const BasicPicture<Sample>& out) {
    Parts& parts = *parts_;
    const auto& canvas = parts.unstyledFor(frame);
    const CameraView view = viewOf(camera, canvas.content());
    parts.overlays.begin();
    parts.overlays.planCursor(canvas, cursor, cursorSize, view);
    std::int64_t none = 0;
    parts.draw(canvas, frame, nullptr, view, out, none);
}

template class BasicFrameCompositor<std::uint8_t>;
template class BasicFrameCompositor<std::uint16_t>;

}  // namespace lumenwhirl
