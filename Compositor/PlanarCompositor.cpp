#include "Compositor/BandPool.h"
#include "Compositor/FrameCompositor.h"
#include "Compositor/OverlayPainter.h"
#include "Compositor/RowPairs.h"
#include "Compositor/StyledCanvas.h"
#include "Pixels/Kernels/Kernels.h"
#include "Pixels/PicturePool.h"
#include "Pixels/PlaneResampler.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <optional>
#include <utility>

namespace lumenwhirl {
namespace {

/// Composes in video planes: nothing becomes RGB on the way. Artwork is drawn once and cached; a row that a
/// picture of the pool shows already is left alone, and one that the last finished frame shows is copied from
/// there.
template <class Sample>
class PlanarCompositor final : public FrameCompositor {
public:
    PlanarCompositor(int threads, const Kernels& kernels) : kernels_(kernels), bandPool_(threads) {
        // More bands than threads, so that one slow thread does not keep the others waiting long.
        scratches_.resize(threads > 1 ? 4 * static_cast<std::size_t>(threads) : 1);
    }

    void prepare(const RenderStyle& style, Size canvas, Size content) override;
    [[nodiscard]] Picture compose(const Picture& recorded, const FrameState& state) override;

private:
    using Canvas = StyledCanvas<Sample>;
    using Item = typename OverlayPainter<Sample>::Item;
    using Recorded = Planes<const std::uint8_t>;
    using Out = Planes<Sample>;

    /// A frame as it was composed.
    struct Last {
        Picture recorded;  // kept, so that its memory is not another frame's meanwhile
        Picture finished;
        FrameState state;
        CameraView view;
        std::vector<Item> overlays;
    };
    /// The rows of a plane that must be drawn. Those that get overlays are finished after them.
    struct WantedRows {
        const PlanarCompositor& compositor;
        int plane;
        [[nodiscard]] Span columns(int row) const {
            const bool isWanted = compositor.wanted_.template containsRow<Sample>(plane, row);
            return isWanted ? compositor.canvas_->columns(plane, row) : Span();
        }
        void finish(int row, Sample* out) const {
            if (!compositor.overlaid_.template containsRow<Sample>(plane, row))
                compositor.canvas_->finishRow(plane, row, out);
        }
    };

    void setCanvas(Canvas canvas);
    void draw(const Recorded& recorded, const CameraView& view, const std::optional<Last>& last, Picture& out);
    void chooseRows(const Planes<const Sample>* finished, std::int64_t shown, const Out& out);
    void setMaps(const Recorded& recorded, const CameraView& view);
    void noteChanges(const std::vector<Item>& lastOverlays);
    [[nodiscard]] bool sourceChanged(int pair) const;
    void drawVideo(const Recorded& recorded, const Out& out);
    void finishOverlaid(const Out& out) const;

    const Kernels& kernels_;
    BandPool bandPool_;
    std::vector<PlaneResampler::Scratch> scratches_;  // of each band
    OverlayPainter<Sample> overlays_;
    std::optional<Canvas> canvas_;
    bool isStyled_ = false;
    PlaneResampler luma_, chroma_;

    PicturePool pool_;  // a picture's mark is the number of the frame that it shows

    // What the last frame showed, so that the next one need not draw it again.
    std::int64_t number_ = 0;              // of that frame, from 1 on
    std::int64_t numberBefore_ = 0;        // of the last frame of the canvas before
    std::vector<std::int64_t> changedAt_;  // since which frame each pair of rows has looked as it does
    std::optional<Last> last_;             // none: no frame of this canvas yet, or it failed
    ChangedRows changes_;
    RowPairs wanted_, overlaid_;  // rows to be drawn, and those that have overlays
};

template <class Sample>
void PlanarCompositor<Sample>::prepare(const RenderStyle& style, Size canvas, Size content) {
    setCanvas(Canvas(style, canvas, content));
    isStyled_ = true;
}

template <class Sample>
void PlanarCompositor<Sample>::setCanvas(Canvas canvas) {
    canvas_ = std::move(canvas);
    overlays_.forget();
    numberBefore_ = number_;
    last_.reset();
}

template <class Sample>
Picture PlanarCompositor<Sample>::compose(const Picture& recorded, const FrameState& state) {
    const Size size{static_cast<double>(recorded.width()), static_cast<double>(recorded.height())};
    if (!isStyled_ && (!canvas_ || canvas_->content() != size)) setCanvas(Canvas::unstyled(size));
    if (last_ && recorded.isSame(last_->recorded) && state == last_->state) return last_->finished;

    const CameraView view = viewOf(state.camera, canvas_->content());
    overlays_.begin();
    overlays_.planCursor(*canvas_, state.cursor, state.cursorSize, view);
    overlays_.planCaptionAndPills(*canvas_, state.caption, state.captionStyle, state.keystrokes);
    Picture out = pool_.take(canvas_->width(), canvas_->height(), PictureFormat<Sample>::pixelFormat);
    draw(recorded.planes(), view, std::exchange(last_, std::nullopt), out);
    last_ = {recorded, out, state, view, overlays_.plan()};
    return out;
}

/// Draws the video and the planned overlays, where `out` does not show them yet.
template <class Sample>
void PlanarCompositor<Sample>::draw(const Recorded& recorded, const CameraView& view,
                                    const std::optional<Last>& last, Picture& out) {
    const Out planes = out.mutablePlanes<Sample>();
    std::int64_t shown = std::exchange(out.mark(), 0);  // should this fail half-way, nothing can be relied on
    if (shown <= numberBefore_) {
        canvas_->copyBase(planes);
        shown = 0;
    }
    ++number_;
    setMaps(recorded, view);
    const bool isComparable = last && last->view == view && last->recorded.width() == recorded.width() &&
                              last->recorded.height() == recorded.height();
    Planes<const Sample> finished;
    if (isComparable) {
        finished = last->finished.template planes<Sample>();
        changes_.compare(last->recorded.planes(), recorded);
        noteChanges(last->overlays);
    } else {
        changedAt_.assign(static_cast<std::size_t>(canvas_->height() / 2), number_);
    }

    chooseRows(isComparable ? &finished : nullptr, shown, planes);
    overlaid_.clear(canvas_->height());
    for (const Item& item : overlays_.plan())
        for (int pair = item.rows.begin / 2; pair < item.rows.end / 2; ++pair) overlaid_.add(pair);
    drawVideo(recorded, planes);
    overlays_.draw(*canvas_, view, kernels_, wanted_, planes);
    finishOverlaid(planes);
    out.mark() = number_;
}

/// Finds the rows that must be drawn; those that the last finished frame shows are copied from there.
template <class Sample>
void PlanarCompositor<Sample>::chooseRows(const Planes<const Sample>* finished, std::int64_t shown,
                                          const Out& out) {
    wanted_.clear(canvas_->height());
    for (int pair = 0; pair < wanted_.count(); ++pair) {
        const std::int64_t changed = changedAt_[static_cast<std::size_t>(pair)];
        if (changed <= shown) continue;
        if (changed == number_ || !finished) {
            wanted_.add(pair);
            continue;
        }
        for (int plane = 0; plane < 3; ++plane) {
            const auto p = static_cast<std::size_t>(plane);
            const int shift = plane == 0 ? 1 : 1 - PictureFormat<Sample>::chromaRowsShift;
            for (int row = pair << shift; row < (pair + 1) << shift; ++row) {
                const Span span = canvas_->columns(plane, row);
                std::copy((*finished)[p].row(row) + span.begin, (*finished)[p].row(row) + span.end,
                          out[p].row(row) + span.begin);
            }
        }
    }
}

template <class Sample>
void PlanarCompositor<Sample>::setMaps(const Recorded& recorded, const CameraView& view) {
    const Rect& rect = canvas_->videoRect();
    const double step = 1 / (canvas_->contentScale() * view.scale);  // recorded pixels a canvas pixel
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
    luma_.setMap(canvas_->columns(0), canvas_->rows(0), across, down, recorded[0].width, recorded[0].height);
    chroma_.setMap(canvas_->columns(1), canvas_->rows(1), chromaAcross, chromaDown, recorded[1].width,
                   recorded[1].height);
}

/// Notes which rows look different from the last frame's.
template <class Sample>
void PlanarCompositor<Sample>::noteChanges(const std::vector<Item>& lastOverlays) {
    for (int pair = 0; pair < canvas_->height() / 2; ++pair)
        if (sourceChanged(pair)) changedAt_[static_cast<std::size_t>(pair)] = number_;
    const auto noteThoseMissing = [this](const std::vector<Item>& items, const std::vector<Item>& others) {
        for (const Item& item : items) {
            if (std::ranges::find(others, item) != others.end()) continue;
            std::fill(changedAt_.begin() + item.rows.begin / 2, changedAt_.begin() + item.rows.end / 2, number_);
        }
    };
    noteThoseMissing(overlays_.plan(), lastOverlays);
    noteThoseMissing(lastOverlays, overlays_.plan());
}

template <class Sample>
bool PlanarCompositor<Sample>::sourceChanged(int pair) const {
    for (int row = 2 * pair; row < 2 * pair + 2; ++row) {
        if (row < canvas_->rows(0).begin || row >= canvas_->rows(0).end) continue;
        const Span source = luma_.sourceRows(row);
        if (changes_.any(source.begin / 2, std::min((source.end + 1) / 2, changes_.count()))) return true;
    }
    constexpr int rowsShift = 1 - PictureFormat<Sample>::chromaRowsShift;
    for (int row = pair << rowsShift; row < (pair + 1) << rowsShift; ++row) {
        if (row < canvas_->rows(1).begin || row >= canvas_->rows(1).end) continue;
        const Span source = chroma_.sourceRows(row);
        if (changes_.any(source.begin, source.end)) return true;
    }
    return false;
}

template <class Sample>
void PlanarCompositor<Sample>::drawVideo(const Recorded& recorded, const Out& out) {
    const int bands = static_cast<int>(scratches_.size());
    bandPool_.run(bands, [&](int band) {
        for (int plane = 0; plane < 3; ++plane) {
            const auto p = static_cast<std::size_t>(plane);
            const Span all = canvas_->rows(plane);
            const int count = all.end - all.begin;
            const Span rows{all.begin + count * band / bands, all.begin + count * (band + 1) / bands};
            (plane == 0 ? luma_ : chroma_)
                .run(rows, WantedRows{*this, plane}, kernels_, recorded[p], out[p],
                     scratches_[static_cast<std::size_t>(band)]);
        }
    });
}

template <class Sample>
void PlanarCompositor<Sample>::finishOverlaid(const Out& out) const {
    for (int plane = 0; plane < 3; ++plane) {
        const Span rows = canvas_->rows(plane);
        for (int y = rows.begin; y < rows.end; ++y)
            if (wanted_.containsRow<Sample>(plane, y) && overlaid_.containsRow<Sample>(plane, y))
                canvas_->finishRow(plane, y, out[static_cast<std::size_t>(plane)].row(y));
    }
}

}  // namespace

std::unique_ptr<FrameCompositor> FrameCompositor::make(PixelFormat format, int threads, Implementation how) {
    const Kernels& kernels = how == Implementation::planar ? Kernels::fastest() : Kernels::reference();
    if (format == PixelFormat::yuv422p10)
        return std::make_unique<PlanarCompositor<std::uint16_t>>(threads, kernels);
    assert(format == PixelFormat::yuv420p8);
    return std::make_unique<PlanarCompositor<std::uint8_t>>(threads, kernels);
}

}  // namespace lumenwhirl
